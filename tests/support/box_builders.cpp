#include "tests/support/box_builders.h"

#include <algorithm>
#include <stdexcept>

namespace quarrypack::test {
namespace {

constexpr std::size_t kHeaderSize = 8;

Bytes typeBytes(std::string_view type) {
  if (type.size() != 4) throw std::invalid_argument("a box type has four characters");
  return text(type);
}

}  // namespace

Bytes boxAround(std::string_view type, const Bytes& payload) {
  return concat({u32(kHeaderSize + payload.size()), typeBytes(type), payload});
}

Bytes versionAndFlags(unsigned version, std::uint32_t flags) {
  return concat({u8(version), u24(flags)});
}

Uuid uuidOf(std::string_view type) {
  Uuid uuid = {0, 0, 0, 0, 0x00, 0x11, 0x00, 0x10, 0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};
  const auto code = typeBytes(type);
  std::copy(code.begin(), code.end(), uuid.begin());
  return uuid;
}

Bytes payloadOf(const Bytes& ordinary) {
  return Bytes(ordinary.begin() + kHeaderSize, ordinary.end());
}

std::string_view typeOf(const Bytes& ordinary) {
  return std::string_view(reinterpret_cast<const char*>(ordinary.data()) + 4, 4);
}

Bytes largeForm(const Bytes& ordinary) { return claimingLargeSize(ordinary.size() + 8, ordinary); }

Bytes uuidForm(const Bytes& ordinary) {
  return uuidBox(uuidOf(typeOf(ordinary)), payloadOf(ordinary));
}

Bytes runningToEnd(const Bytes& ordinary) { return claimingSize(0, ordinary); }

Bytes withVersion(unsigned version, const Bytes& ordinary) {
  return patched(ordinary, kHeaderSize, u8(version));
}

Bytes withType(std::string_view type, const Bytes& ordinary) {
  return patched(ordinary, 4, typeBytes(type));
}

Bytes claimingSize(std::uint32_t size, const Bytes& ordinary) {
  return patched(ordinary, 0, u32(size));
}

Bytes claimingLargeSize(std::uint64_t size, const Bytes& ordinary) {
  return concat({u32(1), text(typeOf(ordinary)), u64(size), payloadOf(ordinary)});
}

Bytes patched(Bytes bytes, std::size_t position, const Bytes& replacement) {
  if (position + replacement.size() > bytes.size()) {
    throw std::out_of_range("a patch must lie inside the bytes");
  }
  std::copy(replacement.begin(), replacement.end(),
            bytes.begin() + static_cast<std::ptrdiff_t>(position));
  return bytes;
}

}  // namespace quarrypack::test
