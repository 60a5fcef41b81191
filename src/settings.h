#pragma once

#include "src/config_types.h"
#include "src/conversion_paths.h"

#include <string>
#include <vector>

namespace quarrypack {

using norvik::tarnsamples::ValueMap;

// Collects the settings of a run from the command line, given without the program's name, and from
// the configuration file. Returns 0, or the code for invalid settings whatever was wrong with them;
// never throws. The arguments are emptied when help is requested.
int parseSettings(std::vector<std::string>& arguments, std::string& usageText, ValueMap& values,
                  const std::string& programName);

// Checks the paths of the settings before any movie is opened, and sets the output path. The paths
// are checked and stored in the generic form, whatever form the values have. Returns 0 or the code
// to report; details that a code cannot express are written to standard output.
int validatePaths(const ValueMap& values, ConversionPaths& paths);

}  // namespace quarrypack
