#pragma once

#include <string_view>

#include "kav/four_cc.h"

namespace norvik::kav::impl {

// What the library knows of a coding. A coding without a row is copied like any other.
struct Codec {
  FourCc code = 0;           // of its sample entries
  FourCc handler = 0;        // of its tracks
  std::string_view name;     // of the compressor, as a video entry states it; empty for none
  FourCc configuration = 0;  // the box with the configuration of its decoder; 0 when not needed
};

// The row of a code; null for a coding that is not known.
const Codec* findCodec(FourCc code);

}  // namespace norvik::kav::impl
