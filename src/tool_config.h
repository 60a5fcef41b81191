#pragma once

#include "src/config_types.h"

#include <boost/program_options/options_description.hpp>
#include <boost/program_options/variables_map.hpp>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quarrypack {

using norvik::tarnsamples::ConfigType;
using norvik::tarnsamples::ValueMap;

// The option set of a tool and the values found for it. The tool adds its options and then parses
// once; every pass over the options keeps the order in which they were added.
class ToolConfig {
 public:
  // The default configuration file is used if it exists and the command line names no other.
  explicit ToolConfig(std::string defaultConfigFile);

  // Both the name and the option object must outlive this set.
  void addOption(const char* name, const ConfigType& type);

  // Fills the values from the defaults, the configuration file and the command line, each
  // overriding the one before, and builds the usage text. The arguments are emptied when help is
  // requested. Throws the parser's exceptions, and orx::OrxException for an unusable configuration
  // file.
  void parse(std::vector<std::string>& arguments, const std::string& programName,
             const std::string& toolDescription);

  // Sets every option from the file and returns 0 or an error code. A file that was requested by
  // name may be a pipe, which is read to its end; if it does not exist, that is an error. Any other
  // file is used only if it is a regular file, and otherwise ignored with success: a run must not
  // block on a pipe that it happens to find.
  int loadConfigFile(const std::string& fileName, bool namedExplicitly);

  const ValueMap& values() const { return values_; }
  const std::string& usageText() const { return usageText_; }

 private:
  void applyCommandLine(const boost::program_options::variables_map& commandLine);
  void resolveIfPath(const std::string& name, const std::string& baseFile);

  std::string defaultConfigFile_;
  std::vector<std::pair<const char*, const ConfigType*>> options_;
  ValueMap values_;
  std::string usageText_;
};

// The options whose texts are paths, relative to the configuration file or the working directory.
// The list serves all sibling tools. The output path is deliberately not in it: it always stays as
// given.
bool isPathOption(std::string_view name);

std::string buildUsageText(const std::string& programName, const std::string& toolDescription,
                           const boost::program_options::options_description& options);

}  // namespace quarrypack
