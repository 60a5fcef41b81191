#include "captions/cue_builder.h"

#include <utility>

namespace quarrypack::captions {
namespace {

// Text that is painted on while it is spoken has pauses; text of a prepared caption has none.
constexpr Time kPaintOnRest = std::chrono::seconds(1);

std::size_t textSize(const Cue& cue) {
  std::size_t size = 0;
  for (const CueRow& row : cue.rows) {
    for (const CueRun& run : row.runs) size += run.text.size();
  }
  return size;
}

}  // namespace

void CueBuilder::displayChanging(const DisplayChange& change) {
  if (isFull_) return;
  State& state = states_.at(indexOf(change.channel));
  switch (change.event) {
    case DisplayEvent::write:
      return write(state, change);
    case DisplayEvent::flip:
      close(state, change);
      return begin(state, CaptionMode::popOn, change.time);
    case DisplayEvent::erase:
      return close(state, change);
    case DisplayEvent::carriageReturn:
      return roll(state, change);
    case DisplayEvent::rearrange:
      return rearrange(state, change);
    case DisplayEvent::direct:
      state.beginsPaintOn = true;
      return;
  }
}

std::vector<ChannelCues> CueBuilder::takeCues() {
  std::vector<ChannelCues> result;
  for (const Channel channel : kChannels) {
    std::vector<Cue>& cues = states_.at(indexOf(channel)).cues;
    if (!cues.empty()) result.push_back({channel, std::exchange(cues, {})});
  }
  text_ = 0;
  return result;
}

void CueBuilder::write(State& state, const DisplayChange& change) {
  const bool restsBefore = change.time - state.lastWrite > kPaintOnRest;
  const bool isNewPaintOn =
      change.mode == CaptionMode::paintOn && (state.beginsPaintOn || restsBefore);
  if (state.rolled || isNewPaintOn) close(state, change);
  state.beginsPaintOn = false;
  state.lastWrite = change.time;
  if (!state.start) begin(state, change.mode, change.time);
}

// The row is reported when it is complete, but lasts until the next one begins.
void CueBuilder::roll(State& state, const DisplayChange& change) {
  if (!state.start) return;
  std::vector<CueRow> rows = rowsOf(state, change);
  if (!rows.empty()) state.rolled = Cue{*state.start, *state.start, state.mode, std::move(rows)};
  state.start.reset();
}

void CueBuilder::rearrange(State& state, const DisplayChange& change) {
  if (rollUp_ == RollUpCues::once || !state.start) return;
  close(state, change);
  begin(state, change.mode, change.time);
}

void CueBuilder::close(State& state, const DisplayChange& change) {
  if (state.rolled) {
    state.rolled->end = change.time;
    add(state, std::move(*state.rolled));
    state.rolled.reset();
  }
  if (state.start) add(state, {*state.start, change.time, state.mode, rowsOf(state, change)});
  state.start.reset();
}

void CueBuilder::begin(State& state, CaptionMode mode, Time time) {
  state.start = time;
  state.mode = mode;
}

std::vector<CueRow> CueBuilder::rowsOf(const State& state, const DisplayChange& change) const {
  if (state.mode != CaptionMode::rollUp || rollUp_ == RollUpCues::screen) {
    return cueRows(change.screen);
  }
  CueRow row = cueRow(change.screen.row(change.baseRow), change.baseRow);
  if (row.runs.empty()) return {};
  std::vector<CueRow> rows;
  rows.push_back(std::move(row));
  return rows;
}

void CueBuilder::add(State& state, Cue cue) {
  if (cue.rows.empty() || cue.end <= cue.start) return;
  text_ += textSize(cue);
  isFull_ = text_ > kMostText;
  if (!isFull_) state.cues.push_back(std::move(cue));
}

}  // namespace quarrypack::captions
