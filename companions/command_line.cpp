#include "companions/command_line.h"

#include <boost/program_options/parsers.hpp>
#include <boost/program_options/positional_options.hpp>

namespace quarrypack::companions {

namespace po = boost::program_options;

namespace {

// The name under which the values hold the operands.
constexpr const char* kOperands = "operand";

}  // namespace

void addCommonOptions(po::options_description& options) {
  options.add_options()("help", "show this text")("version", "show the version");
}

po::variables_map readCommandLine(Words words, const po::options_description& options) {
  po::options_description all;
  all.add(options).add_options()(kOperands, po::value<std::vector<std::string>>());
  po::positional_options_description operands;
  operands.add(kOperands, -1);
  const int style = po::command_line_style::unix_style & ~po::command_line_style::allow_guessing;
  po::variables_map values;
  try {
    po::store(po::command_line_parser(std::vector<std::string>(words.begin(), words.end()))
                  .options(all)
                  .positional(operands)
                  .style(style)
                  .run(),
              values);
  } catch (const po::error& error) {
    throw UsageError(error.what());
  }
  return values;
}

Action actionOf(const po::variables_map& values) {
  if (values.count("help") > 0) return Action::showHelp;
  return values.count("version") > 0 ? Action::showVersion : Action::run;
}

std::vector<std::string> operandsOf(const po::variables_map& values) {
  if (values.count(kOperands) == 0) return {};
  return values[kOperands].as<std::vector<std::string>>();
}

std::string fileOf(const po::variables_map& values, const std::string& verb) {
  const std::vector<std::string> paths = operandsOf(values);
  if (paths.size() != 1) {
    throw UsageError("one file is " + verb + ", and " + std::to_string(paths.size()) +
                     " are named");
  }
  if (paths.front().empty()) throw UsageError("the name of the file is empty");
  return paths.front();
}

std::string textOf(const po::variables_map& values, const char* name) {
  if (values.count(name) == 0) return {};
  const auto& text = values[name].as<std::string>();
  if (text.empty()) throw UsageError(std::string("the option '--") + name + "' needs a value");
  return text;
}

void failOnValue(const char* option, const std::string& value, const std::string& choices) {
  throw UsageError("'" + value + "' is not a value of '--" + option + "': use " + choices);
}

}  // namespace quarrypack::companions
