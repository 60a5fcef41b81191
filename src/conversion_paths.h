#pragma once

#include <string>

namespace quarrypack {

// The files of one run, in the form in which the settings' checks left them and messages show them.
struct ConversionPaths {
  std::string inputPath;
  std::string outputPath;
};

}  // namespace quarrypack
