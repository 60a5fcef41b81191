#pragma once

#include "kav/impl/boxes/fragment_boxes.h"
#include "kav/impl/boxes/movie_boxes.h"
#include "kav/wrapping.h"

namespace norvik::kav::impl {

// The position at an offset, which may point backwards. The sum is taken modulo 2^64; a position
// that no file has is found out when bytes are asked for there.
constexpr std::uint64_t offsetFrom(std::uint64_t base, std::int64_t offset) {
  return wrappingAdd(base, static_cast<std::uint64_t>(offset));
}

// Works out, once for each fragment, what its parts leave unsaid: the defaults of their samples,
// from the part's header or else from the movie's defaults for the track, and the position that
// their data offsets count from. That is the position which the header gives; else the start of the
// fragment, where the header says so or the part is the first; else the end of the data of the part
// before it. Parts of tracks without movie defaults are marked as such.
void resolveFragment(MoofBox& fragment, const MvexBox& extends);

}  // namespace norvik::kav::impl
