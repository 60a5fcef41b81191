#pragma once

#include <iosfwd>

#include "check/report.h"

namespace quarrypack::companions {

// Writes a report as one JSON document:
//
//     {"file", "source", "duration", "statistics": {"pictures", "cues", "errors", "warnings",
//      "infos"}, "coverage": {"first", "longestHole": {"start", "end"}, "share"},
//      "hits": [{"track", "kind", "count", "times"}],
//      "findings": [{"id", "severity", "count", "first", "times", "meaning", "remedy", "detail"}],
//      "channels": as quarrypack-captions writes them}
//
// Times are seconds with at most three decimals; a value that is not there is null. The caller
// checks the stream for write errors.
void writeJson(const check::CheckReport& report, std::ostream& out);

}  // namespace quarrypack::companions
