#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "kav/impl/reading/sample_iterator.h"
#include "kav/impl/reading/track_record.h"
#include "kav/sample_options.h"

namespace norvik::kav::impl {

// Makes the iterators of the selected tracks of a document, in file order. The times of a movie
// with fragments count from the earliest one at which any of its tracks begins.
std::vector<std::unique_ptr<SampleIterator>> createTrackIterators(
    std::span<const TrackRecord> tracks, std::uint32_t movieTimescale,
    const SampleOptions& options);

// How much later the samples of a track are delivered than its edit list says, in the media
// timescale: the amount subtracted from the first media time, because samples are selected by
// decoding time; see makeEditSegments. 0 if edit lists are not applied.
std::uint64_t editShift(const TrackRecord& track, const SampleOptions& options);

// The samples of all tracks, merged by decoding time. Of samples at the same time, the one whose
// track is first in the file comes first.
class DocIterator final : public SampleIterator {
 public:
  explicit DocIterator(std::vector<std::unique_ptr<SampleIterator>> tracks);

  bool hasNext() override;
  bool take(Sample& sample) override;

 private:
  struct Track {
    std::unique_ptr<SampleIterator> iterator;
    Sample head;
    bool hasHead = false;
  };

  // Whether the head of track a is earlier than that of track b; false for a track without a head.
  static bool comesBefore(const Track& a, const Track& b);

  // The one of two tracks whose head comes next; the left one of equal heads.
  std::size_t winnerOf(std::size_t left, std::size_t right) const;
  Track* scanForEarliest();

  // Must be called when the earliest track has a new head.
  void findEarliestAgain();

  std::vector<Track> tracks_;
  Track* earliest_ = nullptr;  // the track whose head comes next; null without tracks

  // For more than a handful of tracks: a tournament among the heads. winners_[1] is the overall
  // winner, and the winners of nodes 2 n and 2 n + 1 compete in node n. So thousands of tracks cost
  // a few comparisons for each sample.
  std::vector<std::size_t> winners_;
  std::size_t leaves_ = 0;
};

}  // namespace norvik::kav::impl
