#include "check/film_facts.h"

#include <algorithm>
#include <cstdint>
#include <optional>

#include "kav/four_cc.h"

namespace quarrypack::check {
namespace {

using captions::Time;
using sources::EditList;
using sources::FilmFile;
using sources::FilmTrack;

// The pictures of a track without its edits.
struct Media {
  Stretch stretch;
  std::int64_t pictures = 0;
};

Media mediaOf(FilmFile& film, const FilmTrack& track) {
  Media media;
  film.forEachSample(track, [&media](const sources::StoredSample& sample, bool) {
    Stretch& stretch = media.stretch;
    const bool isFirst = media.pictures++ == 0;
    stretch.start = isFirst ? sample.span.start : std::min(stretch.start, sample.span.start);
    stretch.end = isFirst ? sample.span.end : std::max(stretch.end, sample.span.end);
  });
  return media;
}

// The part of a stretch that an edit shows, on the timeline of the movie.
std::optional<Stretch> shownBy(const EditList::Edit& edit, const Stretch& media) {
  if (!edit.media) return std::nullopt;
  const Time begin = *edit.media;
  const Time start = edit.start + std::max(media.start - begin, Time{0});
  const Time end =
      edit.start +
      (edit.isStill && !edit.isOpen() ? edit.length : std::min(edit.length, media.end - begin));
  if (end <= start) return std::nullopt;
  return Stretch{start, end};
}

std::optional<Stretch> shownBy(const EditList& edits, const Stretch& media) {
  std::optional<Stretch> all;
  for (const EditList::Edit& edit : edits.edits()) {
    const std::optional<Stretch> shown = shownBy(edit, media);
    if (!shown) continue;
    if (!all) all = shown;
    all->start = std::min(all->start, shown->start);
    all->end = std::max(all->end, shown->end);
  }
  return all;
}

const FilmTrack* trackOf(const FilmFile& film) {
  if (const FilmTrack* const track = film.pictureTrack()) return track;
  const auto video = std::find_if(
      film.tracks().begin(), film.tracks().end(),
      [](const FilmTrack& track) { return track.handler == norvik::kav::fourCc("vide"); });
  return video == film.tracks().end() ? nullptr : &*video;
}

}  // namespace

FilmPictures picturesOf(FilmFile& film) {
  FilmPictures pictures;
  const FilmTrack* const track = trackOf(film);
  if (track == nullptr) return pictures;
  const Media media = mediaOf(film, *track);
  if (media.pictures == 0) return pictures;
  pictures.count = static_cast<std::uint64_t>(media.pictures);
  pictures.facts.duration = (media.stretch.end - media.stretch.start) / media.pictures;
  pictures.facts.shown = shownBy(track->edits, media.stretch);
  return pictures;
}

}  // namespace quarrypack::check
