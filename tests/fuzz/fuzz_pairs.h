#pragma once

#include <array>
#include <cstdint>

#include "captions/cea608.h"
#include "tests/fuzz/fuzz_target.h"

namespace quarrypack::test {

// Of field 1 and of field 2.
using BothFields = std::array<captions::FieldPairs, 2>;

// Each pair is two bytes after one byte. Bit 0 of that byte selects the field, and the other bits
// count the quarters of a frame that pass before the pair.
inline BothFields pairsOf(InputBytes input) {
  BothFields fields;
  captions::Time time{0};
  while (!input.empty()) {
    const unsigned head = input.u8();
    time += captions::kPairTime / 4 * (head >> 1);
    const std::uint8_t first = input.u8();
    fields.at(head & 1).push_back({time, {first, input.u8()}});
  }
  return fields;
}

}  // namespace quarrypack::test
