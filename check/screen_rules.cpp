#include "check/screen_rules.h"

#include "check/caption_rule_table.h"
#include "check/cue_rules.h"

namespace quarrypack::check {

using captions::CaptionMode;
using captions::Channel;
using captions::DisplayChange;
using captions::DisplayEvent;
using captions::Time;

void ScreenRules::displayChanging(const DisplayChange& change) {
  builder_.displayChanging(change);
  State& state = states_.at(indexOf(change.channel));
  // A smaller depth shows only after the change that set it.
  leave(state, change.channel, state.latest, change.depth);
  state.latest = change.time;
  switch (change.event) {
    case DisplayEvent::write:
      return write(state, change);
    case DisplayEvent::carriageReturn:
      return roll(state, change);
    case DisplayEvent::erase:
      if (filmEnded_) judgeEnd(change);
      return clear(state, change);
    case DisplayEvent::flip:
      clear(state, change);
      state.page = change.time;
      return;
    case DisplayEvent::rearrange:
    case DisplayEvent::direct:
      return;
  }
}

void ScreenRules::rowOverflowing(Channel channel, Time time) {
  findings_.note(kRowTooLong, time, channelName(channel));
}

void ScreenRules::loadDiscarded(Channel channel, Time time) {
  findings_.note(kNeverShown, time, channelName(channel));
}

void ScreenRules::write(State& state, const DisplayChange& change) {
  if (change.mode != CaptionMode::rollUp) {
    if (!state.page) state.page = change.time;
    return;
  }
  const bool isNewRow = state.rows.empty() || state.rows.back().below > 0;
  if (isNewRow) state.rows.push_back({change.time});
}

void ScreenRules::roll(State& state, const DisplayChange& change) {
  complete(state, change);
  for (Row& row : state.rows) ++row.below;
  leave(state, change.channel, change.time, change.depth);
}

void ScreenRules::clear(State& state, const DisplayChange& change) {
  judgePage(state, change);
  complete(state, change);
  leave(state, change.channel, change.time, 0);
  state.page.reset();
}

// Counts the text of the row that is being written.
void ScreenRules::complete(State& state, const DisplayChange& change) {
  if (state.rows.empty() || state.rows.back().below > 0) return;
  const auto row = captions::cueRow(change.screen.row(change.baseRow), change.baseRow);
  state.rows.back().characters = readCharacters(row);
}

// Removes the rows at the top that a screen of this depth does not show. Until a row leaves,
// viewers must also read the rows below it.
void ScreenRules::leave(State& state, Channel channel, Time time, int depth) {
  std::size_t characters = 0;
  for (const Row& row : state.rows) characters += row.characters;
  while (!state.rows.empty() && state.rows.front().below >= depth) {
    const Row row = state.rows.front();
    state.rows.erase(state.rows.begin());
    const Time duration = time - row.start;
    judgeDuration(channel, row.start, duration, findings_);
    judgeReadingSpeed(channel, row.start, duration, characters, findings_);
    characters -= row.characters;
  }
}

// The cue of a caption that is shown for no time is left out.
void ScreenRules::judgePage(const State& state, const DisplayChange& change) {
  if (state.page == change.time && change.screen.isLegible()) {
    judgeDuration(change.channel, change.time, Time{0}, findings_);
  }
}

// The builder has just completed the cue.
void ScreenRules::judgeEnd(const DisplayChange& change) {
  if (!change.screen.isLegible()) return;
  const auto& cues = builder_.cues(change.channel);
  const auto since = cues.empty() ? std::nullopt : std::optional(cues.back().start);
  findings_.note(kNeverErased, since, channelName(change.channel));
}

}  // namespace quarrypack::check
