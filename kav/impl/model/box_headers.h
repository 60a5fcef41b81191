#pragma once

#include <optional>
#include <vector>

#include "kav/error_code.h"
#include "kav/impl/model/box.h"
#include "kav/movie_info.h"

namespace norvik::kav::impl {

// Puts an oddity to the problem handler of the stream; throws stoppedByHandler when it is refused.
void askHandler(NorvikKavStream& stream, Problem problem);

// Reads the header of the box at the stream's position and leaves the stream behind it. Returns
// none where the boxes end: at the end of the parent or of the data, or at a size that no box can
// have. Throws stoppedByHandler for a refused oddity, truncatedBox for a box that runs past the end
// of the file (an mdat box may), shortRead for a header that does.
//
// parent is the box being read, or null at the top level; a child is clamped to its parent's end.
std::optional<BoxHeader> readBoxHeader(NorvikKavStream& stream, const Box* parent);

// Looks for the first top-level box of a type from the stream's position on. It reads sizes and
// types only: a box whose code is written as an extended type is not found. Returns none, with the
// stream at its end, when there is no such box.
std::optional<BoxHeader> findTopLevelBox(NorvikKavStream& stream, FourCc type);

// The top-level boxes of the whole stream, by their sizes and types only. Boxes after one whose
// size leads nowhere are left out, and bytes too few for a header; one cut off at the end of the
// stream ends there. Throws shortRead for a 64-bit size that is cut off.
std::vector<BoxPlace> listTopLevelBoxes(NorvikKavStream& stream);

class BoxFactory;

struct ReadContext {
  NorvikKavStream& stream;
  BoxFactory& factory;
  BoxAllocator* allocator = nullptr;
};

// Builds the tree below a freshly made box: headers and classes only. depth is the nesting level of
// the box. Throws childRuleBroken below the deepest level.
void readChildHeaders(const ReadContext& context, Box& box, unsigned depth = 1);

}  // namespace norvik::kav::impl
