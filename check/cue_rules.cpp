#include "check/cue_rules.h"

#include <algorithm>
#include <cstdint>
#include <span>
#include <string>
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

bool continuesRow(const Cue& cue, const CueRow& row) {
  return std::any_of(cue.rows.begin(), cue.rows.end(), [&row](const CueRow& other) {
    return other.row == row.row && other.column == row.column &&
           textOf(other).starts_with(textOf(row));
  });
}

// Whether all text of a cue is also in the next one, which follows it at once: painted captions
// grow in this way.
bool grows(const Cue& cue, const Cue& next) {
  const bool rolls = cue.mode == CaptionMode::rollUp || next.mode == CaptionMode::rollUp;
  return !rolls && cue.end == next.start && cue.rows.size() <= next.rows.size() &&
         std::all_of(cue.rows.begin(), cue.rows.end(),
                     [&next](const CueRow& row) { return continuesRow(next, row); });
}

std::size_t readCharacters(const Cue& cue) {
  std::size_t count = 0;
  for (const CueRow& row : cue.rows) count += check::readCharacters(row);
  return count;
}

// When the text of each cue disappears: with a later cue, if it grows into that one. Rows of
// roll-up captions stay longer, in cues that do not show them.
std::vector<Time> endsOnScreen(std::span<const Cue> cues) {
  std::vector<Time> ends(cues.size());
  for (std::size_t i = cues.size(); i-- > 0;) {
    const bool stays = i + 1 < cues.size() && grows(cues[i], cues[i + 1]);
    ends[i] = stays ? ends[i + 1] : cues[i].end;
  }
  return ends;
}

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

// Captions that do not roll up. Text that grows is read until all of it disappears.
void judgePages(Channel channel, std::span<const Cue> cues, Findings& findings) {
  const std::vector<Time> ends = endsOnScreen(cues);
  Time begun{0};
  bool grew = false;
  for (std::size_t i = 0; i < cues.size(); ++i) {
    const Cue& cue = cues[i];
    if (!grew) begun = cue.start;
    grew = ends[i] > cue.end;
    if (cue.mode == CaptionMode::rollUp) continue;
    judgeRows(channel, cue, findings);
    judgeDuration(channel, cue.start, ends[i] - cue.start, findings);
    if (!grew) judgeReadingSpeed(channel, begun, cue.end - begun, readCharacters(cue), findings);
  }
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
