#include "captions/characters608.h"

#include <string_view>

namespace quarrypack::captions {
namespace {

// Sixteen characters a line, so the last digit of a code is the position in its line.
constexpr std::u16string_view kStandard =
    u" !\"#$%&’()á+,-./"
    u"0123456789:;<=>?"
    u"@ABCDEFGHIJKLMNO"
    u"PQRSTUVWXYZ[é]íó"
    u"úabcdefghijklmno"
    u"pqrstuvwxyzç÷Ññ█";
static_assert(kStandard.size() == 96);

// The transparent space is a 0, which would end a literal of unknown length.
constexpr std::u16string_view kSpecial{u"®°½¿™¢£♪à\0èâêîôû", 16};
static_assert(kSpecial.back() == u'û');

constexpr std::u16string_view kExtended =
    u"ÁÉÓÚÜü‘¡*'—©℠•“”"
    u"ÀÂÇÈÊËëÎÏïÔÙùÛ«»"
    u"ÃãÍÌìÒòÕõ{}\\^_|~"
    u"ÄäÖöß¥¤¦ÅåØø┌┐└┘";
static_assert(kExtended.size() == 64);

}  // namespace

char16_t standardCharacter(unsigned code) { return kStandard.at(code - 0x20); }

char16_t specialCharacter(unsigned second) { return kSpecial.at(second - 0x30); }

char16_t extendedCharacter(unsigned set, unsigned second) {
  return kExtended.at(32 * set + second - 0x20);
}

void appendUtf8(std::string& text, char16_t character) {
  const unsigned code = character;
  if (code < 0x80) {
    text += static_cast<char>(code);
    return;
  }
  if (code < 0x800) {
    text += static_cast<char>(0xC0 | code >> 6);
  } else {
    text += static_cast<char>(0xE0 | code >> 12);
    text += static_cast<char>(0x80 | (code >> 6 & 0x3F));
  }
  text += static_cast<char>(0x80 | (code & 0x3F));
}

}  // namespace quarrypack::captions
