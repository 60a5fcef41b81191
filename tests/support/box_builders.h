#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "tests/support/bytes.h"

// Builders of boxes for tests. `box` and `fullBox` build correct boxes. The functions below them
// change the form of a finished box, or make it state something false:
//
//     box("moov", fullBox("mvhd", 0, 0, u32(1), …), box("trak", …))
//     largeForm(box("mdat", samples))           claimingSize(7, box("free"))

namespace quarrypack::test {

// A box around finished content.
Bytes boxAround(std::string_view type, const Bytes& payload);

// The four bytes after the header of a full box.
Bytes versionAndFlags(unsigned version, std::uint32_t flags);

template <class... Parts>
Bytes box(std::string_view type, const Parts&... parts) {
  return boxAround(type, concat({Bytes(), parts...}));
}

template <class... Parts>
Bytes fullBox(std::string_view type, unsigned version, std::uint32_t flags, const Parts&... parts) {
  return boxAround(type, concat({versionAndFlags(version, flags), parts...}));
}

using Uuid = std::array<std::uint8_t, 16>;

inline constexpr Uuid kXmpUuid = {0xBE, 0x7A, 0xCF, 0xCB, 0x97, 0xA9, 0x42, 0xE8,
                                  0x9C, 0x71, 0x99, 0x94, 0x91, 0xE3, 0xAF, 0xAC};

// The extended type under which a box of a four-character code may also be written.
Uuid uuidOf(std::string_view type);

template <class... Parts>
Bytes uuidBox(const Uuid& uuid, const Parts&... parts) {
  return boxAround("uuid", concat({Bytes(uuid.begin(), uuid.end()), parts...}));
}

// Each takes a box with an 8-byte header and keeps its payload.
Bytes largeForm(const Bytes& ordinary);     // 64-bit size, 16-byte header
Bytes uuidForm(const Bytes& ordinary);      // its code written as an extended type
Bytes runningToEnd(const Bytes& ordinary);  // size 0: to the end of the file
Bytes withVersion(unsigned version, const Bytes& ordinary);
Bytes withType(std::string_view type, const Bytes& ordinary);
Bytes claimingSize(std::uint32_t size, const Bytes& ordinary);
Bytes claimingLargeSize(std::uint64_t size, const Bytes& ordinary);
Bytes payloadOf(const Bytes& ordinary);
std::string_view typeOf(const Bytes& ordinary);

// Returns `bytes` with the number at `position` replaced by a number of the same width.
Bytes patched(Bytes bytes, std::size_t position, const Bytes& replacement);

}  // namespace quarrypack::test
