#include "embed/film_captions.h"

namespace quarrypack::embed {

std::vector<std::uint32_t> captionTrackIds(const Film& film) {
  std::vector<std::uint32_t> ids;
  for (const FilmTrack& track : film.tracks()) {
    if (track.isCaptions()) ids.push_back(track.id());
  }
  return ids;
}

std::vector<Splice> captionBytes(Film& film) {
  const MovieBox moov = film.readMovieBox();
  UnusedRanges unused;
  const auto forEachRangeOf = [&](bool captions, const Film::VisitRange& visit) {
    for (const FilmTrack& track : film.tracks()) {
      if (track.isCaptions() == captions) film.forEachRange(moov, track, visit);
    }
  };
  forEachRangeOf(true,
                 [&](std::uint64_t offset, std::uint64_t length) { unused.add(offset, length); });
  unused.unite();
  forEachRangeOf(false,
                 [&](std::uint64_t offset, std::uint64_t length) { unused.keep(offset, length); });
  return unused.splices();
}

}  // namespace quarrypack::embed
