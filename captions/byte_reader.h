#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace quarrypack::captions {

// Takes big-endian numbers and bytes from the front of a record and never reads past its end. After
// the first failure every result is zero or empty, and failed() returns true. So a parser checks
// once, when it has finished.
class ByteReader {
 public:
  explicit ByteReader(std::span<const std::uint8_t> bytes) : rest_(bytes) {}

  std::span<const std::uint8_t> take(std::uint64_t count) {
    if (count > rest_.size()) {
      failed_ = true;
      rest_ = {};
      return {};
    }
    const auto taken = rest_.first(static_cast<std::size_t>(count));
    rest_ = rest_.subspan(taken.size());
    return taken;
  }

  std::uint8_t u8() { return static_cast<std::uint8_t>(number(1)); }
  std::uint16_t u16() { return static_cast<std::uint16_t>(number(2)); }
  std::uint32_t u32() { return number(4); }

  // A number of 0 to 4 bytes.
  std::uint32_t number(std::size_t byteCount) {
    std::uint32_t value = 0;
    for (const std::uint8_t byte : take(byteCount)) value = value << 8 | byte;
    return value;
  }

  std::span<const std::uint8_t> rest() const { return rest_; }
  bool failed() const { return failed_; }

 private:
  std::span<const std::uint8_t> rest_;
  bool failed_ = false;
};

}  // namespace quarrypack::captions
