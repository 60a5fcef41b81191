#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "kav/impl/fragment_boxes.h"
#include "kav/impl/random_access_boxes.h"
#include "kav/impl/sample_sink.h"

namespace norvik::kav::impl {

struct FragmentParameters {
  std::uint64_t duration = 0;    // of a fragment, units of the movie's timescale
  bool hasRandomAccess = false;  // close the file with an mfra box
};

// The samples of a fragmented movie. They wait in memory until their fragment is complete; then it
// is written, first what the samples are and then their bytes, track by track.
//
//   moov, free           written when the first sample comes, and once more at the finish
//   moof, mdat           for each fragment
//   mfra                 if asked for
//
// A fragment ends in front of a sync sample of the first video track, once it has lasted its
// duration there; in a movie without video, in front of any sample with which its track has. It
// ends early where a track goes on with another sample description or leaves a hole too long for a
// sample's duration, and before its samples come to more than kMostBytes.
//
// What a sample lasts is known when the next one of its track comes. Until then it is held back, so
// the last sample of every other track goes to the next fragment.
class FragmentWriter final : public SampleSink {
 public:
  static constexpr std::uint64_t kMostBytes = 64U << 20;

  // Longer samples are refused: the runs behind one could not be found, because their distance from
  // the start of the fragment has 31 bits.
  static constexpr std::uint64_t kLongestSample = 1U << 30;

  FragmentWriter(MovieDraft& movie, const FragmentParameters& parameters);

  // The sample tables stay empty.
  void prepareTrack(TrackParameters& parameters) const override;
  void addTrack() override;

  // Throws sampleTimeBackwards, sampleTooLarge.
  void addSample(TrackDraft& track, const SampleToWrite& sample, std::uint64_t mediaTime) override;
  void endMedia() override;
  void finish() override;

 private:
  // The record of a sample that waits.
  struct WaitingSample {
    std::uint64_t mediaTime = 0;
    std::uint64_t presentationTime = 0;
    std::uint32_t duration = 0;
    std::uint32_t size = 0;
    std::uint32_t flags = 0;
    std::uint32_t compositionOffset = 0;
    std::uint32_t descriptionIndex = 0;
  };

  // What waits of a track: the samples of the fragment, and behind them the one that is held back.
  struct Waiting {
    std::vector<WaitingSample> samples;
    std::vector<std::uint8_t> bytes;
    bool holdsLast = false;
    std::vector<TfraBox::Entry> syncSamples;  // of the whole movie so far

    std::size_t completeCount() const { return samples.size() - (holdsLast ? 1 : 0); }
    std::size_t completeBytes() const {
      return bytes.size() - (holdsLast ? samples.back().size : 0);
    }
  };

  Waiting& waitingOf(const TrackDraft& track);
  void openHead();
  void writeMovieBox();
  bool endsFragment(const TrackDraft& track, const SampleToWrite& sample,
                    std::uint64_t mediaTime) const;
  void completeHeld(Waiting& waiting, std::uint32_t duration);
  void writeFragment();
  TrunBox& addPart(MoofBox& fragment, std::size_t track, std::uint32_t partNumber);
  void removeWritten(Waiting& waiting);
  void writeRandomAccess();

  MovieDraft& movie_;
  FragmentParameters parameters_;
  std::vector<Waiting> waiting_;  // by track
  std::uint32_t lastSequenceNumber_ = 0;
  std::uint64_t completeLength_ = 0;  // of the samples of the fragment, with their records
};

}  // namespace norvik::kav::impl
