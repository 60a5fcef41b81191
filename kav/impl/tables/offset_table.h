#pragma once

#include <cstdint>
#include <span>
#include <utility>
#include <vector>

namespace norvik::kav::impl {

// Where the chunks of a track begin in the file, always in 64 bits. A table does not change once it
// is made.
class OffsetTable {
 public:
  OffsetTable() = default;
  explicit OffsetTable(std::vector<std::uint64_t> offsets) : offsets_(std::move(offsets)) {}

  std::span<const std::uint64_t> offsets() const { return offsets_; }

 private:
  std::vector<std::uint64_t> offsets_;
};

}  // namespace norvik::kav::impl
