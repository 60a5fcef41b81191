#pragma once

#include <string_view>

#include "kav/four_cc.h"

namespace norvik::kav::impl {

// The facts about a coding that the library uses. A coding without a row is copied like any other.
struct Codec {
  FourCc code = 0;           // of its sample entries
  FourCc handler = 0;        // of its tracks
  std::string_view name;     // the compressor name of a video entry; empty for none
  FourCc configuration = 0;  // the box with the decoder configuration; 0 if not needed
};

// The row of a code; null for an unknown coding.
const Codec* findCodec(FourCc code);

}  // namespace norvik::kav::impl
