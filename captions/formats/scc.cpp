#include "captions/formats/scc.h"

#include <algorithm>
#include <array>
#include <ostream>

namespace quarrypack::captions {
namespace {

constexpr std::string_view kHeader = "Scenarist_SCC V1.0";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kBlanks = " \t";

constexpr std::array<std::string_view, 18> kSentences = {
    "the text begins with a byte order mark, which is ignored",
    "there is no header \"Scenarist_SCC V1.0\"; the text is read as if there were",
    "a line ends without a carriage return",
    "spaces instead of a tab follow a time code",
    "a word has capital letters",
    "a word is not four hexadecimal digits; nothing is sent in its frame",
    "a time code cannot be read; the line continues after the previous one",
    "a line has no time code; it continues after the previous one",
    "a time code has minutes, seconds or frames out of range; the excess carries over",
    "a drop-frame code has no frame; it is taken for the first frame of its minute",
    "a drop-frame code is used at a rate without drop frames; it is read as a non-drop code",
    "time codes with and without drop frame are mixed; each is read as it is written",
    "a line begins before the previous one begins; it continues after that one",
    "a line begins before the previous one ends; it continues after that one",
    "a line begins before the first picture",
    "a byte lacks odd parity, which is set",
    "a control code is sent once, not twice",
    "a command belongs to the other field",
};

static_assert(kSentences.size() == static_cast<std::size_t>(SccFindingKind::mixedFields) + 1);

// ---- Reading

class Findings {
 public:
  void add(SccFindingKind kind, std::size_t line) {
    SccFinding& finding = byKind_.at(static_cast<std::size_t>(kind));
    if (finding.count++ == 0) finding = {kind, line, 1};
  }

  std::vector<SccFinding> take() const {
    std::vector<SccFinding> result;
    std::copy_if(byKind_.begin(), byKind_.end(), std::back_inserter(result),
                 [](const SccFinding& finding) { return finding.count > 0; });
    std::stable_sort(result.begin(), result.end(),
                     [](const auto& a, const auto& b) { return a.line < b.line; });
    return result;
  }

 private:
  std::array<SccFinding, kSentences.size()> byKind_{};
};

// Takes everything before the next separator from the front.
std::string_view takeUntil(std::string_view& text, std::string_view separators) {
  const std::string_view part = text.substr(0, text.find_first_of(separators));
  text.remove_prefix(part.size());
  return part;
}

void skip(std::string_view& text, std::string_view characters) {
  text.remove_prefix(std::min(text.find_first_not_of(characters), text.size()));
}

// -1 for any other character.
int digitValue(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return -1;
}

std::optional<BytePair> parseWord(std::string_view word) {
  if (word.size() != 4) return std::nullopt;
  unsigned value = 0;
  for (const char letter : word) {
    const int digit = digitValue(letter);
    if (digit < 0) return std::nullopt;
    value = value << 4 | static_cast<unsigned>(digit);
  }
  return BytePair{static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
}

bool hasCapitals(std::string_view word) {
  return std::any_of(word.begin(), word.end(),
                     [](char letter) { return letter < 'a' && letter > '9'; });
}

// One bit distinguishes the commands of the two fields.
std::optional<Field> commandField(BytePair pair) {
  const unsigned first = pair.first & 0x77;
  if ((pair.second & 0x70) != 0x20) return std::nullopt;
  if (first == 0x14) return Field::one;
  if (first == 0x15) return Field::two;
  return std::nullopt;
}

class Reader {
 public:
  Reader(std::string_view text, const SccOptions& options) : text_(text), options_(options) {}

  SccFile read() {
    if (text_.starts_with(kByteOrderMark)) {
      text_.remove_prefix(kByteOrderMark.size());
      note(SccFindingKind::byteOrderMark, 1);
    }
    while (!text_.empty()) readLine();
    endCode();
    file_.field = field_.value_or(Field::one);
    file_.findings = findings_.take();
    return std::move(file_);
  }

 private:
  void note(SccFindingKind kind, std::size_t line) { findings_.add(kind, line); }
  void note(SccFindingKind kind) { note(kind, line_); }

  void readLine() {
    ++line_;
    std::string_view line = takeUntil(text_, "\r\n");
    const bool hasReturn = text_.starts_with('\r');
    if (hasReturn) text_.remove_prefix(1);
    if (text_.starts_with('\n')) {
      text_.remove_prefix(1);
      if (!hasReturn) note(SccFindingKind::lineFeed);
    }
    skip(line, kBlanks);
    if (!line.empty() && !isHeader(line)) readWords(line);
  }

  // The first line that is not empty should be the header.
  bool isHeader(std::string_view line) {
    if (sawHeader_) return false;
    sawHeader_ = true;
    const bool isOne = line.starts_with(kHeader);
    if (!isOne) note(SccFindingKind::noHeader);
    return isOne;
  }

  void readWords(std::string_view line) {
    Time time = startOf(line);
    for (skip(line, kBlanks); !line.empty(); skip(line, kBlanks)) {
      readWord(takeUntil(line, kBlanks), time);
      time += kPairTime;
      next_ = time;
    }
  }

  // Takes the time code from the front of a line and returns the time of its first word.
  Time startOf(std::string_view& line) {
    std::string_view rest = line;
    const std::string_view first = takeUntil(rest, kBlanks);
    const auto code = parseTimeCode(first);
    if (code) {
      if (rest.starts_with(' ')) note(SccFindingKind::spacesForTab);
      line = rest;
      return placed(timeOf(*code));
    }
    const bool isBroken = first.find(':') != std::string_view::npos;
    note(isBroken ? SccFindingKind::badTimeCode : SccFindingKind::noTimeCode);
    if (isBroken) line = rest;
    return next_.value_or(Time{0});
  }

  Time timeOf(const TimeCode& code) {
    const FrameRate& rate = *options_.rate;
    judge(code, rate);
    if (!firstCode_) firstCode_ = code;
    const TimeCode offset =
        options_.offset.wholeHours ? wholeHours(*firstCode_) : options_.offset.code;
    const Time time = rate.frameTime * (frameNumber(code, rate) - frameNumber(offset, rate));
    if (time < Time{0}) note(SccFindingKind::beforeStart);
    return time;
  }

  void judge(const TimeCode& code, const FrameRate& rate) {
    if (isLeftOut(code, rate)) {
      note(SccFindingKind::leftOutFrame);
    } else if (!exists(code, rate)) {
      note(SccFindingKind::fieldTooLarge);
    }
    if (code.dropFrame && rate.droppedPerMinute == 0) note(SccFindingKind::noDropFrame);
    if (firstCode_ && firstCode_->dropFrame != code.dropFrame) note(SccFindingKind::mixedTimeCodes);
  }

  // Frames of other rates may be a little shorter than a pair, so half a pair is no overrun.
  Time placed(Time time) {
    const bool isLate = next_ && time < *next_ - kPairTime / 2;
    if (isLate) {
      const bool isBackwards = lineTime_ && time < *lineTime_;
      note(isBackwards ? SccFindingKind::runsBackwards : SccFindingKind::overrun);
    }
    lineTime_ = time;
    return isLate ? *next_ : time;
  }

  void readWord(std::string_view word, Time time) {
    const auto pair = parseWord(word);
    if (!pair) {
      note(SccFindingKind::badWord);
      return;
    }
    if (hasCapitals(word)) note(SccFindingKind::capitals);
    add(withParity(*pair), time);
  }

  BytePair withParity(BytePair pair) {
    const BytePair right{withOddParity(pair.first), withOddParity(pair.second)};
    if (pair.first != right.first) note(SccFindingKind::noParity);
    if (pair.second != right.second) note(SccFindingKind::noParity);
    return right;
  }

  void add(BytePair pair, Time time) {
    FieldPairs& pairs = file_.pairs;
    if (!pairs.empty() && time > pairs.back().time + 3 * kPairTime / 2) {
      if (single_ == pair) pairs.push_back({pairs.back().time + kPairTime, kPadding});
      endCode();
    }
    pairs.push_back({time, pair});
    judgeCode(pair);
  }

  void judgeCode(BytePair pair) {
    if (single_ == pair) {
      single_.reset();
      return;
    }
    endCode();
    if (!pair.isControl()) return;
    single_ = pair;
    singleLine_ = line_;
    const auto field = commandField(pair);
    if (field_ && field && field != field_) note(SccFindingKind::mixedFields);
    if (!field_) field_ = field;
  }

  // No copy of the last pair follows.
  void endCode() {
    if (single_) note(SccFindingKind::singleCode, singleLine_);
    single_.reset();
  }

  std::string_view text_;
  const SccOptions& options_;
  SccFile file_;
  Findings findings_;
  std::size_t line_ = 0;
  bool sawHeader_ = false;
  std::optional<TimeCode> firstCode_;
  std::optional<Time> lineTime_;    // of the last time code
  std::optional<Time> next_;        // after the last word
  std::optional<BytePair> single_;  // the last pair, a control code without its copy so far
  std::size_t singleLine_ = 0;
  std::optional<Field> field_;  // of the first command
};

// ---- Writing

// Padding of this length is a pause in which nothing is sent.
constexpr std::size_t kIdlePairs = 30;

// Pairs in the pictures of a film have the times of the pictures, which may be nearly a frame late.
constexpr Time kTimeTolerance = kPairTime * 95 / 100;

std::int64_t nearestFrame(Time time) {
  return time <= Time{0} ? 0 : (time + kPairTime / 2) / kPairTime;
}

void appendWord(std::string& words, BytePair pair) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  if (!words.empty()) words += ' ';
  for (const unsigned byte : {pair.first, pair.second}) {
    words += kDigits[byte >> 4];
    words += kDigits[byte & 15];
  }
}

class Writer {
 public:
  explicit Writer(std::ostream& out) : out_(out) { out_ << kHeader << "\r\n"; }

  void add(const TimedPair& pair) {
    if (pair.time >= kPairTime * nextFrame_ + kTimeTolerance) endLine();
    if (pair.bytes.isPadding()) return addPadding(pair);
    if (words_.empty()) beginLine(pair.time);
    for (const BytePair& padding : padding_) appendWord(words_, padding);
    padding_.clear();
    appendWord(words_, pair.bytes);
    ++nextFrame_;
  }

  // Padding at the end of a line is not written.
  void endLine() {
    if (!words_.empty()) {
      out_ << "\r\n"
           << toString(timeCodeOf(firstFrame_, televisionRate(), true)) << '\t' << words_ << "\r\n";
    }
    words_.clear();
    padding_.clear();
  }

 private:
  void addPadding(const TimedPair& pair) {
    if (words_.empty()) return;
    padding_.push_back(pair.bytes);
    ++nextFrame_;
    if (padding_.size() == kIdlePairs) endLine();
  }

  void beginLine(Time time) {
    firstFrame_ = std::max(nearestFrame(time), nextFrame_);
    nextFrame_ = firstFrame_;
  }

  std::ostream& out_;
  std::string words_;              // of the unwritten line
  std::vector<BytePair> padding_;  // after these words
  std::int64_t firstFrame_ = 0;    // of the line
  std::int64_t nextFrame_ = 0;     // the first without a pair
};

}  // namespace

std::optional<SccOffset> parseSccOffset(std::string_view text) {
  if (text == "auto") return SccOffset{true, {}};
  const auto code = parseTimeCode(text);
  if (!code) return std::nullopt;
  return SccOffset{false, *code};
}

std::string describe(const SccFinding& finding) {
  std::string text = "line " + std::to_string(finding.line) + ": ";
  text += kSentences.at(static_cast<std::size_t>(finding.kind));
  if (finding.count > 1) text += " (and " + std::to_string(finding.count - 1) + " more)";
  return text;
}

bool SccFile::isDecodable() const {
  return std::any_of(pairs.begin(), pairs.end(),
                     [](const TimedPair& pair) { return !pair.bytes.isPadding(); });
}

SccFile readScc(std::string_view text, const SccOptions& options) {
  return Reader(text, options).read();
}

Time sccEnd(const FieldPairs& pairs) {
  return (pairs.empty() ? Time{0} : pairs.back().time) + std::chrono::seconds(4);
}

void writeScc(const FieldPairs& pairs, std::ostream& out) {
  Writer writer(out);
  for (const TimedPair& pair : pairs) writer.add(pair);
  writer.endLine();
}

}  // namespace quarrypack::captions
