#pragma once

#include <cstdint>
#include <string>

namespace norvik::kav {

// A four-character code as the number in a file: the first character is in the highest byte.
using FourCc = std::uint32_t;

// The code of four characters, for example fourCc("moov").
consteval FourCc fourCc(const char (&text)[5]) {
  FourCc code = 0;
  for (int i = 0; i < 4; ++i) code = code << 8 | static_cast<unsigned char>(text[i]);
  return code;
}

// The four characters of a code, for messages; a byte that cannot be printed becomes '?'.
inline std::string textOf(FourCc code) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) {
    const char letter = static_cast<char>(code >> shift & 0xFF);
    text += letter < ' ' || letter > '~' ? '?' : letter;
  }
  return text;
}

}  // namespace norvik::kav
