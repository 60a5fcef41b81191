#include "companions/command_line.h"

#include <fcntl.h>
#include <unistd.h>

#include <boost/program_options/parsers.hpp>
#include <boost/program_options/positional_options.hpp>
#include <cerrno>
#include <iostream>
#include <new>
#include <vector>

namespace quarrypack::companions {

namespace po = boost::program_options;

namespace {

int report(std::string_view name, const std::string& text, int status) {
  std::cerr << name << ": " << text << ".\n";
  return status;
}

}  // namespace

po::variables_map readCommandLine(std::span<const char* const> words,
                                  const po::options_description& options) {
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

std::string textOf(const po::variables_map& values, const char* name) {
  if (values.count(name) == 0) return {};
  const auto& text = values[name].as<std::string>();
  if (text.empty()) throw UsageError(std::string("the option '--") + name + "' needs a value");
  return text;
}

// The root folder fills the gaps if there is no null device.
void openStandardStreams() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(descriptor, F_GETFD) != -1 || errno != EBADF) continue;
    if (open("/dev/null", O_RDWR) == -1) open("/", O_RDONLY);
  }
}

int runReporting(std::string_view name, const std::function<int()>& program) {
  try {
    return program();
  } catch (const UsageError& error) {
    return report(name, std::string(error.what()) + "; see '--help'", kWrongUsage);
  } catch (const std::bad_alloc&) {
    return report(name, "there is not enough memory", kFailure);
  } catch (const std::exception& error) {
    return report(name, error.what(), kFailure);
  }
}

}  // namespace quarrypack::companions
