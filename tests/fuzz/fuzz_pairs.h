#pragma once

#include <array>
#include <cstdint>

#include "captions/cea608.h"
#include "tests/fuzz/fuzz_target.h"

namespace quarrypack::test {

// Of field 1 and of field 2.
using BothFields = std::array<captions::FieldPairs, 2>;

// Two bytes for each pair, after one byte that tells its field in bit 0 and, in the others, how
// many quarters of a frame pass before it.
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
