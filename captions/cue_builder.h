#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <vector>

#include "captions/cue.h"

namespace quarrypack::captions {

// How the rows of a roll-up caption become cues. In both cases a cue begins when its lowest row
// does, and ends when the next row begins or the screen is erased.
enum class RollUpCues : std::uint8_t {
  once,    // the lowest row alone, so that every row is told once
  screen,  // all rows that are on the screen then
};

// Makes cues of what decoders tell. Pop-on captions are cues from their display to their end. A
// paint-on caption is one cue from its first character, with all that it holds at its end; a new
// one begins with the next resume-direct command, or with what is written after a second of rest.
class CueBuilder final : public DisplayListener {
 public:
  // The bytes of text that all cues together may hold: fifty hours of constant talking. Only pairs
  // made for it, which show full screens in turn, come to more.
  static constexpr std::size_t kMostText = 4'000'000;

  explicit CueBuilder(RollUpCues rollUp = RollUpCues::once) : rollUp_(rollUp) {}

  void displayChanging(const DisplayChange& change) override;

  // Complete once the decoder has finished.
  const std::vector<Cue>& cues(Channel channel) const { return states_.at(indexOf(channel)).cues; }

  // The channels that have cues, in their order. The builder is left without cues.
  std::vector<ChannelCues> takeCues();

  // There was more text than kMostText: cues are missing from here on.
  bool isFull() const { return isFull_; }

 private:
  struct State {
    std::vector<Cue> cues;
    std::optional<Time> start;  // of what is on the screen and in no cue yet
    CaptionMode mode = CaptionMode::none;
    Time lastWrite{0};
    bool beginsPaintOn = false;
    std::optional<Cue> rolled;  // complete but for its end: its row has rolled up
  };

  void write(State& state, const DisplayChange& change);
  void roll(State& state, const DisplayChange& change);
  void rearrange(State& state, const DisplayChange& change);
  void close(State& state, const DisplayChange& change);
  void begin(State& state, CaptionMode mode, Time time);
  std::vector<CueRow> rowsOf(const State& state, const DisplayChange& change) const;
  void add(State& state, Cue cue);

  RollUpCues rollUp_;
  std::array<State, kChannels.size()> states_;
  std::size_t text_ = 0;
  bool isFull_ = false;
};

}  // namespace quarrypack::captions
