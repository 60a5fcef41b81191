#pragma once

#include <string>

// The characters of CEA-608 as UTF-16 code units; each of them fits into one.
namespace quarrypack::captions {

inline constexpr char16_t kSolidBlock = u'█';

// A character of the standard set, for codes 20 to 7F.
char16_t standardCharacter(unsigned code);

// A character of the special set, for second bytes 30 to 3F. The transparent space is 0.
char16_t specialCharacter(unsigned second);

// A character of the extended sets, for second bytes 20 to 3F. Set 0 is Spanish, miscellaneous and
// French, set 1 Portuguese, German and Danish.
char16_t extendedCharacter(unsigned set, unsigned second);

// Appends a character that needs one UTF-16 code unit as UTF-8.
void appendUtf8(std::string& text, char16_t character);

}  // namespace quarrypack::captions
