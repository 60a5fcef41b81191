#include "embed/film_duration.h"

#include <algorithm>

#include "captions/time.h"
#include "sources/edit_list.h"

namespace quarrypack::embed {

using captions::bounded;
using captions::Time;
using captions::timeOfCount;
using norvik::kav::Sample;
using sources::EditList;

namespace {

// Where the media of a track ends, on its own timeline.
Time endOfMedia(Film& film, const FilmTrack& track) {
  std::uint64_t last = 0;
  std::uint64_t duration = 0;
  film.forEachSample(track, [&](const Sample& sample, std::uint32_t) {
    const std::uint64_t time = sample.info.decodingTime;
    if (time > last) duration = time - last;
    last = std::max(last, time);
  });
  return bounded(timeOfCount(last, track.timescale())) +
         bounded(timeOfCount(duration, track.timescale()));
}

Time endOnTimeline(const EditList& edits, Time endOfMedia) {
  Time end{0};
  for (const EditList::Edit& edit : edits.edits()) {
    const Time length = edit.isOpen() ? endOfMedia - edit.media.value_or(endOfMedia) : edit.length;
    end = std::max(end, edit.start + length);
  }
  return end;
}

std::uint64_t unitsOf(Time time, std::uint32_t timescale) {
  constexpr auto kSecond = static_cast<std::uint64_t>(Time::period::den);
  const auto ticks = static_cast<std::uint64_t>(time.count());
  return ticks / kSecond * timescale + (ticks % kSecond * timescale + kSecond - 1) / kSecond;
}

}  // namespace

std::uint64_t longestTrack(Film& film) {
  Time longest{0};
  for (const FilmTrack& track : film.tracks()) {
    if (track.isCaptions()) continue;
    longest = std::max(longest, endOnTimeline(track.facts->edits, endOfMedia(film, track)));
  }
  return unitsOf(longest, film.movie().info().timescale);
}

}  // namespace quarrypack::embed
