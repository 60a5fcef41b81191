#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <span>
#include <vector>

#include "src/pending_samples.h"
#include "src/sample_bytes.h"

namespace quarrypack {

// Decides when pending samples are written. Captions arrive late, after their frames, so samples
// wait until a key frame shows that everything before it is complete. The key frame arms the
// decision, with everything pending before it as the group. The first sample that is decoded after
// that key frame is shown flushes the group. The very first key frame of a movie has nothing before
// it and does not arm.
class FlushDecision {
 public:
  struct Sample {
    bool isSync = false;
    bool isOfVideoTrack = false;  // the track that receives the captions
    std::uint64_t decodingTime = 0;
    std::uint32_t compositionOffset = 0;
    std::uint32_t timescale = 0;
  };

  // Notes a sample of an output track that is about to join pendingCount others. Returns whether
  // the first groupLength() of these must be written now, before it joins. It need not be called
  // for the very last sample of a movie: everything is written after it.
  bool flushesBefore(const Sample& sample, std::size_t pendingCount);

  std::size_t groupLength() const { return groupLength_; }

 private:
  bool waitsForFirstSync_ = true;
  bool armed_ = false;
  std::uint64_t flushPoint_ = 0;  // units of armingTimescale_
  std::uint32_t armingTimescale_ = 0;
  std::size_t groupLength_ = 0;
};

// A pending sample and when it is shown.
struct ShownSample {
  std::uint64_t time = 0;  // units of timescale
  std::uint32_t timescale = 0;
  std::uint32_t place = 0;  // in the pending list
};
static_assert(sizeof(ShownSample) == 16);

// The first count pending samples in presentation order: a stable merge sort by presentation time.
// slotTimescales holds the timescale of every slot.
std::vector<ShownSample> presentationOrder(const PendingSamples& pending, std::size_t count,
                                           std::span<const std::uint32_t> slotTimescales);

// The first samples of the pending list on their way out: they are found by presentation time, get
// captions, and are then read. Samples are identified by their place in the list, which must not
// change meanwhile. Sorting is deferred to the first search, so a group without captions costs
// nothing.
class SortedGroup {
 public:
  // All arguments must outlive the group.
  SortedGroup(PendingSamples& pending, std::size_t length,
              std::span<const std::uint32_t> slotTimescales, ByteSource& input);

  // Whether a sample of the group is shown at or after a time.
  bool reaches(std::uint64_t time, std::uint32_t timescale);

  // The first sample, in presentation order, whose presentation time, converted to the given
  // timescale, is at least the given time.
  std::optional<std::size_t> firstShownAt(std::uint64_t time, std::uint32_t timescale);

  std::size_t length() const { return length_; }

  PendingSample& record(std::size_t place) { return pending_[place]; }
  const PendingSample& record(std::size_t place) const { return pending_[place]; }

  // The sample's bytes, ready for insertions.
  SampleBytes& bytes(std::size_t place);

  // The bytes of a sample for which bytes() was called; null for any other.
  const SplicedSampleBytes* splicedBytes(std::size_t place) const;

 private:
  // The latest time up to the end of each block of the order, in one timescale. Times converted to
  // another timescale may decrease along the order; these never do.
  struct LatestTimes {
    std::vector<std::uint64_t> byBlock;

    // The latest search: the next one is usually for a time soon after it.
    std::uint64_t searchedTime = 0;
    std::size_t foundBlock = 0;
  };

  LatestTimes& latestTimes(std::uint32_t timescale);

  PendingSamples& pending_;
  std::size_t length_;
  std::span<const std::uint32_t> slotTimescales_;
  ByteSource& input_;
  std::vector<ShownSample> order_;
  std::map<std::uint32_t, LatestTimes> latestTimes_;  // by timescale
  std::deque<SplicedSampleBytes> spliced_;
  std::vector<std::uint32_t> splicedOf_;  // by place: 1 + the number in spliced_, 0 for none
};

}  // namespace quarrypack
