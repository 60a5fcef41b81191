#include "embed/film_duration.h"

#include <algorithm>
#include <limits>

#include "captions/time.h"
#include "embed/caption_plan.h"
#include "embed/edit_list.h"

namespace quarrypack::embed {

using captions::Time;
using norvik::kav::Sample;

namespace {

Time timeOf(std::uint64_t ticks, std::uint32_t timescale) {
  constexpr std::uint64_t kMost = std::numeric_limits<std::int64_t>::max();
  const Time time =
      captions::timeOfUnits(static_cast<std::int64_t>(std::min(ticks, kMost)), timescale);
  return std::min(time, kLatestPicture);
}

// Where the media of a track ends, on its own timeline.
Time endOfMedia(Film& film, const FilmTrack& track) {
  std::uint64_t last = 0;
  std::uint64_t duration = 0;
  film.forEachSample(track, [&](const Sample& sample, std::uint32_t) {
    const std::uint64_t time = sample.info.decodingTime;
    if (time > last) duration = time - last;
    last = std::max(last, time);
  });
  return timeOf(last, track.timescale()) + timeOf(duration, track.timescale());
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
    const EditList edits = EditList::of(track.box, film.timescale(), track.timescale());
    longest = std::max(longest, endOnTimeline(edits, endOfMedia(film, track)));
  }
  return unitsOf(longest, film.timescale());
}

}  // namespace quarrypack::embed
