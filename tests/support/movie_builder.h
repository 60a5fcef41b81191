#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/bytes.h"
#include "tests/support/movie_tracks.h"

namespace quarrypack::test {

// Samples of one track in one fragment. The flags of tfhd and trun decide which fields are written;
// a field takes the sample's own value, or the first sample's where it is a default for all.
struct TrackFragment {
  std::size_t track = 0;  // index into the movie's tracks
  std::size_t first = 0;
  std::size_t count = 0;
  std::uint32_t tfhdFlags = 0x020000;  // positions count from the moof
  std::uint32_t trunFlags = 0x000F01;  // data offset and all four fields of a sample
  unsigned trunVersion = 0;
  std::vector<std::size_t> samplesPerRun = {};             // empty: one run
  std::optional<std::uint64_t> decodeTime = std::nullopt;  // a tfdt
  std::uint32_t defaultFlags = 0;
  std::uint32_t firstSampleFlags = 0x02000000;
};
using MovieFragment = std::vector<TrackFragment>;

// A whole QuickTime-like movie in a few lines:
//
//     MovieBuilder movie({videoTrack(), soundTrack(), captionTrack(6)});
//     movie.tracks[1].edits = {{60, kEmptyEdit}, {278, 0}};
//     movie.drop("moov/trak[2]/mdia/minf/stbl/stco");
//     const Bytes file = movie.build();
//
// Every box can be changed, replaced or dropped by its path; trak, moof, traf and trun carry their
// number in it, counted from 1. Changes run from the inside out: each gets the box with its changed
// children, and the boxes around it count its new size. A change must not depend on the chunk
// offsets for its length.
class MovieBuilder {
 public:
  using Change = std::function<Bytes(const Bytes&)>;

  explicit MovieBuilder(std::vector<MovieTrack> movieTracks = {})
      : tracks(std::move(movieTracks)) {}

  std::vector<MovieTrack> tracks;
  std::uint32_t timescale = 600;
  unsigned headerVersion = 0;
  std::uint64_t creationTime = 3100000000;
  std::uint64_t modificationTime = 3100000001;
  std::uint32_t rate = 0x10000;
  std::uint16_t volume = 0x100;
  std::string brand = "qt  ";
  // Top-level boxes. "ftyp", "wide", "mdat" and "moov" are built, other names are looked up in
  // `extras`.
  std::vector<std::string> order = {"ftyp", "wide", "mdat", "moov"};
  std::map<std::string, Bytes> extras;
  bool interleaved = true;  // chunks by time; else track after track
  Bytes chunkGap;           // bytes of no sample before every chunk
  Bytes tail;               // bytes after the last box

  // The fragments come after the other boxes. A movie with fragments has no samples in its moov.
  std::vector<MovieFragment> fragments;
  bool randomAccess = false;  // an mfra at the end
  std::size_t fragmentsBeforeMoov = 0;

  MovieBuilder& moovFirst();
  MovieBuilder& splitIntoFragments(const std::vector<std::size_t>& samplesPerFragment,
                                   const TrackFragment& like = {});

  MovieBuilder& change(const std::string& path, Change change);
  MovieBuilder& replace(const std::string& path, const Bytes& replacement);
  MovieBuilder& drop(const std::string& path);
  MovieBuilder& addInside(const std::string& path, const Bytes& child);  // after its children
  MovieBuilder& addBehind(const std::string& path, const Bytes& next);

  Bytes build() const;

 private:
  friend class MovieLayout;

  std::multimap<std::string, Change> changes_;
};

}  // namespace quarrypack::test
