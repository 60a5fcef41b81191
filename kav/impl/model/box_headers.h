#pragma once

#include <optional>
#include <vector>

#include "kav/error_code.h"
#include "kav/impl/model/box.h"
#include "kav/movie_info.h"

namespace norvik::kav::impl {

// Asks the problem handler of the stream about an irregularity; throws stoppedByHandler if the
// handler refuses it.
void askHandler(NorvikKavStream& stream, Problem problem);

// Reads the header of the box at the stream's position and leaves the stream past it. Returns
// nothing where the boxes end: at the end of the parent or of the data, or at a size that no box
// can have. Throws stoppedByHandler for a refused irregularity, truncatedBox for a box that runs
// past the end of the file (an mdat box may), shortRead for a header that does.
//
// parent is the box being read, or null at the top level; a child is clamped to its parent's end.
std::optional<BoxHeader> readBoxHeader(NorvikKavStream& stream, const Box* parent);

// Looks for the first top-level box of a type, from the stream's position on. It reads only sizes
// and types: a box whose code is written as an extended type is not found. If there is no such box,
// returns nothing and leaves the stream at its end.
std::optional<BoxHeader> findTopLevelBox(NorvikKavStream& stream, FourCc type);

// The top-level boxes of the whole stream, found by their sizes and types only. The list ends at a
// box with an impossible size, and before bytes too few for a header. A box cut off by the end of
// the stream ends there. Throws shortRead for a 64-bit size that is cut off.
std::vector<BoxPlace> listTopLevelBoxes(NorvikKavStream& stream);

class BoxFactory;

struct ReadContext {
  NorvikKavStream& stream;
  BoxFactory& factory;
  BoxAllocator* allocator = nullptr;
};

// Builds the tree below a new box: only headers and classes. depth is the nesting level of the box.
// Throws childRuleBroken below the deepest level.
void readChildHeaders(const ReadContext& context, Box& box, unsigned depth = 1);

}  // namespace norvik::kav::impl
