#pragma once

#include <cstdint>

#include "captions/cea608.h"

// The codes that change the screen at once. What is loaded out of sight may move freely in time,
// but not past such a code.
namespace quarrypack::captions {

// The second byte of a command code, in any channel of any field; 0 for another pair. Parity is
// ignored. Commands begin with 14 or 1C in field 1 and with 15 or 1D in field 2. The field is not
// considered, because streams mix the two.
constexpr std::uint8_t commandCode(BytePair pair) {
  constexpr std::uint8_t kCommand = 0x14;
  constexpr std::uint8_t kWithoutParityChannelAndField = 0x76;
  const bool isCommand =
      (pair.first & kWithoutParityChannelAndField) == kCommand && (pair.second & 0x70) == 0x20;
  return isCommand ? pair.second & 0x7F : 0;
}

// Shows the loaded screen: a pop-on caption appears with this code.
constexpr bool isEndOfCaption(BytePair pair) { return commandCode(pair) == 0x2F; }

// Roll-up 2 to 4, resume direct captioning, erase displayed memory, carriage return, end of
// caption.
constexpr bool isVisibleCode(BytePair pair) {
  const std::uint8_t code = commandCode(pair);
  return (code >= 0x25 && code <= 0x27) || code == 0x29 || code == 0x2C || code == 0x2D ||
         code == 0x2F;
}

}  // namespace quarrypack::captions
