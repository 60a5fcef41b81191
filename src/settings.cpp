#include "src/settings.h"

#include "src/error_messages.h"
#include "src/path_texts.h"
#include "src/tool_config.h"

#include <boost/filesystem/operations.hpp>

#include <iostream>

namespace quarrypack {
namespace {

using norvik::tarnsamples::NoValueConfigType;
using norvik::tarnsamples::StringConfigType;

void addOptions(ToolConfig& config) {
  static const NoValueConfigType help("Print this Help Message");
  static const StringConfigType inputFile(
      "", "The path to the source container file. The path can be absolute or relative.");
  static const StringConfigType outputFile("",
                                           "The path to the destination file and one which is "
                                           "distinct from source file. The path can be "
                                           "absolute or relative.");
  static const StringConfigType confFile(
      "", "The configuration file that contains settings for the packaging process.");

  config.addOption("help", help);
  config.addOption("input-file", inputFile);
  config.addOption("output-file", outputFile);
  config.addOption("conf-file", confFile);
}

// The values may come from a source other than parseSettings, with paths in any form.
std::string pathOf(const ValueMap& values, const char* name) {
  return genericPath(boost::any_cast<const std::string&>(values.at(name)));
}

}  // namespace

int parseSettings(std::vector<std::string>& arguments, std::string& usageText, ValueMap& values,
                  const std::string& programName) {
  try {
    ToolConfig config("quarrypack_config.xml");
    addOptions(config);
    config.parse(arguments, programName,
                 "Tool to convert .mov files with clcp content into .mp4 with embedded caption "
                 "NALUs.");
    usageText = config.usageText();
    values = config.values();
    return error_codes::kSuccess;
  } catch (...) {
    return error_codes::kInvalidSettings;
  }
}

int validatePaths(const ValueMap& values, ConversionPaths& paths) {
  using boost::filesystem::exists;

  const std::string confFile = pathOf(values, "conf-file");
  if (!confFile.empty() && !exists(confFile)) {
    std::cout << "Not a valid conf file path" << std::endl;
    return error_codes::kFileNotFound;
  }

  paths.inputPath = pathOf(values, "input-file");
  if (paths.inputPath.empty() || !exists(paths.inputPath)) return error_codes::kFileNotFound;

  paths.outputPath = pathOf(values, "output-file");
  if (paths.outputPath.empty()) paths.outputPath = defaultOutputPath(paths.inputPath);

  // Only the texts are compared. The conversion refuses an output that is the input under another
  // name.
  if (paths.inputPath == paths.outputPath) {
    std::cout << "Input file and output file can not be same." << std::endl;
    return error_codes::kWriteFailed;
  }
  return error_codes::kSuccess;
}

}  // namespace quarrypack
