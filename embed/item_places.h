#pragma once

#include "embed/box_pieces.h"
#include "embed/offset_map.h"
#include "kav/box_view.h"

namespace quarrypack::embed {

// Appends an iloc, which states where the items of a meta box, such as still pictures, lie in the
// file. Its length does not change. Throws Refusal for one that is cut short, for an item whose
// bytes change, and where an offset outgrows its field.
void appendItemPlaces(const norvik::kav::BoxView& iloc, const OffsetMap& map, BoxPieces& pieces);

}  // namespace quarrypack::embed
