#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "captions/time.h"
#include "kav/four_cc.h"
#include "kav/movie.h"
#include "sources/edit_list.h"
#include "sources/picture_coding.h"
#include "sources/showings.h"

namespace quarrypack::sources {

struct FilmTrack {
  std::uint32_t index = 0;  // from 0, in file order
  std::uint32_t id = 0;
  norvik::kav::FourCc handler = 0;
  bool isEnabled = false;
  captions::Time mediaDuration{0};  // from its header; 0 if unknown
  std::uint32_t sampleCount = 0;    // from its tables; 0 if its samples are in fragments
  EditList edits;
  // For each sample description, numbered from 1; none if its pictures carry no captions.
  std::vector<std::optional<PictureCoding>> codings;

  bool hasPictures() const;  // some that carry captions
  bool isCaptions() const;   // handler clcp
};

// A sample as stored, before edits.
struct StoredSample {
  std::uint64_t offset = 0;       // in the file
  std::uint32_t size = 0;         // bytes
  std::uint32_t description = 0;  // from 1; 0 for none
  MediaSpan span;                 // as presented, on the timeline of the track; its number is 0
};

// A movie as a source of captions: the facts about its tracks, and their samples. Failures of the
// library pass through as kav::Exception.
class FilmFile {
 public:
  // Reads the movie in an open stream, of which it keeps a share.
  explicit FilmFile(norvik::kav::IStreamPtr stream);

  const std::vector<FilmTrack>& tracks() const { return tracks_; }
  captions::Time duration() const { return duration_; }  // from its header; 0 without one
  norvik::kav::Movie& movie() { return movie_; }
  const norvik::kav::Movie& movie() const { return movie_; }

  // The track whose pictures carry the captions: the first enabled one of H.264 or HEVC. A track of
  // a single picture, such as a cover, is chosen only if there is no other, and a disabled one only
  // if none is enabled. Null if there is none.
  const FilmTrack* pictureTrack() const;

  // Calls visit with each sample of a track in decoding order, and with whether it is the last one.
  // Throws SourceError once the samples come to more than any real movie has.
  using Visit = std::function<void(const StoredSample& sample, bool isLast)>;
  void forEachSample(const FilmTrack& track, const Visit& visit);

  // Copies bytes of the file. peekAt is for a few bytes whose neighbours are not needed. Throws
  // SourceError like forEachSample.
  void readAt(std::uint64_t offset, std::span<std::uint8_t> destination);
  void peekAt(std::uint64_t offset, std::span<std::uint8_t> destination);

 private:
  void readTracks();
  void readTrack(const norvik::kav::BoxPlace& trak, FilmTrack& track);
  void readMedia(const norvik::kav::BoxPlace& mdia, FilmTrack& track);
  std::vector<std::uint8_t> readSmall(const norvik::kav::BoxPlace& box);
  std::uint32_t sampleCountOf(const norvik::kav::BoxPlace& mdia);
  std::optional<norvik::kav::BoxPlace> childOf(const norvik::kav::BoxPlace& container,
                                               norvik::kav::FourCc type);
  void spend(std::uint64_t bytes);

  norvik::kav::Movie movie_;
  std::uint64_t budget_;  // bytes that may still be read
  std::vector<FilmTrack> tracks_;
  captions::Time duration_{0};
};

}  // namespace quarrypack::sources
