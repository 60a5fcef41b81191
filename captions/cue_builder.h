#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <vector>

#include "captions/cue.h"

namespace quarrypack::captions {

// How the rows of a roll-up caption become cues. In both cases a cue begins when its lowest row
// begins, and ends when the next row begins or the screen is erased.
enum class RollUpCues : std::uint8_t {
  once,    // only the lowest row, so every row occurs in one cue
  screen,  // all rows that are on the screen then
};

// Builds cues from the display changes that decoders report. A pop-on caption is a cue from its
// display to its end. A paint-on caption is one cue that begins with its first character and has
// all the text that is on the screen at its end. A new one begins with the next resume-direct
// command, or with text that follows a pause of a second.
class CueBuilder final : public DisplayListener {
 public:
  // The limit for the bytes of text in all cues together: fifty hours of constant speech. Only
  // crafted pairs, which show full screens one after another, exceed it.
  static constexpr std::size_t kMostText = 4'000'000;

  explicit CueBuilder(RollUpCues rollUp = RollUpCues::once) : rollUp_(rollUp) {}

  void displayChanging(const DisplayChange& change) override;

  // The cues so far; complete after the decoder has finished.
  const std::vector<Cue>& cues(Channel channel) const { return states_.at(indexOf(channel)).cues; }

  // The channels that have cues, in channel order. The builder is left without cues.
  std::vector<ChannelCues> takeCues();

  // Whether there was more text than kMostText. Later cues are then missing.
  bool isFull() const { return isFull_; }

 private:
  struct State {
    std::vector<Cue> cues;
    std::optional<Time> start;  // when the text that is in no cue yet appeared
    CaptionMode mode = CaptionMode::none;
    Time lastWrite{0};
    bool beginsPaintOn = false;
    std::optional<Cue> rolled;  // complete except for its end: its row has rolled up
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
