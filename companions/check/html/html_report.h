#pragma once

#include <iosfwd>

#include "check/report.h"

namespace quarrypack::companions {

// Writes the report as one page of HTML that needs no other file: the summary, the time line, the
// findings, and the cues as the screen shows them. The caller checks the stream for write errors.
// The same report always produces the same bytes.
void writeHtml(const check::CheckReport& report, std::ostream& out);

}  // namespace quarrypack::companions
