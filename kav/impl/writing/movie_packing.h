#pragma once

#include <cstdint>

#include "kav/impl/model/box.h"

namespace norvik::kav::impl {

// Moves the boxes of a written tree together, so that no room reserved for entries that never came
// is left inside any of them: players load the whole moov box first, and some take the number of
// edits from the length of their box. Everything moves towards the front. All boxes must have been
// written, and their counts be final.
//
// Returns the end of the tree in the file. Where the tree is followed by other boxes, the bytes
// from there to its former end are the caller's to cover; those that once held something are zeros.
std::uint64_t packTree(Box& top);

}  // namespace norvik::kav::impl
