#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "captions/cue.h"
#include "captions/time.h"

// Where things lie on a time line, and which of them are drawn as one.
namespace quarrypack::companions {

// Places and widths are hundredths of a percent of the width of the line.
inline constexpr int kWholeLine = 10'000;

// "12.34%"
std::string percentText(int hundredths);

// A line from time 0 to an end that is later.
class TimeScale {
 public:
  explicit TimeScale(captions::Time end) : end_(end) {}

  // Times beyond an end are placed at that end.
  int placeOf(captions::Time time) const;

  // The times on the axis, at most seven from 0 on. The distance between them is a round number of
  // a unit of time.
  std::vector<captions::Time> ticks() const;
  // The time of a tick, without decimals if no tick has any.
  std::string tickText(captions::Time tick) const;

 private:
  std::int64_t step() const;  // between ticks, in milliseconds

  captions::Time end_;
};

// Cues that are drawn as one, because no gap between them could be seen.
struct Stretch {
  int from = 0;
  int to = 0;  // wide enough to be seen
  std::size_t cues = 0;
  captions::Time start{0};
  captions::Time end{0};
};

// The cues must be sorted by their starts. There are at most 1000 stretches.
std::vector<Stretch> stretchesOf(const std::vector<captions::Cue>& cues, const TimeScale& scale);

// Places that are drawn as one mark.
struct Mark {
  int at = 0;
  std::size_t places = 0;
  captions::Time first{0};
  std::set<std::string_view> names;  // of what is there
};

// "gap-too-short at 00:00:20.000", "gap-too-short, parity-error: 3 places from 00:00:20.000"
std::string markText(const Mark& mark);

// Collects marks that are at least a raster apart.
class MarkRaster {
 public:
  // The raster divides kWholeLine.
  MarkRaster(const TimeScale& scale, int raster);

  // The name must live as long as the marks.
  void add(captions::Time time, std::string_view name);
  std::vector<Mark> take() &&;  // from left to right

 private:
  TimeScale scale_;
  int raster_;
  std::vector<Mark> marks_;
};

}  // namespace quarrypack::companions
