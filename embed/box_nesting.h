#pragma once

#include <string>

#include "kav/box_view.h"

namespace quarrypack::embed {

// Throws Refusal if a box with sample tables, or one around them, is longer than the box that it
// lies in: a moov, trak or moof, or any that belongs into it. Some readers look into such a box all
// the same. Here only whole boxes are rewritten, and its tables would stay those of the input.
// label says in the text where that is.
void requireWholeBoxes(const norvik::kav::BoxView& container, const std::string& label);

}  // namespace quarrypack::embed
