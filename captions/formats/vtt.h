#pragma once

#include <iosfwd>
#include <vector>

#include "captions/cue.h"

namespace quarrypack::captions {

// Writes WebVTT. Row 1 is at 10 % of the picture's height and each further row 5.33 % lower; column
// 0 is at 10 % of its width and each further column 2.5 % to the right. Consecutive rows that begin
// in the same column share a WebVTT cue; others become cues of the same time. Styles are <i>, <u>
// and <c.colour> with the colour classes that WebVTT defines, for all colours but white.
void writeVtt(const std::vector<Cue>& cues, std::ostream& out);

}  // namespace quarrypack::captions
