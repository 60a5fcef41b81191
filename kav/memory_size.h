#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>

namespace norvik::kav {

// The length, in bytes, of a part of a file that is to be in memory at once. Throws std::bad_alloc
// for more than any memory can hold: a file may be longer than the addresses of a 32-bit program
// reach.
inline std::size_t memorySize(std::uint64_t length) {
  if (length > std::uint64_t{std::numeric_limits<std::ptrdiff_t>::max()}) throw std::bad_alloc();
  return static_cast<std::size_t>(length);
}

// The length of a part of a file, or the limit where that is smaller.
inline std::size_t sizeWithin(std::uint64_t length, std::size_t limit) {
  return static_cast<std::size_t>(std::min<std::uint64_t>(length, limit));
}

}  // namespace norvik::kav
