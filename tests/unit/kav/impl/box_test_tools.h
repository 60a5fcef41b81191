#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string_view>
#include <vector>

#include "kav/date_time.h"
#include "kav/impl/tree/root_box.h"
#include "tests/support/box_builders.h"
#include "tests/support/expect_code.h"
#include "tests/support/film.h"
#include "tests/support/problem_answers.h"

// What the tests of the box classes share.

namespace norvik::kav::impl {

using namespace quarrypack::test;

// The header of a compact box at the start of a file, of a length that the file need not have.
inline BoxHeader headerClaiming(FourCc type, std::uint64_t size) {
  BoxHeader header;
  header.type = type;
  header.size = header.end = size;
  return header;
}

// The unity matrix as it is written.
inline Bytes unityMatrix() {
  return u32List({0x00010000, 0, 0, 0, 0x00010000, 0, 0, 0, 0x40000000});
}

// 2020-02-29 12:34:56 and one second later, in seconds since 1904.
inline constexpr std::uint64_t kLeapDay = 3665824496;
inline constexpr NorvikKavDateTime kLeapDayDate{2020, 2, 29, 12, 34, 56, 0};
inline constexpr NorvikKavDateTime kSecondLaterDate{2020, 2, 29, 12, 34, 57, 0};

// A track with all that its rules ask for, and no samples.
inline Bytes tkhd0() {
  return fullBox("tkhd", 0, 1, u32(0), u32(0), u32(1), zeros(4), u32(0), zeros(8), u16(0), u16(0),
                 u16(0), zeros(2), unityMatrix(), u32(0), u32(0));
}
inline Bytes mdhd0() {
  return fullBox("mdhd", 0, 0, u32(0), u32(0), u32(1000), u32(0), u16(0x55C4), u16(0));
}
inline Bytes hdlr(std::string_view handler) {
  return fullBox("hdlr", 0, 0, u32(0), text(handler), zeros(12), u8(0));
}
inline Bytes dinf() { return box("dinf", fullBox("dref", 0, 0, u32(1), fullBox("url ", 0, 1))); }
inline Bytes emptyStbl() {
  return box("stbl", fullBox("stsd", 0, 0, u32(0)), fullBox("stts", 0, 0, u32(0)),
             fullBox("stsc", 0, 0, u32(0)), fullBox("stsz", 0, 0, u32(0), u32(0)),
             fullBox("stco", 0, 0, u32(0)));
}
inline Bytes minf() { return box("minf", fullBox("nmhd", 0, 0), dinf(), emptyStbl()); }
inline Bytes mdia() { return box("mdia", mdhd0(), hdlr("text"), minf()); }
inline Bytes trak() { return box("trak", tkhd0(), mdia()); }
inline Bytes mvhd0() {
  return fullBox("mvhd", 0, 0, u32(0), u32(0), u32(600), u32(0), u32(0x10000), u16(0x100),
                 zeros(10), unityMatrix(), zeros(24), u32(2));
}
inline Bytes moov() { return box("moov", mvhd0(), trak()); }

}  // namespace norvik::kav::impl
