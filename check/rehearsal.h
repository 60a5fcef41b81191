#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "captions/time.h"
#include "check/finding.h"
#include "check/report.h"
#include "kav/movie.h"
#include "src/caption_sei.h"
#include "src/conversion_listener.h"
#include "src/pass_output.h"

namespace quarrypack::check {

// The samples that a conversion would write into one track.
class RehearsedTrack {
 public:
  RehearsedTrack(const norvik::kav::Movie& movie, const norvik::kav::Track& track);

  void add(const PendingSample& sample);

  const norvik::kav::Track& track() const { return *track_; }
  std::uint64_t samples() const { return samples_; }
  std::uint64_t syncSamples() const { return syncSamples_; }
  std::uint64_t samplesBeforeSync() const { return samplesBeforeSync_; }
  std::uint64_t negativeOffsets() const { return negativeOffsets_; }

  // How long the track shows nothing at the beginning of the movie; none if it shows something at
  // once.
  std::optional<captions::Time> firstGap() const;

  // How many samples are shown after the end of the written edit list.
  std::uint64_t samplesAfterEnd() const;

  // Whether the track needs more edits than an edit list is written with.
  bool hasTooManyEdits() const;

  // How long the last sample lasts in the output.
  captions::Time lastDuration() const;

  // The presentation time in the input.
  captions::Time timeOf(const PendingSample& sample) const;

 private:
  static constexpr std::size_t kSmallestLate = 64;

  void addGap(std::uint64_t time);
  void noteLate(std::int64_t shown, std::uint64_t mediaTime);
  std::uint32_t timescale() const { return track_->info.mediaTimescale; }

  const norvik::kav::Track* track_;
  std::uint64_t shift_ = 0;        // ticks by which the pass delivers the samples later
  std::uint32_t tickOfMovie_ = 1;  // the duration of the last sample, in ticks of the track
  std::uint64_t samples_ = 0;
  std::uint64_t syncSamples_ = 0;
  std::uint64_t samplesBeforeSync_ = 0;
  std::uint64_t negativeOffsets_ = 0;

  std::uint64_t gaps_ = 0;
  bool inGap_ = false;
  bool beginsWithGap_ = false;
  std::uint64_t gapStart_ = 0;
  std::uint64_t gapTime_ = 0;    // of all closed gaps
  std::uint64_t firstTime_ = 0;  // of the first sample
  std::uint64_t lastTime_ = 0;   // of the last sample, without the gaps
  std::uint32_t lastDuration_ = 0;

  // The presentation times, without the gaps, of samples that may be shown after the end.
  std::vector<std::int64_t> late_;
  std::size_t lateLimit_ = kSmallestLate;
};

// A dry run of a conversion, and what it would do to captions and samples.
class Rehearsal final : public PassOutput, public ConversionListener {
 public:
  // The movie must outlive the rehearsal.
  explicit Rehearsal(norvik::kav::Movie& movie);

  // Runs the pass. Throws what the conversion would throw, except failures of its output file.
  // Returns false if the movie has no caption track or no video.
  bool run();

  std::span<const RehearsedTrack> tracks() const { return tracks_; }

  // The first video track, which captions are meant for; null without one.
  const RehearsedTrack* video() const;

  // How often, and when: the first Finding::kMostPlaces times.
  struct Occasions {
    std::uint64_t count = 0;
    std::vector<captions::Time> times;

    void add(captions::Time time);
  };

  // The damaged samples, by track; those without hits are empty.
  std::span<const Occasions> hits() const { return hits_; }

  struct CaptionEvents {
    Occasions inGaps;          // captions lost in gaps
    Occasions dropped;         // captions after the last sample
    Occasions sharedPictures;  // pictures with captions in reverse order
    Occasions inPieces;        // captions whose pieces come out in reverse order
    Occasions oddAtoms;
    Occasions unknownAtoms;
    Occasions invalidLengths;
    std::uint64_t ofOtherTracks = 0;
    std::uint64_t tracksWithoutName = 0;
    std::uint64_t emptyDescriptions = 0;
  };
  const CaptionEvents& events() const { return events_; }

  std::uint32_t addTrack(const norvik::kav::NorvikKavTrackConfiguration& configuration) override;
  void addSampleDescription(std::uint32_t trackNumber,
                            const norvik::kav::SampleDescription& description) override;
  void write(const SortedGroup& group, const SampleSlots& slots, std::size_t captions) override;
  void finish() override;

  void trackWithoutName() override { ++events_.tracksWithoutName; }
  void descriptionWithoutHeader() override { ++events_.emptyDescriptions; }
  void captionOfOtherTrack() override { ++events_.ofOtherTracks; }
  void unknownCaptionAtom() override {}
  void invalidNalLength() override { events_.invalidLengths.add(attaching_); }
  void captionAttaching(const CaptionSample& caption, std::size_t place) override;
  void captionDropped(const CaptionSample& caption) override;

 private:
  // How many units with text or commands a caption becomes, by field.
  using Units = std::array<std::uint32_t, 2>;

  struct Attached {
    std::size_t place = 0;  // in the group
    Units units{};
    captions::Time time{0};
  };

  Units unitsOf(const CaptionSample& caption, captions::Time time);
  captions::Time timeOf(const CaptionSample& caption) const;
  void settle(std::span<const Attached> captions, const SortedGroup& group,
              const SampleSlots& slots);

  norvik::kav::Movie& movie_;
  const norvik::kav::Track* nextTrack_;
  std::vector<RehearsedTrack> tracks_;
  std::vector<Occasions> hits_;
  std::vector<Attached> attached_;  // in the current group
  captions::Time attaching_{0};     // the latest caption
  captions::Time captionShift_{0};  // how much later captions are due than in the input
  CaptionEvents events_;
};

}  // namespace quarrypack::check
