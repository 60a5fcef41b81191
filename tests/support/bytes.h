#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace quarrypack::test {

using Bytes = std::vector<std::uint8_t>;

// The lowest `count` bytes of a number, most significant first, as in every number of a movie
// file.
inline Bytes bigEndian(std::uint64_t value, unsigned count) {
  Bytes bytes(count);
  for (unsigned i = 0; i < count; ++i) {
    bytes[count - 1 - i] = static_cast<std::uint8_t>(value >> (8 * i));
  }
  return bytes;
}

inline Bytes u8(std::uint64_t value) { return bigEndian(value, 1); }
inline Bytes u16(std::uint64_t value) { return bigEndian(value, 2); }
inline Bytes u24(std::uint64_t value) { return bigEndian(value, 3); }
inline Bytes u32(std::uint64_t value) { return bigEndian(value, 4); }
inline Bytes u64(std::uint64_t value) { return bigEndian(value, 8); }
inline Bytes zeros(std::size_t count) { return Bytes(count); }

// The characters alone, without a length before them or a zero after them.
inline Bytes text(std::string_view characters) {
  return Bytes(characters.begin(), characters.end());
}

// Bytes written as digits, with any blanks between them.
inline Bytes hex(std::string_view digits) {
  Bytes bytes;
  std::string pair;
  for (const char digit : digits) {
    if (digit == ' ') continue;
    pair += digit;
    if (pair.size() < 2) continue;
    bytes.push_back(static_cast<std::uint8_t>(std::stoul(pair, nullptr, 16)));
    pair.clear();
  }
  return bytes;
}

inline Bytes concat(std::initializer_list<Bytes> parts) {
  Bytes whole;
  for (const Bytes& part : parts) whole.insert(whole.end(), part.begin(), part.end());
  return whole;
}

inline Bytes concat(const std::vector<Bytes>& parts) {
  Bytes whole;
  for (const Bytes& part : parts) whole.insert(whole.end(), part.begin(), part.end());
  return whole;
}

inline void append(Bytes& to, const Bytes& more) { to.insert(to.end(), more.begin(), more.end()); }

// A list of numbers of one width, such as the entries of a size table.
template <class Numbers>
Bytes u32List(const Numbers& numbers) {
  Bytes whole;
  for (const auto number : numbers) append(whole, u32(static_cast<std::uint64_t>(number)));
  return whole;
}

inline Bytes u32List(std::initializer_list<std::uint32_t> numbers) {
  return u32List(std::vector<std::uint32_t>(numbers));
}

}  // namespace quarrypack::test
