#pragma once

#include "src/conversion_paths.h"

#include <functional>
#include <string>

namespace quarrypack {

// Converts one movie and returns the exit status. The program's name is for its messages.
using Conversion = std::function<int(const std::string& programName, const ConversionPaths& paths)>;

// The whole run of the program: settings, usage text or path checks, conversion. Reports every
// failure, exceptions included, and returns the exit status: 0 for success or a shown usage text,
// 2 when an error code of the streaming library was thrown, 1 for every other failure.
int runTool(int argc, const char* const* argv, const Conversion& conversion);

}  // namespace quarrypack
