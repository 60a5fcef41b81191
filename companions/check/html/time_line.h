#pragma once

#include <string_view>

#include "check/report.h"
#include "companions/html.h"

namespace quarrypack::companions {

extern const std::string_view kTimeLineStyle;

// Draws the film along a time axis: its pictures, the captions of each channel, the findings, and
// the samples that a conversion would damage. Widths are shares of the page, while heights and
// letters have fixed sizes, so the drawing is legible at any width. Shapes that would lie too close
// together are drawn as one, so there are a few thousand at most.
void writeTimeLine(Html& html, const check::CheckReport& report);

}  // namespace quarrypack::companions
