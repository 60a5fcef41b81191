#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace norvik::kav::impl {

// Finds the run of a sample or of a time in the tables of a track.
//
// An entry of no samples, or of no chunks, has a run like every other entry. It adds nothing to any
// sum and nothing can be found in it, so look-ups and walks cover only the filled runs.

// Finds the first entry of a list that reaches a target. In an ascending list that is a binary
// search. In any other list only an entry above all those before it can be the answer, so those are
// remembered and searched. An unsorted list costs no more time than a sorted one.
class RisingIndex {
 public:
  // valueAt(i) is the value of entry i. The list must not change afterwards.
  template <class ValueAt>
  void build(std::size_t count, ValueAt valueAt);

  // The index of the first entry with a value of at least target, or count if there is none.
  template <class ValueAt>
  std::size_t firstReaching(std::size_t count, std::uint64_t target, ValueAt valueAt) const;

 private:
  bool isAscending_ = true;
  std::vector<std::uint32_t> rises_;  // only for an unsorted list
};

// The runs of a table, in table order.
template <class Run>
class RunList {
 public:
  void reserve(std::size_t count) { all_.reserve(count); }

  // isFilled: whether the run has samples or chunks.
  void add(const Run& run, bool isFilled) {
    if (!isFilled && !hasEmpty_) {
      filled_ = all_;
      hasEmpty_ = true;
    }
    all_.push_back(run);
    if (isFilled && hasEmpty_) filled_.push_back(run);
  }

  std::span<const Run> all() const { return all_; }
  std::span<const Run> filled() const { return hasEmpty_ ? filled_ : all_; }

 private:
  std::vector<Run> all_;
  std::vector<Run> filled_;  // used only once there is an empty run
  bool hasEmpty_ = false;
};

// The last run that begins at or before a sample; the first run for a sample before all runs; null
// without runs. The last run is tried first, so that a look-up near the end is immediate.
template <class Run>
const Run* findRun(std::span<const Run> runs, std::uint32_t sampleNumber) {
  if (runs.empty()) return nullptr;
  if (runs.back().firstSample <= sampleNumber) return &runs.back();
  std::size_t base = 0;
  std::size_t length = runs.size();
  while (length > 0) {
    const std::size_t step = (length + 1) / 2;
    if (base + step < runs.size() && runs[base + step].firstSample <= sampleNumber) {
      base += step;
      length -= step;
    } else {
      length = step - 1;
    }
  }
  return &runs[base];
}

template <class ValueAt>
void RisingIndex::build(std::size_t count, ValueAt valueAt) {
  rises_.clear();
  isAscending_ = true;
  for (std::size_t i = 1; i < count && isAscending_; ++i)
    isAscending_ = valueAt(i - 1) <= valueAt(i);
  if (isAscending_) return;
  std::uint64_t highest = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint64_t value = valueAt(i);
    if (i > 0 && value <= highest) continue;
    highest = value;
    rises_.push_back(static_cast<std::uint32_t>(i));
  }
}

template <class ValueAt>
std::size_t RisingIndex::firstReaching(std::size_t count, std::uint64_t target,
                                       ValueAt valueAt) const {
  const auto entryAt = [&](std::size_t i) { return isAscending_ ? i : rises_[i]; };
  std::size_t low = 0;
  std::size_t high = isAscending_ ? count : rises_.size();
  while (low < high) {
    const std::size_t middle = low + (high - low) / 2;
    if (valueAt(entryAt(middle)) < target) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return low == (isAscending_ ? count : rises_.size()) ? count : entryAt(low);
}

}  // namespace norvik::kav::impl
