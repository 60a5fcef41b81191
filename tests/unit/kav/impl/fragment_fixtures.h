#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "tests/unit/kav/impl/sample_columns.h"

// What the tests of fragments share: the boxes of fragments, written out by hand, behind a movie.

namespace norvik::kav::impl {

inline Bytes trex(std::uint32_t trackId, std::uint32_t description = 1, std::uint32_t duration = 10,
                  std::uint32_t size = 4, std::uint32_t flags = 0) {
  return fullBox("trex", 0, 0, u32(trackId), u32(description), u32(duration), u32(size),
                 u32(flags));
}

template <class... Fields>
Bytes tfhd(std::uint32_t trackId, std::uint32_t flags = 0, const Fields&... fields) {
  return fullBox("tfhd", 0, flags, u32(trackId), fields...);
}

template <class... Fields>
Bytes trun(std::uint32_t count, std::uint32_t flags = 0, const Fields&... fields) {
  return fullBox("trun", 0, flags, u32(count), fields...);
}

template <class... Children>
Bytes traf(const Children&... children) {
  return box("traf", children...);
}

template <class... Parts>
Bytes moof(std::uint32_t sequence, const Parts&... parts) {
  return box("moof", fullBox("mfhd", 0, 0, u32(sequence)), parts...);
}

// A movie with fragments behind it; samples that its tracks have stand in its tables.
struct FragmentedMovie {
  FragmentedMovie(const std::vector<MovieTrack>& tracks, const Bytes& defaults,
                  const Bytes& fragments)
      : opened(build(tracks, defaults, fragments), ReaderOptions{}),
        start(opened.memory->bytes().size() - fragments.size()) {}

  static Bytes build(const std::vector<MovieTrack>& tracks, const Bytes& defaults,
                     const Bytes& fragments) {
    MovieBuilder movie(tracks);
    movie.moovFirst().addInside("moov", box("mvex", defaults));
    movie.tail = fragments;
    return movie.build();
  }

  Film opened;
  std::uint64_t start;  // where the fragments begin
};

}  // namespace norvik::kav::impl
