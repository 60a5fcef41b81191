#pragma once

#include <cstddef>
#include <cstring>
#include <numeric>
#include <stdexcept>
#include <type_traits>
#include <vector>

namespace quarrypack::test {

// The position of a virtual function in the table of its class, read from a pointer to the member.
// The tests' compilers follow the Itanium C++ ABI: such a pointer holds an offset into the table,
// and a bit that distinguishes it from an address. A virtual destructor has two entries there.
template <class Member>
std::size_t tableIndexOf(Member member) {
  static_assert(std::is_member_function_pointer_v<Member>);
  struct Parts {
    std::ptrdiff_t function;
    std::ptrdiff_t adjustment;
  } parts{};
  static_assert(sizeof(parts) == sizeof(member));
  std::memcpy(&parts, &member, sizeof(parts));
#if defined(__aarch64__) || defined(__arm__)
  const bool isVirtual = (parts.adjustment & 1) != 0;
  const std::ptrdiff_t offset = parts.function;
#else
  const bool isVirtual = (parts.function & 1) != 0;
  const std::ptrdiff_t offset = parts.function - 1;
#endif
  if (!isVirtual) throw std::logic_error("the member is not virtual");
  return static_cast<std::size_t>(offset) / sizeof(void*);
}

// The slots of virtual functions in a class whose slot 0 is its destructor.
template <class... Members>
std::vector<std::size_t> slotsOf(Members... members) {
  return {tableIndexOf(members) - 1 ...};
}

// `count` consecutive slots.
inline std::vector<std::size_t> slotsFrom(std::size_t first, std::size_t count) {
  std::vector<std::size_t> slots(count);
  std::iota(slots.begin(), slots.end(), first);
  return slots;
}

}  // namespace quarrypack::test
