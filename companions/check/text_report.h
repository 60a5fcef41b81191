#pragma once

#include <cstddef>
#include <iosfwd>

#include "check/report.h"

namespace quarrypack::companions {

// How a text is shown.
struct TextStyle {
  std::size_t columns = 80;  // lines are wrapped to this width
  bool isColourful = false;
};

// The style for a descriptor: that of its terminal, or plain text without one.
TextStyle styleFor(int descriptor);

// Writes a report for people: what the file is, what was found, and how much of it. No text from a
// file can control the terminal. The caller checks the stream for write errors.
void writeText(const check::CheckReport& report, const TextStyle& style, std::ostream& out);

}  // namespace quarrypack::companions
