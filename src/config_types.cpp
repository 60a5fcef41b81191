#include "src/config_types.h"

#include <boost/program_options/value_semantic.hpp>

#include <utility>

namespace norvik::tarnsamples {

namespace po = boost::program_options;
using orx::config::ConfigNode;
using orx::config::getDataOr;

boost::any NoValueConfigType::defaultValue() const { return false; }

void NoValueConfigType::addToDescription(po::options_description& description,
                                         const char* name) const {
  description.add_options()(name, description_);
}

void NoValueConfigType::readFromConfigFile(ValueMap& values, const ConfigNode& root,
                                           const std::string& name) const {
  values[name] = getDataOr(root.findChild(name), "") == "true";
}

void NoValueConfigType::readFromCommandLine(ValueMap& values, const po::variables_map& commandLine,
                                            const std::string& name) const {
  if (commandLine.count(name) != 0) values[name] = true;
}

StringConfigType::StringConfigType(std::string defaultText, const char* description)
    : defaultText_(std::move(defaultText)), description_(description) {}

boost::any StringConfigType::defaultValue() const { return defaultText_; }

void StringConfigType::addToDescription(po::options_description& description,
                                        const char* name) const {
  description.add_options()(name, po::value<std::string>(), description_);
}

void StringConfigType::readFromConfigFile(ValueMap& values, const ConfigNode& root,
                                          const std::string& name) const {
  values[name] = getDataOr(root.findChild(name), defaultText_);
}

void StringConfigType::readFromCommandLine(ValueMap& values, const po::variables_map& commandLine,
                                           const std::string& name) const {
  if (commandLine.count(name) != 0) values[name] = commandLine[name].as<std::string>();
}

}  // namespace norvik::tarnsamples
