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

// The option set of a tool and the values found for it. The tool adds its options, then parses
// once; every pass over the options keeps the order in which they were added.
class ToolConfig {
 public:
  // The default configuration file is used if it exists and the command line names no other.
  explicit ToolConfig(std::string defaultConfigFile);

  // Both the name and the option object must outlive this set.
  void addOption(const char* name, const ConfigType& type);

  // Fills the values from the defaults, the configuration file and the command line, each beating
  // the one before, and builds the usage text. The arguments are emptied when help is asked for.
  // Throws whatever the parser throws, and orx::OrxException for a configuration file that is of no
  // use.
  void parse(std::vector<std::string>& arguments, const std::string& programName,
             const std::string& toolDescription);

  // Sets every option from the file. One that was asked for by name may be a pipe, which is read to
  // its end; if it does not exist, that is an error code. One that was not asked for has no effect,
  // and is a success, unless it is a regular file: a run must not wait for a pipe that it happens
  // to find.
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

// The options whose texts are paths that count from the file or the folder they were given in. The
// list serves all sibling tools. The output path is deliberately not on it: it always stays as it
// was given.
bool isPathOption(std::string_view name);

std::string buildUsageText(const std::string& programName, const std::string& toolDescription,
                           const boost::program_options::options_description& options);

}  // namespace quarrypack
