#include "check/cue_rules.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "check/caption_rule_table.h"

namespace quarrypack::check {

using captions::CaptionMode;
using captions::Channel;
using captions::Cue;
using captions::CueRow;
using captions::kPairTime;
using captions::Time;

namespace {

constexpr std::int64_t kFewestFrames = 10;
constexpr std::int64_t kShortestMilliseconds = 833;  // 5/6 s
constexpr std::int64_t kLongestMilliseconds = 10'000;
constexpr std::int64_t kFewestGapFrames = 2;
constexpr std::int64_t kMostCharactersPerSecond = 17;
constexpr std::size_t kMostRows = 4;

// Rounded to whole frames of 1001/30000 s, because films round their times in different ways.
std::int64_t framesOf(Time time) { return (time + kPairTime / 2) / kPairTime; }

void judgeGap(Channel channel, const Cue& cue, const Cue& next, Findings& findings) {
  const Time gap = next.start - cue.end;
  if (gap > Time{0} && framesOf(gap) < kFewestGapFrames) {
    findings.note(kGapTooShort, cue.end, channelName(channel));
  }
}

void judgeStay(Channel channel, const Cue& cue, Findings& findings) {
  if (captions::milliseconds(cue.end - cue.start) > kLongestMilliseconds) {
    findings.note(kCueLong, cue.start, channelName(channel));
  }
}

void judgeRows(Channel channel, const Cue& cue, Findings& findings) {
  if (cue.rows.size() > kMostRows) findings.note(kTooManyRows, cue.start, channelName(channel));
}

// Follows the rows of captions that do not roll up through consecutive cues. Painted captions grow
// or change row by row, so a row stays longer than the cue in which it appears.
class Pages {
 public:
  Pages(Channel channel, Findings& findings) : channel_(channel), findings_(findings) {}

  // The cue must live until the next one is shown or the screen is cleared.
  void show(const Cue& cue) {
    std::vector<Row> staying = cue.start == end_ ? continuations(cue) : std::vector<Row>();
    leave(staying);
    if (staying.empty()) begin(cue.start);
    appear(cue, std::move(staying));
    end_ = cue.end;
  }

  // No row of the latest cue stays.
  void clear() {
    leave({});
    begin(end_);
    rows_.clear();
  }

 private:
  struct Row {
    const CueRow* text;  // in the latest cue
    Time start;
  };

  static bool contains(const std::vector<Row>& rows, int number) {
    return std::any_of(rows.begin(), rows.end(),
                       [number](const Row& row) { return row.text->row == number; });
  }

  // The rows of a cue that are on the screen already, perhaps with less text.
  std::vector<Row> continuations(const Cue& cue) const {
    std::vector<Row> result;
    for (const Row& row : rows_) {
      const auto next = std::find_if(cue.rows.begin(), cue.rows.end(), [&row](const CueRow& other) {
        return other.row == row.text->row && other.column == row.text->column &&
               textOf(other).starts_with(textOf(*row.text));
      });
      if (next != cue.rows.end()) result.push_back({&*next, row.start});
    }
    return result;
  }

  // Rows that appeared and disappear together are one caption.
  void leave(const std::vector<Row>& staying) {
    std::optional<Time> judged;
    for (const Row& row : rows_) {
      if (contains(staying, row.text->row) || row.start == judged) continue;
      judgeDuration(channel_, row.start, end_ - row.start, findings_);
      judged = row.start;
    }
  }

  // Text is read as long as some of it stays.
  void begin(Time time) {
    if (!rows_.empty()) {
      judgeReadingSpeed(channel_, begun_, end_ - begun_, characters_, findings_);
    }
    begun_ = time;
    characters_ = 0;
  }

  // Rows that stay were counted before, except for the text by which they have grown.
  void appear(const Cue& cue, std::vector<Row> staying) {
    for (const Row& row : rows_) {
      if (contains(staying, row.text->row)) characters_ -= readCharacters(*row.text);
    }
    for (const CueRow& row : cue.rows) {
      characters_ += readCharacters(row);
      if (!contains(staying, row.row)) staying.push_back({&row, cue.start});
    }
    rows_ = std::move(staying);
  }

  Channel channel_;
  Findings& findings_;
  std::vector<Row> rows_;       // in the order of their starts
  std::size_t characters_ = 0;  // that have appeared since begun_
  Time begun_ = -captions::kLatestTime;
  Time end_ = -captions::kLatestTime;  // of the latest cue
};

void judgePages(Channel channel, const std::vector<Cue>& cues, Findings& findings) {
  Pages pages(channel, findings);
  for (const Cue& cue : cues) {
    if (cue.mode == CaptionMode::rollUp) {
      pages.clear();
      continue;
    }
    judgeRows(channel, cue, findings);
    pages.show(cue);
  }
  pages.clear();
}

}  // namespace

void judgeCues(const captions::ChannelCues& channel, Findings& findings) {
  const std::vector<Cue>& cues = channel.cues;
  for (std::size_t i = 0; i < cues.size(); ++i) {
    judgeStay(channel.channel, cues[i], findings);
    if (i > 0) judgeGap(channel.channel, cues[i - 1], cues[i], findings);
  }
  judgePages(channel.channel, cues, findings);
}

void judgeDuration(Channel channel, Time start, Time duration, Findings& findings) {
  if (framesOf(duration) < kFewestFrames) {
    findings.note(kCueTooBrief, start, channelName(channel));
  } else if (captions::milliseconds(duration) < kShortestMilliseconds) {
    findings.note(kCueShort, start, channelName(channel));
  }
}

void judgeReadingSpeed(Channel channel, Time start, Time duration, std::size_t characters,
                       Findings& findings) {
  const std::int64_t most = kMostCharactersPerSecond * captions::milliseconds(duration);
  if (static_cast<std::int64_t>(characters) * 1000 > most) {
    findings.note(kReadingTooFast, start, channelName(channel));
  }
}

std::size_t readCharacters(const CueRow& row) {
  std::size_t count = 0;
  bool afterSpace = false;
  for (const char byte : textOf(row)) {
    const bool isSpace = byte == ' ';
    const bool continuesCharacter = (byte & 0xC0) == 0x80;
    if (!continuesCharacter && !(isSpace && afterSpace)) ++count;
    afterSpace = isSpace;
  }
  return count;
}

}  // namespace quarrypack::check
