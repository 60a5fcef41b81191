#include "src/sample_groups.h"

#include "src/presentation_time.h"

#include <algorithm>
#include <array>
#include <utility>

namespace quarrypack {
namespace {

// Samples of a group whose latest time is stored together.
constexpr std::ptrdiff_t kBlock = 4;

// Blocks tried one by one before a binary search.
constexpr int kMostSteps = 4;

std::uint64_t timeShown(const ShownSample& sample, std::uint32_t timescale) {
  return convertTime(sample.time, sample.timescale, timescale);
}

// Not a strict order: the conversion rounds, so samples of several timescales can come before one
// another in a circle. It must not be passed to a sort of the standard library.
bool before(const ShownSample& a, const ShownSample& b) {
  return a.time < timeShown(b, a.timescale);
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
  void add(const ShownSample& shown) {
    constexpr std::uint32_t kShortestSegment = 8;
    const std::size_t kind = isAble_ ? kindOf(shown.timescale) : Cut::kMaxTimescales;
    if (kind == Cut::kMaxTimescales) return;
    if (shown.time < earliest_[kind]) {
      while (cuts_.size() > 1 && shown.time < cuts_.back().earliest[kind]) cuts_.pop_back();
      cuts_.back().isSorted = false;
    } else if (shown.place - cuts_.back().place >= kShortestSegment) {
      cuts_.push_back({.place = shown.place, .earliest = earliest_});
    }
    if (shown.time <= latest_[kind]) return;
    latest_[kind] = shown.time;
    for (std::size_t k = 0; k < kinds_; ++k) raiseEarliest(k, kind);
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
    for (std::size_t k = 0; k < kinds_; ++k) raiseEarliest(kinds_, k);
    return kinds_++;
  }

  // Takes the latest sample of one kind into account for samples of another.
  void raiseEarliest(std::size_t kind, std::size_t latestKind) {
    earliest_[kind] =
        std::max(earliest_[kind],
                 convertTime(latest_[latestKind], timescales_[latestKind], timescales_[kind]));
  }

  bool isAble_ = true;
  std::size_t kinds_ = 0;
  std::array<std::uint32_t, Cut::kMaxTimescales> timescales_{};
  std::array<std::uint64_t, Cut::kMaxTimescales> latest_{};
  // What a cut before the next sample would hold.
  std::array<std::uint64_t, Cut::kMaxTimescales> earliest_{};
  std::vector<Cut> cuts_ = std::vector<Cut>(1);
};

// A merge sort from the top down. The comparison is no strict order, so the result depends on which
// samples are compared: lists are halved at n/2 of the whole list, and a merge takes from the right
// half only what comes before the next of the left. Cuts do not change this; they only show which
// parts of which merges would move nothing.
class MergeSort {
 public:
  explicit MergeSort(std::span<ShownSample> samples) : samples_(samples) {}

  // Sorts the samples between two cuts.
  void sortSegment(std::size_t begin, std::size_t end) { sort(0, samples_.size(), begin, end); }

 private:
  // Sorts the samples from first to last, which lie within a list.
  void sort(std::size_t listBegin, std::size_t listEnd, std::size_t first, std::size_t last) {
    if (last - first < 2) return;
    std::size_t middle = half(listBegin, listEnd);
    while (last <= middle || first >= middle) {
      (last <= middle ? listEnd : listBegin) = middle;
      middle = half(listBegin, listEnd);
    }
    sort(listBegin, middle, first, middle);
    sort(middle, listEnd, middle, last);
    merge(samples_.data() + first, samples_.data() + middle, samples_.data() + last);
  }

  static std::size_t half(std::size_t begin, std::size_t end) { return begin + (end - begin) / 2; }

  void merge(ShownSample* first, ShownSample* middle, ShownSample* last) {
    // Samples taken from the left before the first one from the right stay where they are.
    ShownSample* out = first;
    while (out != middle && !before(*middle, *out)) ++out;

    left_.assign(out, middle);
    const ShownSample* right = middle;
    for (const ShownSample& left : left_) {
      while (right != last && before(*right, left)) *out++ = *right++;
      *out++ = left;
    }
    // The rest of the right is already in its place.
  }

  std::span<ShownSample> samples_;
  std::vector<ShownSample> left_;
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

std::vector<ShownSample> presentationOrder(const PendingSamples& pending, std::size_t count,
                                           std::span<const std::uint32_t> slotTimescales) {
  std::vector<ShownSample> samples;
  samples.reserve(count);
  CutFinder finder;
  for (std::uint32_t place = 0; place < count; ++place) {
    const PendingSample& sample = pending[place];
    const std::uint32_t timescale = slotTimescales[sample.slot];
    samples.push_back({presentationTime(sample.decodingTime, sample.compositionOffset, timescale),
                       timescale, place});
    finder.add(samples.back());
  }

  MergeSort sort(samples);
  const std::vector<Cut>& cuts = finder.cuts();
  for (std::size_t i = 0; i < cuts.size(); ++i) {
    if (cuts[i].isSorted) continue;
    sort.sortSegment(cuts[i].place, i + 1 < cuts.size() ? cuts[i + 1].place : count);
  }
  return samples;
}

SortedGroup::SortedGroup(PendingSamples& pending, std::size_t length,
                         std::span<const std::uint32_t> slotTimescales, ByteSource& input)
    : pending_(pending), length_(length), slotTimescales_(slotTimescales), input_(input) {}

void SortedGroup::findLatestTimes(std::uint32_t timescale) {
  const auto [found, isNew] = latestTimes_.try_emplace(timescale);
  usualTimescale_ = timescale;
  usualTimes_ = &found->second;
  if (!isNew) return;
  std::vector<std::uint64_t>& latest = found->second.byBlock;
  if (order_.size() != length_) order_ = presentationOrder(pending_, length_, slotTimescales_);

  latest.reserve(length_ / kBlock + 1);
  std::uint64_t latestSoFar = 0;
  for (auto next = order_.begin(); next != order_.end();) {
    const auto end = next + std::min<std::ptrdiff_t>(kBlock, order_.end() - next);
    for (; next != end; ++next) latestSoFar = std::max(latestSoFar, timeShown(*next, timescale));
    latest.push_back(latestSoFar);
  }
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
  auto sample = order_.begin() + (block - begin) * kBlock;
  while (timeShown(*sample, timescale) < time) ++sample;
  return sample->place;
}

SampleBytes& SortedGroup::bytes(std::size_t place) {
  const PendingSample& sample = pending_[place];
  if (splicedOf_.empty()) splicedOf_.resize(length_);
  std::uint32_t& number = splicedOf_[place];
  if (number != 0) return spliced_[number - 1];
  if (released_.empty()) {
    spliced_.emplace_back(input_, sample.fileOffset, sample.size);
    number = static_cast<std::uint32_t>(spliced_.size());
    return spliced_.back();
  }
  number = released_.back() + 1;
  released_.pop_back();
  return spliced_[number - 1] = SplicedSampleBytes(input_, sample.fileOffset, sample.size);
}

void SortedGroup::releaseBytes(std::size_t place) {
  if (splicedOf_.empty() || splicedOf_[place] == 0) return;
  released_.push_back(splicedOf_[place] - 1);
  splicedOf_[place] = 0;
}

const SplicedSampleBytes* SortedGroup::splicedBytes(std::size_t place) const {
  if (splicedOf_.empty() || splicedOf_[place] == 0) return nullptr;
  return &spliced_[splicedOf_[place] - 1];
}

}  // namespace quarrypack
