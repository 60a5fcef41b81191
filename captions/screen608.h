#pragma once

#include <algorithm>
#include <array>
#include <cstddef>

#include "captions/cea608.h"

namespace quarrypack::captions {

struct Cell {
  char16_t glyph = 0;  // 0: empty, the picture is visible
  Style style;

  // A space has a background but no legible content.
  bool isLegible() const { return glyph != 0 && glyph != u' '; }
};

using ScreenRow = std::array<Cell, kColumns>;

inline bool isLegible(const ScreenRow& row) {
  return std::any_of(row.begin(), row.end(), [](const Cell& cell) { return cell.isLegible(); });
}

// One of the two memories of a channel.
class Screen {
 public:
  // 1 to 15
  ScreenRow& row(int number) { return rows_.at(static_cast<std::size_t>(number - 1)); }
  const ScreenRow& row(int number) const { return rows_.at(static_cast<std::size_t>(number - 1)); }

  bool isLegible() const {
    return std::any_of(rows_.begin(), rows_.end(),
                       [](const ScreenRow& row) { return captions::isLegible(row); });
  }
  void clear() { rows_ = {}; }

 private:
  std::array<ScreenRow, kRows> rows_{};
};

enum class CaptionMode : std::uint8_t { none, popOn, rollUp, paintOn };

// What is about to happen to the visible screen of a channel.
enum class DisplayEvent : std::uint8_t {
  write,           // a legible character appears, disappears or is replaced
  flip,            // the loaded screen replaces it
  erase,           // nothing legible remains
  carriageReturn,  // the rows of a roll-up caption move up by one
  rearrange,       // they move to another base row, or become fewer
  direct,          // no change yet; the next text begins a paint-on caption
};

struct DisplayChange {
  Channel channel;
  DisplayEvent event;
  CaptionMode mode;  // of the text that is being written
  Time time;
  const Screen& screen;  // before the change; valid during the call
  int baseRow;           // the lowest row of a roll-up caption, 1 to 15
  int depth;             // how many rows a roll-up caption has, 2 to 4
};

class DisplayListener {
 public:
  virtual ~DisplayListener() = default;
  // Called before each change. The times of a channel never decrease.
  virtual void displayChanging(const DisplayChange& change) = 0;
  // A character overwrites the last one of its full row, on the visible screen or the loaded one.
  // Called for the first of consecutive ones.
  virtual void rowOverflowing(Channel, Time) {}
  // Legible text that was loaded since that time will never be shown: it is erased, or the captions
  // end.
  virtual void loadDiscarded(Channel, Time) {}
};

}  // namespace quarrypack::captions
