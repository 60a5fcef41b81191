#pragma once

#include "config/config_node.h"

#include <boost/any.hpp>
#include <boost/program_options/options_description.hpp>
#include <boost/program_options/variables_map.hpp>

#include <map>
#include <string>

namespace norvik::tarnsamples {

// Option name to value. The option's class determines the type of the value.
using ValueMap = std::map<std::string, boost::any>;

// How one kind of option is announced to the command line, and how its value is found in each of
// the three layers: its default, the configuration file, the command line. Option objects live as
// long as the process and are never deleted, hence no virtual destructor.
class ConfigType {
 public:
  virtual boost::any defaultValue() const = 0;
  virtual void addToDescription(boost::program_options::options_description& description,
                                const char* name) const = 0;
  // Always sets the entry: an option that is missing in the file returns to its default.
  virtual void readFromConfigFile(ValueMap& values, const orx::config::ConfigNode& root,
                                  const std::string& name) const = 0;
  // Leaves the entry alone if the option was not given.
  virtual void readFromCommandLine(ValueMap& values,
                                   const boost::program_options::variables_map& commandLine,
                                   const std::string& name) const = 0;

 protected:
  ~ConfigType() = default;
};

// A switch: the value is a bool.
class NoValueConfigType final : public ConfigType {
 public:
  explicit NoValueConfigType(const char* description) : description_(description) {}

  boost::any defaultValue() const override;
  void addToDescription(boost::program_options::options_description& description,
                        const char* name) const override;
  void readFromConfigFile(ValueMap& values, const orx::config::ConfigNode& root,
                          const std::string& name) const override;
  void readFromCommandLine(ValueMap& values,
                           const boost::program_options::variables_map& commandLine,
                           const std::string& name) const override;

 private:
  const char* description_;
};

// A text: the value is a std::string.
class StringConfigType final : public ConfigType {
 public:
  StringConfigType(std::string defaultText, const char* description);

  boost::any defaultValue() const override;
  void addToDescription(boost::program_options::options_description& description,
                        const char* name) const override;
  void readFromConfigFile(ValueMap& values, const orx::config::ConfigNode& root,
                          const std::string& name) const override;
  void readFromCommandLine(ValueMap& values,
                           const boost::program_options::variables_map& commandLine,
                           const std::string& name) const override;

 private:
  std::string defaultText_;
  const char* description_;
};

}  // namespace norvik::tarnsamples
