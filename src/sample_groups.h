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

// Decides when pending samples are written. Captions come late, behind the frames they belong to,
// so samples wait until a key frame shows that what stands before it is complete: it arms the
// decision with everything pending before it as the group, and the first sample decoded after that
// key frame is shown flushes the group. The very first key frame of a movie has nothing before it
// and does not arm.
class FlushDecision {
 public:
  struct Sample {
    bool isSync = false;
    bool isOfVideoTrack = false;  // the one that captions are meant for
    std::uint64_t decodingTime = 0;
    std::uint32_t compositionOffset = 0;
    std::uint32_t timescale = 0;
  };

  // Takes note of a sample of an output track, which is about to join pendingCount others. True
  // says that the first groupLength() of these must be written now, before it joins. The very last
  // sample of a movie need not be shown here: everything is written behind it.
  bool flushesBefore(const Sample& sample, std::size_t pendingCount);

  std::size_t groupLength() const { return groupLength_; }

 private:
  bool waitsForFirstSync_ = true;
  bool armed_ = false;
  std::uint64_t flushPoint_ = 0;  // units of armingTimescale_
  std::uint32_t armingTimescale_ = 0;
  std::size_t groupLength_ = 0;
};

// The order in which the first count pending samples are shown, as their places in the list: a
// stable merge sort by presentation time. slotTimescales holds the timescale of every slot.
std::vector<std::uint32_t> presentationOrder(const PendingSamples& pending, std::size_t count,
                                             std::span<const std::uint32_t> slotTimescales);

// The first samples of the pending list on their way out: found by when they are shown, given
// captions, then read. Samples are known by their place in the list, which must not change
// meanwhile. The sorting is left until the first search, so a group without captions costs nothing.
class SortedGroup {
 public:
  // All arguments must outlive the group.
  SortedGroup(PendingSamples& pending, std::size_t length,
              std::span<const std::uint32_t> slotTimescales, ByteSource& input);

  // Whether a sample of the group is shown at or after a time.
  bool reaches(std::uint64_t time, std::uint32_t timescale);

  // The first sample, in the order of presentation, whose presentation time converted to the given
  // timescale is at least the given time.
  std::optional<std::size_t> firstShownAt(std::uint64_t time, std::uint32_t timescale);

  PendingSample& record(std::size_t place) { return pending_[place]; }

  // The sample's bytes, ready for insertions.
  SampleBytes& bytes(std::size_t place);

  // The bytes of a sample that bytes() was called for, null for any other.
  const SplicedSampleBytes* splicedBytes(std::size_t place) const;

 private:
  // The latest time up to the end of each block of the order, in one timescale. Times converted to
  // another timescale need not rise along the order; these do.
  struct LatestTimes {
    std::vector<std::uint64_t> byBlock;

    // The latest search: what is searched for next mostly comes soon behind it.
    std::uint64_t searchedTime = 0;
    std::size_t foundBlock = 0;
  };

  LatestTimes& latestTimes(std::uint32_t timescale);
  std::uint64_t timeShown(std::size_t rank, std::uint32_t timescale) const;

  PendingSamples& pending_;
  std::size_t length_;
  std::span<const std::uint32_t> slotTimescales_;
  ByteSource& input_;
  std::vector<std::uint32_t> order_;
  std::map<std::uint32_t, LatestTimes> latestTimes_;  // by timescale
  std::deque<SplicedSampleBytes> spliced_;
  std::vector<std::uint32_t> splicedOf_;  // by place: 1 + the number in spliced_, 0 for none
};

}  // namespace quarrypack
