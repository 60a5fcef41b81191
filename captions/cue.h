#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "captions/screen608.h"

namespace quarrypack::captions {

// Consecutive characters of one style.
struct CueRun {
  std::string text;  // UTF-8
  Color color = Color::white;
  bool italic = false;
  bool underline = false;

  friend bool operator==(const CueRun&, const CueRun&) = default;
};

// One row of the screen from its first to its last legible character. The joined texts of its runs
// have one character for each cell; gaps are spaces.
struct CueRow {
  int row = 1;     // 1 to 15
  int column = 0;  // of the first character, 0 to 31
  std::vector<CueRun> runs;

  friend bool operator==(const CueRow&, const CueRow&) = default;
};

// The legible content of a channel's screen from `start` until `end`, which is later.
struct Cue {
  Time start{0};
  Time end{0};
  CaptionMode mode = CaptionMode::none;
  std::vector<CueRow> rows;  // not empty, from top to bottom

  friend bool operator==(const Cue&, const Cue&) = default;
};

// The cues of a channel, sorted by their starts.
struct ChannelCues {
  Channel channel = Channel::cc1;
  std::vector<Cue> cues;
};

std::string_view colorName(Color color);      // "white"
std::string_view modeName(CaptionMode mode);  // "pop-on", "roll-up", "paint-on"

// The mode of most cues; among equally frequent modes, the one that occurs first. Returns
// CaptionMode::none without cues.
CaptionMode usualMode(const std::vector<Cue>& cues);

// The times of a cue in the precision of all formats but SCC.
struct CueMilliseconds {
  std::int64_t start = 0;  // not negative
  std::int64_t end = 0;    // later than start
};
CueMilliseconds cueMilliseconds(const Cue& cue);

// The text of a row without styles.
std::string textOf(const CueRow& row);
// The texts of all rows, with a line feed between each two.
std::string textOf(const Cue& cue);

// The given row of a screen, without runs if nothing in it is legible.
CueRow cueRow(const ScreenRow& cells, int row);

// All legible rows of a screen.
std::vector<CueRow> cueRows(const Screen& screen);

}  // namespace quarrypack::captions
