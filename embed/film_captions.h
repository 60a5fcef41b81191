#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "captions/cea608.h"
#include "embed/caption_plan.h"
#include "embed/film.h"
#include "embed/offset_map.h"

namespace quarrypack::embed {

// The pairs of all caption tracks, by field, each with the time at which it is due. Where several
// tracks have pairs of one field, samples come in the order of their times. Throws Refusal for
// tracks whose edits repeat more than any film says, and what Film::forEachSample throws.
std::array<captions::FieldPairs, kFields> readCaptionTracks(Film& film);

// The ids of the caption tracks.
std::vector<std::uint32_t> captionTrackIds(const Film& film);

// The bytes that no track but caption tracks uses, at ascending offsets. Throws what
// Film::forEachRange throws.
std::vector<Splice> captionBytes(Film& film);

}  // namespace quarrypack::embed
