#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "embed/box_pieces.h"
#include "embed/offset_map.h"
#include "kav/box_view.h"

namespace quarrypack::embed {

// Where a sample lies, by its number from 0 in the table or fragment; none for one that is not
// there. Asked for ascending numbers.
using SampleOffset = std::function<std::optional<std::uint64_t>(std::uint32_t sample)>;

// Whether the sizes of a subs grow to 32 bits where they must, or always: then the length of the
// box does not depend on the map.
enum class PartSizes { asNeeded, wide };

// Appends a subs, which states the sizes of the parts of samples, such as slices. A part grows by
// what is inserted at its first byte or inside it. Throws Refusal for a box that is cut short or
// names a sample that is not there.
void appendSampleParts(const norvik::kav::BoxView& subs, const SampleOffset& offsetOf,
                       PartSizes sizes, const OffsetMap& map, BoxPieces& pieces);

}  // namespace quarrypack::embed
