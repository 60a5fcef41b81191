#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "embed/output_layout.h"
#include "embed/picture_units.h"
#include "kav/box_view.h"
#include "kav/movie.h"
#include "sources/film_file.h"

namespace quarrypack::embed {

// A track of a film.
struct FilmTrack {
  const norvik::kav::Track* track = nullptr;
  const sources::FilmTrack* facts = nullptr;
  std::string label = {};  // for messages: "track 2"

  std::uint32_t id() const { return track->info.trackId; }
  std::uint32_t timescale() const { return track->info.mediaTimescale; }
  bool isCaptions() const { return facts->isCaptions(); }
};

// The moov box of a film in memory, with the tables of all samples.
class MovieBox {
 public:
  // Takes a whole box. Throws Refusal for one that is damaged or has other than that many tracks.
  MovieBox(std::vector<std::uint8_t> bytes, std::size_t tracks);
  MovieBox(MovieBox&&) = default;
  MovieBox& operator=(MovieBox&&) = default;

  const norvik::kav::BoxView& box() const { return *box_; }

  // The trak box of a track of the film.
  const norvik::kav::BoxView& of(const FilmTrack& track) const {
    return traks_[track.track->index];
  }

 private:
  std::vector<std::uint8_t> bytes_;
  std::optional<norvik::kav::BoxView> box_;
  norvik::kav::BoxView::List traks_;
};

// A movie into which captions are to be put, and its boxes. It is opened only if its bytes can be
// moved: all of its media must lie in the file itself, and be complete.
class Film {
 public:
  // Reads the boxes of a movie, none of its samples. Throws Refusal, and what Movie throws.
  explicit Film(norvik::kav::IStreamPtr stream);

  norvik::kav::Movie& movie() { return file_.movie(); }
  const norvik::kav::Movie& movie() const { return file_.movie(); }
  sources::FilmFile& file() { return file_; }
  const std::vector<TopLevelBox>& boxes() const { return boxes_; }
  std::span<const FilmTrack> tracks() const { return tracks_; }

  // Reads the moov box. It takes much memory if there are many samples: do not keep it for long.
  MovieBox readMovieBox();

  // The track whose pictures get captions: that of sources::FilmFile, which must be enabled. Throws
  // Refusal if there is none, or if it or an enabled one before it is encrypted.
  const FilmTrack& pictureTrack() const;

  // The number of a sample, from 0, in the order of decoding.
  using VisitSample = std::function<void(const norvik::kav::Sample&, std::uint32_t)>;

  // Visits the samples of a track as stored, without edits. Throws Refusal for a sample that lies
  // past the end of the file or in one of the boxes that are rewritten, and for more samples than a
  // file can hold.
  void forEachSample(const FilmTrack& track, const VisitSample& visit);

  // Visits the ranges of the file in which the samples of a track lie, in the order of decoding.
  // Samples that the tables place in one run are one range. Throws what forEachSample throws.
  using VisitRange = std::function<void(std::uint64_t offset, std::uint64_t length)>;
  void forEachRange(const MovieBox& moov, const FilmTrack& track, const VisitRange& visit);

 private:
  void readBoxes();
  void readTracks();
  void requireInside(const FilmTrack& track, std::uint32_t number, std::uint64_t offset,
                     std::uint64_t length) const;
  bool overlapsTables(std::uint64_t offset, std::uint64_t length) const;

  sources::FilmFile file_;
  std::vector<TopLevelBox> boxes_;
  std::optional<norvik::kav::BoxPlace> moov_;
  std::vector<FilmTrack> tracks_;
};

}  // namespace quarrypack::embed
