#include "src/tool_config.h"

#include "config/config_document.h"
#include "config/config_exceptions.h"
#include "kaf/orx_exception.h"
#include "src/error_messages.h"
#include "src/path_texts.h"

#include <boost/filesystem/operations.hpp>
#include <boost/program_options/parsers.hpp>
#include <boost/program_options/positional_options.hpp>

#include <algorithm>
#include <array>
#include <sstream>

namespace quarrypack {
namespace {

namespace po = boost::program_options;

constexpr unsigned kUsageLineLength = 80;

constexpr std::array<std::string_view, 13> kPathOptions = {
    "input-file",
    "output-path",
    "common-key",
    "content-encryption-key",
    "transport-cert",
    "license-server-cert",
    "packager-credential",
    "policy-file",
    "conf-file",
    "media-base-name",
    "license-server-credential",
    "recipient-cert",
    "encrypt-keys-rotation-file",
};

// Without a description of positional words the parser accepts them silently, and a forgotten
// option name would go unnoticed. A description that allows none makes them an error.
po::variables_map parsedCommandLine(const std::vector<std::string>& arguments,
                                    const po::options_description& description) {
  const po::positional_options_description noPositionalWords;
  po::variables_map commandLine;
  po::store(
      po::command_line_parser(arguments).options(description).positional(noPositionalWords).run(),
      commandLine);
  po::notify(commandLine);
  return commandLine;
}

}  // namespace

ToolConfig::ToolConfig(std::string defaultConfigFile)
    : defaultConfigFile_(std::move(defaultConfigFile)) {}

void ToolConfig::addOption(const char* name, const ConfigType& type) {
  options_.emplace_back(name, &type);
}

void ToolConfig::parse(std::vector<std::string>& arguments, const std::string& programName,
                       const std::string& toolDescription) {
  po::options_description description("Allowed options", kUsageLineLength);
  for (const auto& [name, type] : options_) {
    values_[name] = type->defaultValue();
    type->addToDescription(description, name);
  }

  const po::variables_map commandLine = parsedCommandLine(arguments, description);
  if (commandLine.count("help") != 0) arguments.clear();

  // A missing file is no failure here: the path checks report it, after the usage text has been
  // considered.
  const bool namedExplicitly = commandLine.count("conf-file") != 0;
  loadConfigFile(namedExplicitly ? commandLine["conf-file"].as<std::string>() : defaultConfigFile_,
                 namedExplicitly);

  applyCommandLine(commandLine);
  usageText_ = buildUsageText(programName, toolDescription, description);
}

int ToolConfig::loadConfigFile(const std::string& fileName, bool namedExplicitly) {
  try {
    const std::string path = genericPath(fileName);
    if (!namedExplicitly && !boost::filesystem::is_regular_file(path)) return error_codes::kSuccess;
    if (!boost::filesystem::exists(path)) return error_codes::kFileNotFound;
    orx::config::CurrentNode root;
    orx::config::ConfigDocument::load(root, path);
    if (!root) throw orx::config::BadFileException();
    for (const auto& [name, type] : options_) {
      type->readFromConfigFile(values_, *root, name);
      resolveIfPath(name, path);
    }
    return error_codes::kSuccess;
  } catch (...) {
    // Whatever is wrong with the file, the user gets the same text.
    throw orx::OrxException(describeError(error_codes::kInvalidConfigFile));
  }
}

void ToolConfig::applyCommandLine(const po::variables_map& commandLine) {
  for (const auto& [name, type] : options_) {
    if (commandLine.count(name) == 0) continue;
    type->readFromCommandLine(values_, commandLine, name);
    resolveIfPath(name, "");
  }
}

void ToolConfig::resolveIfPath(const std::string& name, const std::string& baseFile) {
  if (!isPathOption(name)) return;
  auto* text = boost::any_cast<std::string>(&values_[name]);
  if (text != nullptr && !text->empty()) *text = resolveRelativePath(*text, baseFile);
}

bool isPathOption(std::string_view name) {
  return std::find(kPathOptions.begin(), kPathOptions.end(), name) != kPathOptions.end();
}

std::string buildUsageText(const std::string& programName, const std::string& toolDescription,
                           const po::options_description& options) {
  std::ostringstream text;
  text
      << "\n"
      << (programName.empty() ? "quarrypack" : programName) << " version 1.0 - "
      << (toolDescription.empty() ? "Tool to fragment content into kaf files." : toolDescription)
      << "\n"
      << "Copyright the quarrypack authors. Licensed under the Apache License, Version 2.0.\n"
      << "https://quarrypack.example\n\n"
      << "Usage: " << programName << " --input-file=<file> --[setting]=[arg]...\n"
      << options << "\n"
      << "NOTE : In case of relative path, when passed on the command line the path is relative to "
         "the current working directory. If passed through config file, the path is relative to "
         "the directory containing the configuration file.\n";
  return text.str();
}

}  // namespace quarrypack
