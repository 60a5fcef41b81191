#include "embed/offset_map.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace quarrypack::embed {

namespace {

// What a splice adds to the offsets after it, modulo 2^64.
std::uint64_t shiftOf(const Splice& splice) {
  return static_cast<std::uint64_t>(std::int64_t{splice.inserted} - std::int64_t{splice.removed});
}

constexpr std::uint64_t kLast = std::numeric_limits<std::uint64_t>::max();

std::uint64_t endOf(std::uint64_t offset, std::uint64_t length) {
  return length > kLast - offset ? kLast : offset + length;
}

}  // namespace

OffsetMap::OffsetMap(std::vector<Splice> splices) : splices_(std::move(splices)) { sum(); }

std::optional<Splice> OffsetMap::findConflict(std::span<const Splice> splices) {
  const auto conflict = std::adjacent_find(
      splices.begin(), splices.end(), [](const Splice& first, const Splice& second) {
        return second.offset <= first.offset || second.offset < first.end();
      });
  if (conflict == splices.end()) return std::nullopt;
  return *std::next(conflict);
}

void OffsetMap::sum() {
  shifts_.clear();
  shifts_.reserve(splices_.size() / kBlock + 1);
  std::uint64_t shift = 0;
  for (std::size_t i = 0; i < splices_.size(); ++i) {
    if (i % kBlock == 0) shifts_.push_back(shift);
    shift += shiftOf(splices_[i]);
  }
  if (splices_.size() % kBlock == 0) shifts_.push_back(shift);
}

void OffsetMap::setInserted(std::size_t index, std::uint32_t inserted) {
  splices_[index].inserted = inserted;
  sum();
}

std::uint64_t OffsetMap::shiftBefore(std::size_t index) const {
  if (splices_.empty()) return 0;
  std::uint64_t shift = shifts_[index / kBlock];
  for (std::size_t i = index - index % kBlock; i < index; ++i) shift += shiftOf(splices_[i]);
  return shift;
}

// The number of splices at smaller offsets.
std::size_t OffsetMap::lowerBound(std::uint64_t oldOffset) const {
  const auto found =
      std::partition_point(splices_.begin(), splices_.end(),
                           [oldOffset](const Splice& splice) { return splice.offset < oldOffset; });
  return static_cast<std::size_t>(found - splices_.begin());
}

std::uint64_t OffsetMap::place(std::uint64_t oldOffset, std::size_t index) const {
  // Only the last of the splices before an offset can reach past it.
  const std::uint64_t past = index == 0 ? 0 : splices_[index - 1].end();
  return std::max(oldOffset, past) + shiftBefore(index);
}

void OffsetMap::Cursor::seek(std::uint64_t oldOffset) {
  constexpr std::size_t kNear = 8;
  const std::vector<Splice>& splices = map_->splices_;
  const bool isBefore = index_ > 0 && splices[index_ - 1].offset >= oldOffset;
  if (!isBefore) {
    const std::size_t near = std::min(index_ + kNear, splices.size());
    while (index_ < near && splices[index_].offset < oldOffset)
      shift_ += shiftOf(splices[index_++]);
    if (index_ < near || index_ == splices.size()) return;
  }
  index_ = map_->lowerBound(oldOffset);
  shift_ = map_->shiftBefore(index_);
}

std::uint64_t OffsetMap::Cursor::newOffset(std::uint64_t oldOffset) {
  seek(oldOffset);
  const std::uint64_t past = index_ == 0 ? 0 : map_->splices_[index_ - 1].end();
  return std::max(oldOffset, past) + shift_;
}

bool OffsetMap::Cursor::changes(std::uint64_t oldOffset, std::uint64_t length) {
  seek(oldOffset);
  if (length == 0) return false;
  const std::vector<Splice>& splices = map_->splices_;
  if (index_ > 0 && splices[index_ - 1].end() > oldOffset) return true;
  return index_ < splices.size() && splices[index_].offset < endOf(oldOffset, length);
}

void UnusedRanges::add(std::uint64_t offset, std::uint64_t length) {
  const std::uint64_t end = endOf(offset, length);
  if (!ranges_.empty() && offset == ranges_.back().end) {
    ranges_.back().end = end;
  } else if (length > 0) {
    ranges_.push_back({offset, end});
  }
}

void UnusedRanges::unite() {
  std::sort(ranges_.begin(), ranges_.end(),
            [](const Range& a, const Range& b) { return a.offset < b.offset; });
  std::size_t count = 0;
  for (const Range& range : ranges_) {
    if (count > 0 && range.offset <= ranges_[count - 1].end) {
      ranges_[count - 1].end = std::max(ranges_[count - 1].end, range.end);
    } else {
      ranges_[count++] = range;
    }
  }
  ranges_.resize(count);
  next_.resize(count + 1);
  for (std::size_t i = 0; i <= count; ++i) next_[i] = static_cast<std::uint32_t>(i);
}

std::size_t UnusedRanges::nextUnused(std::size_t index) {
  while (next_[index] != index) {
    next_[index] = next_[next_[index]];
    index = next_[index];
  }
  return index;
}

void UnusedRanges::keep(std::uint64_t offset, std::uint64_t length) {
  if (length == 0) return;
  const std::uint64_t end = endOf(offset, length);
  const auto first = std::partition_point(
      ranges_.begin(), ranges_.end(), [offset](const Range& range) { return range.end <= offset; });
  std::size_t i = nextUnused(static_cast<std::size_t>(first - ranges_.begin()));
  while (i < ranges_.size() && ranges_[i].offset < end) {
    next_[i] = static_cast<std::uint32_t>(i + 1);
    i = nextUnused(i);
  }
}

std::vector<Splice> UnusedRanges::splices() const {
  constexpr std::uint64_t kMost = std::numeric_limits<std::uint32_t>::max();
  std::vector<Splice> splices;
  for (std::size_t i = 0; i < ranges_.size(); ++i) {
    if (next_[i] != i) continue;
    for (std::uint64_t offset = ranges_[i].offset; offset < ranges_[i].end;) {
      const std::uint64_t length = std::min(ranges_[i].end - offset, kMost);
      splices.push_back({offset, 0, static_cast<std::uint32_t>(length)});
      offset += length;
    }
  }
  return splices;
}

}  // namespace quarrypack::embed
