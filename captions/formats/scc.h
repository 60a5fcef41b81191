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

// Scenarist closed captions: the pairs of one field as text. A line is a time code and words of
// four hexadecimal digits; each word is the pair of one frame of 1001/30000 s.
namespace quarrypack::captions {

// The time code of the first picture.
struct SccOffset {
  bool wholeHours = false;  // the hours of the first time code in the file, instead of `code`
  TimeCode code;
};

// Parses a time code or "auto"; nothing for any other text.
std::optional<SccOffset> parseSccOffset(std::string_view text);

struct SccOptions {
  const FrameRate* rate = &televisionRate();  // the rate of the time codes
  SccOffset offset;
};

// What is unusual about a file; describe() says how it was read nevertheless.
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
  std::size_t line = 0;   // the line of the first one, from 1
  std::size_t count = 0;  // number of occurrences in the file

  friend bool operator==(const SccFinding&, const SccFinding&) = default;
};

// A sentence for people, for example "line 7: a word is not four hexadecimal digits; nothing is
// sent in its frame (and 3 more)".
std::string describe(const SccFinding& finding);

struct SccFile {
  // With corrected parity. Times increase; they are negative before the offset.
  FieldPairs pairs;
  // The field whose commands the file uses; field 1 if it has none.
  Field field = Field::one;
  std::vector<SccFinding> findings;  // at most one of a kind, sorted by their first lines

  // Whether any word is more than padding. If none is, the text is no SCC file.
  bool isDecodable() const;
};

// Reads any text. A line that begins before the end of the previous line continues after it, and so
// does a line without a time code. Nothing is sent between lines. Where the next line would
// otherwise look like the copy of a control code, a pair of padding marks the gap.
SccFile readScc(std::string_view text, const SccOptions& options = {});

// The end of captions that are never erased: four seconds after the last pair, because the file
// does not state the length of its film.
Time sccEnd(const FieldPairs& pairs);

// Writes the pairs with drop-frame codes, in lines that end with CR LF. Padding inside a line is
// kept. A line ends before a time without pairs, and where padding lasts for a second. Pairs closer
// together than 1001/30000 s are spread over the next frames; times before 0 count as 0.
void writeScc(const FieldPairs& pairs, std::ostream& out);

}  // namespace quarrypack::captions
