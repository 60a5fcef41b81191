#pragma once

#include <cstdint>

#include "kav/impl/model/box.h"

namespace norvik::kav::impl {

// Packs the boxes of a written tree, so that no box keeps room for entries that never came. Players
// load the whole moov box first, and some derive the number of edits from the length of their box.
// All boxes move towards the start of the file. They must have been written, with final counts.
//
// Returns the end of the tree in the file. If other boxes follow the tree, the caller covers the
// bytes from there to its former end; those that once had content are zeros.
std::uint64_t packTree(Box& top);

}  // namespace norvik::kav::impl
