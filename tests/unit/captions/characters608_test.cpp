#include "captions/characters608.h"

#include <gtest/gtest.h>

namespace quarrypack::captions {
namespace {

template <class Lookup>
std::string characters(unsigned from, unsigned to, Lookup lookup) {
  std::string text;
  for (unsigned code = from; code <= to; ++code) appendUtf8(text, lookup(code));
  return text;
}

TEST(Characters608, TheStandardSetIsAsciiButForTen) {
  std::string expected;
  for (char letter = ' '; letter < 0x7F; ++letter) {
    switch (letter) {
      case '\'':
        expected += "\xE2\x80\x99";
        break;  // right single quotation mark
      case '*':
        expected += "\xC3\xA1";
        break;  // a acute
      case '\\':
        expected += "\xC3\xA9";
        break;  // e acute
      case '^':
        expected += "\xC3\xAD";
        break;  // i acute
      case '_':
        expected += "\xC3\xB3";
        break;  // o acute
      case '`':
        expected += "\xC3\xBA";
        break;  // u acute
      case '{':
        expected += "\xC3\xA7";
        break;  // c cedilla
      case '|':
        expected += "\xC3\xB7";
        break;  // division sign
      case '}':
        expected += "\xC3\x91";
        break;  // N tilde
      case '~':
        expected += "\xC3\xB1";
        break;  // n tilde
      default:
        expected += letter;
    }
  }
  expected += "\xE2\x96\x88";  // full block
  EXPECT_EQ(characters(0x20, 0x7F, standardCharacter), expected);
}

TEST(Characters608, TheSpecialSetHasATransparentSpace) {
  EXPECT_EQ(characters(0x30, 0x38, specialCharacter), "®°½¿™¢£♪à");
  EXPECT_EQ(specialCharacter(0x39), 0);
  EXPECT_EQ(characters(0x3A, 0x3F, specialCharacter), "èâêîôû");
}

TEST(Characters608, TheExtendedSetsHaveThirtyTwoCharactersEach) {
  const auto first = [](unsigned code) { return extendedCharacter(0, code); };
  const auto second = [](unsigned code) { return extendedCharacter(1, code); };
  EXPECT_EQ(characters(0x20, 0x27, first), "ÁÉÓÚÜü‘¡");
  EXPECT_EQ(characters(0x28, 0x2F, first), "*'—©℠•“”");
  EXPECT_EQ(characters(0x30, 0x3F, first), "ÀÂÇÈÊËëÎÏïÔÙùÛ«»");
  EXPECT_EQ(characters(0x20, 0x2F, second), "ÃãÍÌìÒòÕõ{}\\^_|~");
  EXPECT_EQ(characters(0x30, 0x37, second), "ÄäÖöß¥¤¦");
  EXPECT_EQ(characters(0x38, 0x3F, second), "ÅåØø┌┐└┘");
}

TEST(Characters608, Utf8TakesOneToThreeBytes) {
  std::string text;
  for (const char16_t character : {u'\x7F', u'\x80', u'\x7FF', u'\x800', u'\xFFFD'}) {
    appendUtf8(text, character);
  }
  EXPECT_EQ(text, "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBD");
}

}  // namespace
}  // namespace quarrypack::captions
