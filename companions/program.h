#pragma once

#include <cstddef>
#include <functional>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include "companions/command_line.h"

// The frame of every companion's main function.
namespace quarrypack::companions {

// The exit statuses of every companion. Some have further ones of their own.
inline constexpr int kSuccess = 0;
inline constexpr int kFailure = 1;  // a file cannot be read or written
inline constexpr int kWrongUsage = 2;

// A companion. Options is its record of options, with a member Action action.
template <class Options>
struct Program {
  const char* name;               // "quarrypack-embed"
  Options (*parse)(Words words);  // throws UsageError
  std::string (*usage)();         // all options, for people, with a line end after each
  int (*run)(const Options&);     // returns the status
};

// Calls work and returns its status. Turns a UsageError and any other std::exception into a message
// on standard error, "NAME: TEXT.", and the matching status.
int runReporting(std::string_view name, const std::function<int()>& work);

// Prints what is unusual about a file on standard error, one line for each finding: "NAME: 'FILE':
// TEXT."
void printFindings(std::string_view name, const std::string& file,
                   const std::vector<std::string>& findings);

// "NAME VERSION" and a line end.
std::string versionText(std::string_view name);

// Does what the command line of a process requests, and returns the status of the process.
template <class Options>
int runProgram(const Program<Options>& program, int argc, char** argv) {
  return runReporting(program.name, [&] {
    // A program may be started without any word, not even its name.
    const Words words(argv, static_cast<std::size_t>(argc));
    const Options options = program.parse(words.empty() ? words : words.subspan(1));
    switch (options.action) {
      case Action::showHelp:
        std::cout << program.usage();
        return kSuccess;
      case Action::showVersion:
        std::cout << versionText(program.name);
        return kSuccess;
      case Action::run:
        break;
    }
    return program.run(options);
  });
}

}  // namespace quarrypack::companions
