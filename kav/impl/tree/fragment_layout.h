#pragma once

#include "kav/impl/boxes/fragment_boxes.h"
#include "kav/impl/boxes/movie_boxes.h"
#include "kav/wrapping.h"

namespace norvik::kav::impl {

// The position at an offset, which may be negative. The sum is taken modulo 2^64; a position past
// any file is detected when bytes are read there.
constexpr std::uint64_t offsetFrom(std::uint64_t base, std::int64_t offset) {
  return wrappingAdd(base, static_cast<std::uint64_t>(offset));
}

// Fills in, once for each fragment, what its parts leave out. The defaults of their samples come
// from the part's header, or else from the movie's defaults for the track. The base of their data
// offsets is the position that the header gives; else the start of the fragment, if the header says
// so or the part is the first; else the end of the data of the previous part. Parts of tracks
// without movie defaults are marked as such.
void resolveFragment(MoofBox& fragment, const MvexBox& extends);

}  // namespace norvik::kav::impl
