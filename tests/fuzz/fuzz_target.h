#pragma once

#include <cstddef>
#include <cstdint>
#include <iostream>
#include <span>
#include <string_view>

// The function that every fuzz target defines; it takes any bytes. The fuzzer calls it, and so does
// an ordinary test program with the stored corpus.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace quarrypack::test {

// Ends the process with a message about a property that does not hold.
[[noreturn]] inline void fail(std::string_view property) {
  std::cerr << "violated: " << property << std::endl;
  __builtin_trap();
}

inline void check(bool holds, std::string_view property) {
  if (!holds) fail(property);
}

// Keeps the program's messages off the console while it lives.
class SilencedConsole {
 public:
  SilencedConsole() : out_(std::cout.rdbuf(nullptr)) {}
  ~SilencedConsole() {
    std::cout.rdbuf(out_);
    std::cout.clear();
  }
  SilencedConsole(const SilencedConsole&) = delete;
  SilencedConsole& operator=(const SilencedConsole&) = delete;

 private:
  std::streambuf* out_;
};

// Takes numbers and bytes from the front of an input. Returns zeros and no bytes at its end.
class InputBytes {
 public:
  explicit InputBytes(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  std::uint8_t u8() {
    if (bytes_.empty()) return 0;
    const std::uint8_t value = bytes_.front();
    bytes_ = bytes_.subspan(1);
    return value;
  }
  std::uint16_t u16() {
    const unsigned high = u8();
    return static_cast<std::uint16_t>(high << 8 | u8());
  }
  std::span<const std::uint8_t> take(std::size_t count) {
    const auto taken = bytes_.first(count < bytes_.size() ? count : bytes_.size());
    bytes_ = bytes_.subspan(taken.size());
    return taken;
  }
  std::span<const std::uint8_t> rest() { return take(bytes_.size()); }
  bool empty() const { return bytes_.empty(); }

 private:
  std::span<const std::uint8_t> bytes_;
};

}  // namespace quarrypack::test
