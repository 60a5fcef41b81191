#include "captions/cea608.h"

#include <algorithm>
#include <bit>

#include "captions/characters608.h"

namespace quarrypack::captions {
namespace {

constexpr std::array<std::string_view, 4> kChannelNames = {"CC1", "CC2", "CC3", "CC4"};

// The rows of a preamble, indexed by the low three bits of the first byte, then by bit 5 of the
// second. 0 means none.
constexpr int kPreambleRows[8][2] = {{11, 0},  {1, 2}, {3, 4}, {12, 13},
                                     {14, 15}, {5, 6}, {7, 8}, {9, 10}};

constexpr std::array kAttributeColors = {Color::white, Color::green,  Color::blue,   Color::cyan,
                                         Color::red,   Color::yellow, Color::magenta};

// Bits 1 to 4 of a preamble: seven colours, italics, and eight indents of four columns.
constexpr unsigned kItalics = 7;
constexpr unsigned kFirstIndent = 8;

ControlCode preamble(unsigned group, unsigned second) {
  const int row = kPreambleRows[group][second >> 5 & 1];
  if (row == 0) return UnknownCode{};
  Preamble code{row, 0, {Color::white, false, (second & 1) != 0}};
  const unsigned attribute = second >> 1 & 15;
  if (attribute >= kFirstIndent) {
    code.column = static_cast<int>(4 * (attribute - kFirstIndent));
  } else if (attribute == kItalics) {
    code.style.italic = true;
  } else {
    code.style.color = kAttributeColors.at(attribute);
  }
  return code;
}

ControlCode midRow(unsigned second) {
  MidRow code{std::nullopt, (second & 1) != 0};
  const unsigned attribute = second >> 1 & 7;
  if (attribute != kItalics) code.color = kAttributeColors.at(attribute);
  return code;
}

// The commands of field 2 have other codes, so that a decoder notices swapped fields.
ControlCode command(unsigned group, unsigned second, Field field) {
  const unsigned groupOfField = field == Field::one ? 4 : 5;
  if (group != groupOfField) return WrongFieldCommand{};
  return static_cast<Command>(second & 15);
}

ControlCode tabOrForeground(unsigned second) {
  if (second >= 0x21 && second <= 0x23) return TabOffset{static_cast<int>(second & 3)};
  if (second >= 0x24 && second <= 0x2A) return CharacterSet{};
  if (second == 0x2D) return Background{};
  if (second == 0x2E || second == 0x2F) return BlackCharacters{second == 0x2F};
  return UnknownCode{};
}

ControlCode lowCode(unsigned group, unsigned second, Field field) {
  switch (group) {
    case 0:
      return Background{};
    case 1:
      return midRow(second);
    case 4:
    case 5:
      return command(group, second, field);
    case 7:
      return tabOrForeground(second);
    default:
      return UnknownCode{};
  }
}

}  // namespace

std::string_view channelName(Channel channel) { return kChannelNames.at(indexOf(channel)); }

std::optional<Channel> findChannel(std::string_view name) {
  for (const Channel channel : kChannels) {
    if (channelName(channel) == name) return channel;
  }
  return std::nullopt;
}

Channel channelOf(Field field, bool second) {
  return kChannels.at((field == Field::two ? 2 : 0) + (second ? 1 : 0));
}

bool hasOddParity(std::uint8_t byte) { return std::popcount(byte) % 2 == 1; }

std::uint8_t withOddParity(std::uint8_t byte) {
  const auto low = static_cast<std::uint8_t>(byte & 0x7F);
  return hasOddParity(low) ? low : static_cast<std::uint8_t>(low | 0x80);
}

ControlCode parseControlCode(BytePair pair, Field field) {
  const unsigned group = pair.first & 7;
  const unsigned second = pair.second & 0x7F;
  if (second < 0x20) return UnknownCode{};
  if (second >= 0x40) return preamble(group, second);
  if (group == 2 || group == 3) return CodedCharacter{extendedCharacter(group - 2, second), true};
  if (group == 1 && second >= 0x30) return CodedCharacter{specialCharacter(second), false};
  if (second >= 0x30) return UnknownCode{};
  return lowCode(group, second, field);
}

}  // namespace quarrypack::captions
