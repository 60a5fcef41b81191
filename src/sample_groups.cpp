#include "src/sample_groups.h"

#include "src/presentation_time.h"

#include <algorithm>
#include <array>
#include <numeric>

namespace quarrypack {
namespace {

// Samples of a group whose latest time is stored together.
constexpr std::size_t kBlock = 4;

// Blocks tried one by one before a binary search.
constexpr int kMostSteps = 4;

// The key by which two samples are compared.
struct ShownTime {
  std::uint64_t time;  // units of timescale
  std::uint32_t timescale;
};

ShownTime shownTime(const PendingSample& sample, std::span<const std::uint32_t> slotTimescales) {
  const std::uint32_t timescale = slotTimescales[sample.slot];
  return {presentationTime(sample.decodingTime, sample.compositionOffset, timescale), timescale};
}

// Not a strict order: the conversion rounds, so samples of several timescales can come before one
// another in a circle. It must not be passed to a sort of the standard library.
bool before(const ShownTime& a, const ShownTime& b) {
  return a.time < convertTime(b.time, b.timescale, a.timescale);
}

// A place that no sample must be moved across: no sample at or after it comes before one that
// precedes it. For each kind of timescale, earliest holds the least time of a sample after the cut
// for which this holds. It follows from the latest sample of each timescale before the cut, since
// the conversion between two timescales never reverses times.
struct Cut {
  static constexpr std::size_t kMaxTimescales = 4;
  std::uint32_t place = 0;
  bool isSorted = true;  // the samples between this cut and the next
  std::array<std::uint64_t, kMaxTimescales> earliest{};
};

// Finds cuts in one pass over the samples. It finds only some of all cuts, but enough to leave
// short segments in a list that is nearly sorted, as the samples of a movie are.
class CutFinder {
 public:
  void add(std::uint32_t place, const ShownTime& shown) {
    constexpr std::uint32_t kShortestSegment = 8;
    const std::size_t kind = isAble_ ? kindOf(shown.timescale) : Cut::kMaxTimescales;
    if (kind == Cut::kMaxTimescales) return;
    if (shown.time < earliestBehind(kind)) {
      while (cuts_.size() > 1 && shown.time < cuts_.back().earliest[kind]) cuts_.pop_back();
      cuts_.back().isSorted = false;
    } else if (place - cuts_.back().place >= kShortestSegment) {
      Cut cut;
      cut.place = place;
      for (std::size_t k = 0; k < kinds_; ++k) cut.earliest[k] = earliestBehind(k);
      cuts_.push_back(cut);
    }
    latest_[kind] = std::max(latest_[kind], shown.time);
  }

  // Sorted by place; the first one is at the start.
  const std::vector<Cut>& cuts() const { return cuts_; }

 private:
  // A new timescale invalidates the cuts found so far, because they do not bound its samples. What
  // was known to be sorted between them is discarded too. With too many timescales only the cut at
  // the start is left.
  std::size_t kindOf(std::uint32_t timescale) {
    for (std::size_t k = 0; k < kinds_; ++k) {
      if (timescales_[k] == timescale) return k;
    }
    cuts_.resize(1);
    cuts_.back().isSorted = false;
    isAble_ = kinds_ < Cut::kMaxTimescales;
    if (!isAble_) return Cut::kMaxTimescales;
    timescales_[kinds_] = timescale;
    return kinds_++;
  }

  std::uint64_t earliestBehind(std::size_t kind) const {
    std::uint64_t earliest = 0;
    for (std::size_t k = 0; k < kinds_; ++k) {
      earliest = std::max(earliest, convertTime(latest_[k], timescales_[k], timescales_[kind]));
    }
    return earliest;
  }

  bool isAble_ = true;
  std::size_t kinds_ = 0;
  std::array<std::uint32_t, Cut::kMaxTimescales> timescales_{};
  std::array<std::uint64_t, Cut::kMaxTimescales> latest_{};
  std::vector<Cut> cuts_ = std::vector<Cut>(1);
};

// A merge sort from the top down. The comparison is no strict order, so the result depends on which
// samples are compared: lists are halved at n/2 of the whole list, and a merge takes from the right
// half only what comes before the next of the left. Cuts do not change this; they only show which
// parts of which merges would move nothing.
class MergeSort {
 public:
  MergeSort(const PendingSamples& pending, std::span<const std::uint32_t> slotTimescales,
            std::vector<std::uint32_t>& order)
      : pending_(pending), slotTimescales_(slotTimescales), order_(order) {}

  // Sorts the samples between two cuts.
  void sortSegment(std::size_t begin, std::size_t end) { sort(0, order_.size(), begin, end); }

 private:
  // Sorts the intersection of list and segment.
  void sort(std::size_t listBegin, std::size_t listEnd, std::size_t begin, std::size_t end) {
    const std::size_t first = std::max(listBegin, begin);
    const std::size_t last = std::min(listEnd, end);
    if (first >= last || last - first < 2) return;
    const std::size_t middle = listBegin + (listEnd - listBegin) / 2;
    sort(listBegin, middle, begin, end);
    sort(middle, listEnd, begin, end);
    if (first < middle && middle < last) merge(first, middle, last);
  }

  void merge(std::size_t first, std::size_t middle, std::size_t last) {
    // Samples taken from the left before the first one from the right stay where they are.
    std::size_t out = first;
    const ShownTime firstRight = shown(order_[middle]);
    while (out < middle && !before(firstRight, shown(order_[out]))) ++out;
    if (out == middle) return;

    left_.assign(at(out), at(middle));
    std::size_t left = 0;
    std::size_t right = middle;
    ShownTime nextLeft = shown(left_[left]);
    ShownTime nextRight = firstRight;
    while (true) {
      if (before(nextRight, nextLeft)) {
        order_[out++] = order_[right++];
        if (right == last) break;
        nextRight = shown(order_[right]);
      } else {
        order_[out++] = left_[left++];
        if (left == left_.size()) return;  // the rest of the right is already in its place
        nextLeft = shown(left_[left]);
      }
    }
    std::copy(left_.begin() + static_cast<std::ptrdiff_t>(left), left_.end(), at(out));
  }

  ShownTime shown(std::uint32_t place) const { return shownTime(pending_[place], slotTimescales_); }

  std::vector<std::uint32_t>::iterator at(std::size_t rank) {
    return order_.begin() + static_cast<std::ptrdiff_t>(rank);
  }

  const PendingSamples& pending_;
  std::span<const std::uint32_t> slotTimescales_;
  std::vector<std::uint32_t>& order_;
  std::vector<std::uint32_t> left_;
};

}  // namespace

bool FlushDecision::flushesBefore(const Sample& sample, std::size_t pendingCount) {
  if (sample.isSync && (armed_ || (sample.isOfVideoTrack && !waitsForFirstSync_))) {
    armed_ = true;
    groupLength_ = pendingCount;
    flushPoint_ = presentationTime(sample.decodingTime, sample.compositionOffset, sample.timescale);
    armingTimescale_ = sample.timescale;
  }
  if (sample.isSync) waitsForFirstSync_ = false;
  if (!armed_ ||
      convertTime(sample.decodingTime, sample.timescale, armingTimescale_) <= flushPoint_) {
    return false;
  }
  armed_ = false;
  return true;
}

std::vector<std::uint32_t> presentationOrder(const PendingSamples& pending, std::size_t count,
                                             std::span<const std::uint32_t> slotTimescales) {
  std::vector<std::uint32_t> order(count);
  std::iota(order.begin(), order.end(), 0u);

  CutFinder finder;
  for (const std::uint32_t place : order) {
    finder.add(place, shownTime(pending[place], slotTimescales));
  }

  MergeSort sort(pending, slotTimescales, order);
  const std::vector<Cut>& cuts = finder.cuts();
  for (std::size_t i = 0; i < cuts.size(); ++i) {
    if (cuts[i].isSorted) continue;
    sort.sortSegment(cuts[i].place, i + 1 < cuts.size() ? cuts[i + 1].place : count);
  }
  return order;
}

SortedGroup::SortedGroup(PendingSamples& pending, std::size_t length,
                         std::span<const std::uint32_t> slotTimescales, ByteSource& input)
    : pending_(pending), length_(length), slotTimescales_(slotTimescales), input_(input) {}

SortedGroup::LatestTimes& SortedGroup::latestTimes(std::uint32_t timescale) {
  const auto [found, isNew] = latestTimes_.try_emplace(timescale);
  if (!isNew) return found->second;
  std::vector<std::uint64_t>& latest = found->second.byBlock;
  if (order_.size() != length_) order_ = presentationOrder(pending_, length_, slotTimescales_);

  latest.reserve((length_ + kBlock - 1) / kBlock);
  std::uint64_t latestSoFar = 0;
  for (std::size_t rank = 0; rank < length_;) {
    const std::size_t end = std::min(rank + kBlock, length_);
    for (; rank < end; ++rank) latestSoFar = std::max(latestSoFar, timeShown(rank, timescale));
    latest.push_back(latestSoFar);
  }
  return found->second;
}

bool SortedGroup::reaches(std::uint64_t time, std::uint32_t timescale) {
  const std::vector<std::uint64_t>& latest = latestTimes(timescale).byBlock;
  return !latest.empty() && latest.back() >= time;
}

std::optional<std::size_t> SortedGroup::firstShownAt(std::uint64_t time, std::uint32_t timescale) {
  LatestTimes& latest = latestTimes(timescale);
  const auto begin = latest.byBlock.begin();
  const auto end = latest.byBlock.end();
  auto block = begin;
  if (time >= latest.searchedTime) block += static_cast<std::ptrdiff_t>(latest.foundBlock);
  for (int steps = 0; steps < kMostSteps && block != end && *block < time; ++steps) ++block;
  if (block != end && *block < time) block = std::lower_bound(block, end, time);
  if (block == end) return std::nullopt;
  latest.searchedTime = time;
  latest.foundBlock = static_cast<std::size_t>(block - begin);
  std::size_t rank = latest.foundBlock * kBlock;
  while (timeShown(rank, timescale) < time) ++rank;
  return order_[rank];
}

SampleBytes& SortedGroup::bytes(std::size_t place) {
  const PendingSample& sample = pending_[place];
  if (splicedOf_.empty()) splicedOf_.resize(length_);
  std::uint32_t& number = splicedOf_[place];
  if (number == 0) {
    spliced_.emplace_back(input_, sample.fileOffset, sample.size);
    number = static_cast<std::uint32_t>(spliced_.size());
  }
  return spliced_[number - 1];
}

const SplicedSampleBytes* SortedGroup::splicedBytes(std::size_t place) const {
  if (splicedOf_.empty() || splicedOf_[place] == 0) return nullptr;
  return &spliced_[splicedOf_[place] - 1];
}

std::uint64_t SortedGroup::timeShown(std::size_t rank, std::uint32_t timescale) const {
  const ShownTime shown = shownTime(pending_[order_[rank]], slotTimescales_);
  return convertTime(shown.time, shown.timescale, timescale);
}

}  // namespace quarrypack
