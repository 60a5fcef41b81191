#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/bytes.h"

// The tracks that a MovieBuilder puts into a file: plain records that a test changes as it likes,
// and makers of the usual kinds of track.

namespace quarrypack::test {

struct MovieSample {
  Bytes bytes;
  std::uint32_t duration = 1000;
  std::uint32_t compositionOffset = 0;
  bool sync = false;
  std::uint8_t dependency = 0;  // the sample's byte in sdtp
  std::uint32_t description = 1;
};

struct MovieEdit {
  std::uint64_t duration = 0;  // in the movie's timescale
  std::int64_t mediaTime = 0;  // in the track's; kEmptyEdit for a pause
  std::uint32_t rate = 0x10000;
};

inline constexpr std::int64_t kEmptyEdit = -1;
inline constexpr std::uint16_t kUndetermined = 0x55C4;  // the language code "und"

struct TrackExtends {
  std::uint32_t description = 1;
  std::uint32_t duration = 0;
  std::uint32_t size = 0;
  std::uint32_t flags = 0;
};

struct MovieTrack {
  std::string handler;
  std::uint32_t timescale = 600;
  std::vector<MovieSample> samples;
  std::vector<Bytes> entries;  // whole sample entry boxes
  Bytes name;                  // as in hdlr, with or without a zero at its end
  std::uint16_t language = kUndetermined;
  std::optional<std::uint32_t> id;  // else its place in the movie, counted from 1
  std::uint32_t flags = 0xF;
  std::uint64_t creationTime = 3000000000;
  std::uint64_t modificationTime = 3000000001;
  std::uint32_t width = 0;   // 16.16
  std::uint32_t height = 0;  // 16.16
  std::uint16_t volume = 0;  // 8.8
  unsigned headerVersion = 0;
  std::optional<std::vector<MovieEdit>> edits;
  unsigned editListVersion = 0;

  bool syncTable = false;                            // an stss that lists the samples marked sync
  bool dependencyTable = false;                      // an sdtp
  bool wideOffsets = false;                          // co64 in place of stco
  bool uniformSizes = false;                         // one size for all samples in stsz
  std::vector<std::uint32_t> samplesPerChunk = {1};  // repeated until the samples are used up
  std::optional<TrackExtends> extends = TrackExtends{};  // its trex, in a movie with fragments

  std::uint64_t duration() const;  // of all samples, in the track's timescale
  std::vector<Bytes> sampleBytes() const;
};

// Pictures in decoding order: an access unit delimiter, parameter sets before every key picture,
// and one slice. With b pictures between anchors the composition offsets are those of a reordering
// encoder.
struct VideoTrackOptions {
  std::size_t count = 12;
  std::uint32_t timescale = 30000;
  std::uint32_t duration = 1001;
  std::size_t syncEvery = 5;
  std::size_t betweenAnchors = 0;
  unsigned nalLengthSize = 4;
  std::size_t sliceSize = 24;
  std::string tag = "V";
};
MovieTrack videoTrack(const VideoTrackOptions& options = {});

struct SoundTrackOptions {
  std::size_t count = 20;
  std::uint32_t timescale = 44100;
  std::uint32_t duration = 1024;
  std::size_t size = 40;
  bool allSync = false;  // listed in an stss; else there is none
  std::string tag = "A";
};
MovieTrack soundTrack(const SoundTrackOptions& options = {});

struct CaptionTrackOptions {
  std::vector<Bytes> samples = {};
  std::uint32_t timescale = 30000;
  std::uint32_t duration = 2002;
  std::string entry = "c608";
};
MovieTrack captionTrack(const CaptionTrackOptions& options);
// One short caption of its own for every place.
MovieTrack captionTrack(std::size_t count = 6);

// A track of some other handler, such as a time code or a text track.
MovieTrack otherTrack(const std::string& handler, const Bytes& entry, std::size_t count = 4);

}  // namespace quarrypack::test
