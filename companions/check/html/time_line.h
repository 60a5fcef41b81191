#pragma once

#include <string_view>

#include "check/report.h"
#include "companions/html.h"

namespace quarrypack::companions {

extern const std::string_view kTimeLineStyle;

// Draws the film over its time: its pictures, the captions of each channel, the findings, and the
// samples that a conversion would damage. Widths are shares of the page and heights and letters are
// not, so that it is legible at any width. What lies too close together is drawn as one, so the
// drawing has a few thousand shapes at most.
void writeTimeLine(Html& html, const check::CheckReport& report);

}  // namespace quarrypack::companions
