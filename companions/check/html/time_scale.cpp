#include "companions/check/html/time_scale.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <utility>

#include "companions/texts.h"

namespace quarrypack::companions {

using captions::Cue;
using captions::Time;

std::string percentText(int hundredths) {
  const std::string decimals = std::to_string(hundredths % 100);
  return std::to_string(hundredths / 100) + '.' + std::string(2 - decimals.size(), '0') + decimals +
         '%';
}

int TimeScale::placeOf(Time time) const {
  const double share = static_cast<double>(time.count()) / static_cast<double>(end_.count());
  return static_cast<int>(std::lround(std::clamp(share, 0.0, 1.0) * kWholeLine));
}

std::int64_t TimeScale::step() const {
  constexpr std::array<std::int64_t, 22> kSteps = {
      1,       2,       5,       10,      20,        50,       100,    200,
      500,     1'000,   2'000,   5'000,   10'000,    15'000,   30'000, 60'000,
      120'000, 300'000, 600'000, 900'000, 1'800'000, 3'600'000};
  constexpr std::int64_t kMostParts = 6;
  const std::int64_t end = captions::milliseconds(end_);
  for (const std::int64_t step : kSteps) {
    if (end / step < kMostParts) return step;
  }
  std::int64_t step = kSteps.back();
  while (end / step >= kMostParts) step *= 2;
  return step;
}

std::vector<Time> TimeScale::ticks() const {
  const Time distance = std::chrono::milliseconds(step());
  std::vector<Time> ticks;
  for (Time tick{0}; tick <= end_; tick += distance) ticks.push_back(tick);
  return ticks;
}

std::string TimeScale::tickText(Time tick) const {
  const std::string text = timeText(tick);
  return step() % 1000 == 0 ? text.substr(0, text.find('.')) : text;
}

std::vector<Stretch> stretchesOf(const std::vector<Cue>& cues, const TimeScale& scale) {
  constexpr int kLeastGap = 5;
  constexpr int kLeastWidth = 8;
  std::vector<Stretch> stretches;
  for (const Cue& cue : cues) {
    const int from = std::min(scale.placeOf(cue.start), kWholeLine - kLeastWidth);
    const int to = std::max(scale.placeOf(cue.end), from + kLeastWidth);
    if (stretches.empty() || from > stretches.back().to + kLeastGap) {
      stretches.push_back({from, to, 0, cue.start, cue.end});
    }
    Stretch& stretch = stretches.back();
    stretch.to = std::max(stretch.to, to);
    stretch.end = std::max(stretch.end, cue.end);
    ++stretch.cues;
  }
  return stretches;
}

std::string markText(const Mark& mark) {
  std::string text;
  for (const std::string_view name : mark.names) {
    text += (text.empty() ? "" : ", ") + std::string(name);
  }
  if (mark.places == 1) return text + " at " + timeText(mark.first);
  return text + ": " + counted(mark.places, "place") + " from " + timeText(mark.first);
}

MarkRaster::MarkRaster(const TimeScale& scale, int raster)
    : scale_(scale), raster_(raster), marks_(static_cast<std::size_t>(kWholeLine / raster) + 1) {}

void MarkRaster::add(Time time, std::string_view name) {
  const int index = (scale_.placeOf(time) + raster_ / 2) / raster_;
  Mark& mark = marks_.at(static_cast<std::size_t>(index));
  mark.at = index * raster_;
  mark.first = mark.places == 0 ? time : std::min(mark.first, time);
  ++mark.places;
  mark.names.insert(name);
}

std::vector<Mark> MarkRaster::take() && {
  std::erase_if(marks_, [](const Mark& mark) { return mark.places == 0; });
  return std::move(marks_);
}

}  // namespace quarrypack::companions
