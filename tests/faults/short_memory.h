#pragma once

#include <cstddef>

namespace quarrypack::test {

// Makes one allocation of the process fail while it lives: the k-th from its construction on,
// counted from 1. Its source replaces all operators new of a program that links it. At most one
// object at a time.
class ShortMemory {
 public:
  explicit ShortMemory(std::size_t k);
  ~ShortMemory();
  ShortMemory(const ShortMemory&) = delete;
  ShortMemory& operator=(const ShortMemory&) = delete;

  // Whether the allocation of the latest object was reached.
  static bool faultWasMet();
};

}  // namespace quarrypack::test
