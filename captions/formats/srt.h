#pragma once

#include <iosfwd>
#include <vector>

#include "captions/cue.h"

namespace quarrypack::captions {

// Writes SubRip text in UTF-8: numbered cues, one line for each row. Styles are <i>, <u> and <font
// color="#rrggbb">, the last for all colours but white. Positions on the screen are lost.
void writeSrt(const std::vector<Cue>& cues, std::ostream& out);

}  // namespace quarrypack::captions
