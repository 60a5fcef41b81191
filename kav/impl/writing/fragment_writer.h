#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "kav/impl/boxes/fragment_boxes.h"
#include "kav/impl/boxes/random_access_boxes.h"
#include "kav/impl/writing/sample_sink.h"

namespace norvik::kav::impl {

struct FragmentParameters {
  // Of a fragment, units of the movie's timescale; 0 means two seconds.
  std::uint64_t duration = 0;
  bool hasRandomAccess = false;  // end the file with an mfra box
};

// The samples of a fragmented movie. They wait in memory until their fragment is complete. Then it
// is written: first the description of the samples, then their bytes, track by track.
//
//   moov                 written with every track, with the first sample, and at the finish
//   free                 room for the edits that the movie box may still get
//   moof, mdat           for each fragment, with a part for every track
//   mfra                 on request
//
// A fragment ends before a sync sample of the first video track, once it has lasted its duration
// there. In a movie without video it ends before any sample with which its track reaches that
// duration. It ends early where a track continues with another sample description or leaves a pause
// too long for a sample's duration, before its samples come to more than kMostBytes, and before
// another box.
//
// The duration of a sample is known when the next one of its track comes. Until then the sample is
// held back, so the last sample of every other track goes to the next fragment.
class FragmentWriter final : public SampleSink {
 public:
  static constexpr std::uint64_t kMostBytes = 64U << 20;

  // Longer samples are refused: their runs could not be found, because a run's distance from the
  // start of the fragment has 31 bits.
  static constexpr std::uint64_t kLongestSample = 1U << 30;

  FragmentWriter(MovieDraft& movie, const FragmentParameters& parameters);

  // The sample tables stay empty and need no room.
  void prepareTrack(TrackParameters& parameters) const override;
  void addTrack() override;

  // Throws sampleTimeBackwards, sampleTooLarge.
  void addSample(TrackDraft& track, const SampleToWrite& sample, std::uint64_t mediaTime) override;
  void endMedia() override;
  void finish() override;

 private:
  // The record of a waiting sample.
  struct WaitingSample {
    std::uint64_t mediaTime = 0;
    std::uint64_t presentationTime = 0;
    std::uint32_t duration = 0;
    std::uint32_t size = 0;
    std::uint32_t flags = 0;
    std::uint32_t compositionOffset = 0;
    std::uint32_t descriptionIndex = 0;
  };

  // How far a track has got.
  struct Reached {
    std::uint64_t mediaTime = 0;  // of the last sample added
    std::uint64_t presentationTime = 0;
    std::uint64_t endTime = 0;  // of the last sample whose duration is known
  };

  // The waiting samples of a track: those of the fragment, and after them the one that is held
  // back.
  struct Waiting {
    std::vector<WaitingSample> samples;
    std::vector<std::uint8_t> bytes;
    bool holdsLast = false;
    std::optional<Reached> reached;           // none before the first sample
    std::vector<TfraBox::Entry> syncSamples;  // of the whole movie so far

    // The decoding time of the next part; only once a sample has been added.
    std::uint64_t startTime() const {
      return samples.empty() ? reached->endTime : samples.front().mediaTime;
    }
    std::size_t completeCount() const { return samples.size() - (holdsLast ? 1 : 0); }
    std::span<const WaitingSample> complete() const { return {samples.data(), completeCount()}; }
    std::size_t completeBytes() const {
      return bytes.size() - (holdsLast ? samples.back().size : 0);
    }
  };

  Waiting& waitingOf(const TrackDraft& track);
  void coverRoomForDefaults();
  void openHead();
  void writeMovieBox();
  bool endsFragment(const TrackDraft& track, const SampleToWrite& sample,
                    std::uint64_t mediaTime) const;
  void completeHeld(Waiting& waiting, std::uint32_t duration);
  void completeAllHeld();
  void writeFragment();

  // Adds the part of a track, and in it the run of its samples. Returns the run, or null for a
  // track without samples in the fragment.
  TrunBox* addPart(MoofBox& fragment, std::size_t track);
  TrunBox& addRun(TrafBox& part, const MoofBox& fragment, std::size_t track);
  void noteSyncSamples(std::size_t track, std::uint64_t fragmentStart);
  void removeWritten(Waiting& waiting);
  void writeRandomAccess();

  MovieDraft& movie_;
  FragmentParameters parameters_;
  std::vector<Waiting> waiting_;  // by track
  std::uint32_t lastSequenceNumber_ = 0;
  std::uint64_t completeLength_ = 0;  // of the samples of the fragment, with their records
};

}  // namespace norvik::kav::impl
