#pragma once

#include <cstdint>

namespace norvik::kav {

// A four-character code as the number in a file: the first character is in the highest byte.
using FourCc = std::uint32_t;

// The code of four characters, for example fourCc("moov").
consteval FourCc fourCc(const char (&text)[5]) {
  FourCc code = 0;
  for (int i = 0; i < 4; ++i) code = code << 8 | static_cast<unsigned char>(text[i]);
  return code;
}

}  // namespace norvik::kav
