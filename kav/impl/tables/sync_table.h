#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "kav/impl/tables/run_search.h"

namespace norvik::kav::impl {

// Walks the numbers of sync samples in table order. Only a cursor made from a table is active; a
// track without one has no sync samples. It refers to the table and owns nothing: the table must
// outlive it.
class SyncSampleCursor {
 public:
  SyncSampleCursor() = default;
  SyncSampleCursor(const std::uint32_t* position, const std::uint32_t* end)
      : position_(position), end_(end), isActive_(true) {}

  bool isActive() const { return isActive_; }
  bool isAtEnd() const { return position_ == end_; }

  // The current number. Must not be called at the end.
  std::uint32_t current() const { return *position_; }

  bool isAt(std::uint32_t sampleNumber) const {
    return isActive_ && position_ != end_ && *position_ == sampleNumber;
  }
  void next() {
    if (position_ != end_) ++position_;
  }

 private:
  const std::uint32_t* position_ = nullptr;
  const std::uint32_t* end_ = nullptr;
  bool isActive_ = false;
};

// The numbers of the sync samples of a track, in file order, whatever that is. A table does not
// change once it is made.
class SyncTable {
 public:
  SyncTable() = default;
  explicit SyncTable(std::vector<std::uint32_t> sampleNumbers);

  std::span<const std::uint32_t> sampleNumbers() const { return sampleNumbers_; }

  // A cursor at the first number, in table order, that is not below the given one.
  SyncSampleCursor cursorFrom(std::uint32_t sampleNumber) const;

 private:
  std::vector<std::uint32_t> sampleNumbers_;
  RisingIndex risingNumbers_;
};

}  // namespace norvik::kav::impl
