#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <vector>

#include "captions/cue_builder.h"
#include "check/finding.h"

namespace quarrypack::check {

// Applies the rules for what the cues of a film do not show: text that is lost, shown for no time,
// or left on the screen at the end of the film, and how long the rows of roll-up captions stay.
// Passes all changes of the display on to the builder of the cues.
class ScreenRules final : public captions::DisplayListener {
 public:
  // The builder and the findings must outlive the rules.
  ScreenRules(captions::CueBuilder& builder, Findings& findings)
      : builder_(builder), findings_(findings) {}

  void displayChanging(const captions::DisplayChange& change) override;
  void rowOverflowing(captions::Channel channel, captions::Time time) override;
  void loadDiscarded(captions::Channel channel, captions::Time time) override;

  // Call it before the decoder finishes: no code has erased the text that is on the screen now.
  void filmEnds() { filmEnded_ = true; }

 private:
  // A row of a roll-up caption.
  struct Row {
    captions::Time start{0};
    std::size_t characters = 0;  // 0 while it is written
    int below = 0;               // how many rows have begun below it, empty ones included
  };
  struct State {
    std::optional<captions::Time> page;  // since when there is text that does not roll up
    std::vector<Row> rows;               // from top to bottom
    captions::Time latest{0};            // of the latest change
  };

  void write(State& state, const captions::DisplayChange& change);
  void roll(State& state, const captions::DisplayChange& change);
  void clear(State& state, const captions::DisplayChange& change);
  void complete(State& state, const captions::DisplayChange& change);
  void leave(State& state, captions::Channel channel, captions::Time time, int depth);
  void judgePage(const State& state, const captions::DisplayChange& change);
  void judgeEnd(const captions::DisplayChange& change);

  captions::CueBuilder& builder_;
  Findings& findings_;
  std::array<State, captions::kChannels.size()> states_;
  bool filmEnded_ = false;
};

}  // namespace quarrypack::check
