#pragma once

#include <string>

namespace quarrypack {

// The files of one run, as the checks of the settings left them and as the messages show them.
struct ConversionPaths {
  std::string inputPath;
  std::string outputPath;
};

}  // namespace quarrypack
