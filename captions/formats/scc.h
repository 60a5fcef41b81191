#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "captions/cea608.h"
#include "captions/timecode.h"

// Scenarist closed captions, the text form of the pairs of one field: lines of a time code and of
// words of four hexadecimal digits, each of which is the pair of one frame of 1001/30000 s.
namespace quarrypack::captions {

// The time code that the first picture has.
struct SccOffset {
  bool wholeHours = false;  // the hours of the first time code in the file, instead of `code`
  TimeCode code;
};

// A time code or "auto"; none for any other text.
std::optional<SccOffset> parseSccOffset(std::string_view text);

struct SccOptions {
  const FrameRate* rate = &televisionRate();  // at which the time codes count
  SccOffset offset;
};

// What is unusual about a file and how it was read all the same.
enum class SccFindingKind : std::uint8_t {
  byteOrderMark,
  noHeader,
  lineFeed,
  spacesForTab,
  capitals,
  badWord,
  badTimeCode,
  noTimeCode,
  fieldTooLarge,
  leftOutFrame,
  noDropFrame,
  mixedTimeCodes,
  runsBackwards,
  overrun,
  beforeStart,
  noParity,
  singleCode,
  mixedFields,
};

struct SccFinding {
  SccFindingKind kind;
  std::size_t line = 0;   // the first one, from 1
  std::size_t count = 0;  // how often in the file

  friend bool operator==(const SccFinding&, const SccFinding&) = default;
};

// A sentence for people, for example "line 7: a word is not four hexadecimal digits; nothing is
// sent in its frame (and 3 more)".
std::string describe(const SccFinding& finding);

struct SccFile {
  // With their parity put right. Times increase; they are negative before the offset.
  FieldPairs pairs;
  // The field whose commands the file uses; field 1 if it has none.
  Field field = Field::one;
  std::vector<SccFinding> findings;  // at most one of a kind, by their first lines

  // False: there is no word that says anything, and the text is no SCC file.
  bool isDecodable() const;
};

// Reads any text. A line that begins before the end of the line before it goes on after that one,
// and so does a line without a time code. Between lines nothing is sent; a pair of padding says so
// where the next line would otherwise look like the copy of a control code.
SccFile readScc(std::string_view text, const SccOptions& options = {});

// When the captions of a file end that are never erased: four seconds after the last pair, because
// the file does not tell how long its film is.
Time sccEnd(const FieldPairs& pairs);

// Writes the pairs with drop-frame codes, in lines that end with CR LF. Padding inside a line is
// kept. A line ends before a time without pairs, and where there is padding for a second. Pairs
// that come faster than one in 1001/30000 s are spread over the next frames; times below 0 count as
// 0.
void writeScc(const FieldPairs& pairs, std::ostream& out);

}  // namespace quarrypack::captions
