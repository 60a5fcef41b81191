#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "kav/impl/reading/sample_iterator.h"
#include "kav/impl/reading/track_record.h"

namespace norvik::kav::impl {

// A time with its timescale (units per second).
struct ScaledTime {
  std::uint64_t time = 0;
  std::uint32_t timescale = 1;
};

// Ten years of 365 days stand for a whole file.
inline constexpr ScaledTime kWholeFileStart{0, 1};
inline constexpr ScaledTime kWholeFileEnd{315360000, 1};

struct DocIteratorOptions {
  bool ignoreEditLists = false;
  ScaledTime start = kWholeFileStart;
  ScaledTime end = kWholeFileEnd;
  std::uint64_t context = 0;  // handed on with every sample
};

// Makes the iterators of all tracks of a document, in their order, edit lists applied. The times of
// a movie with fragments count from the earliest one at which a track begins.
std::vector<std::unique_ptr<SampleIterator>> createTrackIterators(
    std::span<const TrackRecord> tracks, std::uint32_t movieTimescale,
    const DocIteratorOptions& options);

// By how much the samples of a track are delivered later than its edit list says, in the media
// timescale: what was taken off the first media time, because samples are picked by decoding time;
// see makeEditSegments. 0 where edit lists are ignored.
std::uint64_t editShift(const TrackRecord& track, const DocIteratorOptions& options);

// The samples of all tracks, merged by decoding time. Of samples at the same time, the one whose
// track stands first in the file comes first.
class DocIterator final : public SampleIterator {
 public:
  explicit DocIterator(std::vector<std::unique_ptr<SampleIterator>> tracks);

  bool hasNext() override;
  SamplePtr next() override;

 private:
  struct Track {
    std::unique_ptr<SampleIterator> iterator;
    SamplePtr head;
  };

  // Whether the head of track a is earlier than that of track b; a track without one never is.
  bool comesBefore(std::size_t a, std::size_t b) const;
  std::size_t scanForEarliest() const;

  // To be called when a track has got another head.
  void findEarliestAgain(std::size_t track);

  std::vector<Track> tracks_;
  std::size_t earliest_ = 0;  // the track whose head comes next

  // Beyond a handful of tracks: a tournament among the heads. winners_[1] is the overall winner,
  // and node n is played by the winners of nodes 2 n and 2 n + 1, so thousands of tracks cost a few
  // comparisons for each sample.
  std::vector<std::size_t> winners_;
  std::size_t leaves_ = 0;
};

}  // namespace norvik::kav::impl
