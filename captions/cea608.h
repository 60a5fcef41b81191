#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <variant>
#include <vector>

#include "captions/time.h"

// The byte pairs of CEA-608 captions and their meaning. A field of the picture carries one pair in
// each frame; bit 7 of each byte makes the number of ones odd.
namespace quarrypack::captions {

enum class Field : std::uint8_t { one, two };
inline constexpr std::array kBothFields = {Field::one, Field::two};
constexpr std::size_t indexOf(Field field) { return static_cast<std::size_t>(field); }

// Two channels share a field: CC1 and CC2 field 1, CC3 and CC4 field 2.
enum class Channel : std::uint8_t { cc1, cc2, cc3, cc4 };
inline constexpr std::array kChannels = {Channel::cc1, Channel::cc2, Channel::cc3, Channel::cc4};

constexpr std::size_t indexOf(Channel channel) { return static_cast<std::size_t>(channel); }
constexpr Field fieldOf(Channel channel) {
  return channel < Channel::cc3 ? Field::one : Field::two;
}
std::string_view channelName(Channel channel);              // "CC1" to "CC4"
std::optional<Channel> findChannel(std::string_view name);  // exactly as channelName writes it
Channel channelOf(Field field, bool second);

bool hasOddParity(std::uint8_t byte);
// The low seven bits of a byte, with bit 7 set to give odd parity.
std::uint8_t withOddParity(std::uint8_t byte);

// Two bytes as transmitted, with their parity bits.
struct BytePair {
  std::uint8_t first = 0x80;
  std::uint8_t second = 0x80;

  // Nothing was sent: 80 80, or 00 00 from an encoder that sets no parity.
  bool isPadding() const { return ((first | second) & 0x7F) == 0; }
  // The first byte is 10 to 1F; parity is ignored.
  bool isControl() const { return (first & 0x70) == 0x10; }

  friend bool operator==(const BytePair&, const BytePair&) = default;
};

inline constexpr BytePair kPadding{0x80, 0x80};

struct TimedPair {
  Time time{0};  // when the frame that carries the pair is shown
  BytePair bytes;

  friend bool operator==(const TimedPair&, const TimedPair&) = default;
};

// The pairs of one field in order.
using FieldPairs = std::vector<TimedPair>;

enum class Color : std::uint8_t { white, green, blue, cyan, red, yellow, magenta, black };

struct Style {
  Color color = Color::white;
  bool italic = false;
  bool underline = false;

  friend bool operator==(const Style&, const Style&) = default;
};

inline constexpr int kRows = 15;     // numbered from 1
inline constexpr int kColumns = 32;  // numbered from 0

// ---- The meanings of control codes, without their channel.

// Preamble address code: the place and the style of the next characters.
struct Preamble {
  int row = 1;
  int column = 0;
  Style style;
};

// Changes the style in the middle of a row and takes a cell. Without a colour it turns italics on
// and keeps the current colour.
struct MidRow {
  std::optional<Color> color;
  bool underline = false;
};

// A character of the special set or of the extended sets. One of the extended sets replaces the
// character before it, which encoders send for decoders without these sets.
struct CodedCharacter {
  char16_t glyph = 0;  // 0 is the transparent space
  bool replacesPrevious = false;
};

// Background colours, which cues do not have, and black characters. For decoders without these
// codes, encoders send a space first, whose background the code sets. They take no cell: if the
// space is missing, no letter is lost.
struct Background {};
struct BlackCharacters {
  bool underline = false;
};

struct TabOffset {
  int columns = 1;
};

enum class Command : std::uint8_t {
  resumeLoading,      // RCL: pop-on
  backspace,          // BS
  alarmOff,           // AOF, reserved
  alarmOn,            // AON, reserved
  deleteToEndOfRow,   // DER
  rollUp2,            // RU2
  rollUp3,            // RU3
  rollUp4,            // RU4
  flashOn,            // FON
  resumeDirect,       // RDC: paint-on
  textRestart,        // TR
  resumeText,         // RTD
  eraseDisplayed,     // EDM
  carriageReturn,     // CR
  eraseNotDisplayed,  // ENM
  endOfCaption,       // EOC
};

struct CharacterSet {};       // selects another alphabet; changes nothing here
struct WrongFieldCommand {};  // a command in the form of the other field; changes nothing
struct UnknownCode {};

using ControlCode = std::variant<Preamble, MidRow, CodedCharacter, Background, BlackCharacters,
                                 TabOffset, Command, CharacterSet, WrongFieldCommand, UnknownCode>;

// The meaning of a pair whose first byte is 10 to 1F; parity bits are ignored.
ControlCode parseControlCode(BytePair pair, Field field);

// Whether the pair is for the second channel of its field.
constexpr bool isForSecondChannel(BytePair pair) { return (pair.first & 0x08) != 0; }

}  // namespace quarrypack::captions
