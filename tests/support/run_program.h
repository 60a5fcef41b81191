#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/bytes.h"

namespace quarrypack::test {

// How a run ended: the exit status, or 128 + n if signal n ended it, and all its output.
struct ProgramResult {
  int status = -1;
  bool timedOut = false;
  std::string out;
  std::string err;
};

// The program that the build has just made.
std::filesystem::path builtProgram();

struct ProgramOptions {
  std::filesystem::path workingDirectory;                 // empty: the test's own
  std::string programName = "quarrypack";                 // what the program sees as its own name
  std::vector<int> closedDescriptors;                     // closed before the program starts
  bool noArgumentWords = false;                           // start without even a program name
  std::optional<std::size_t> largestFile = std::nullopt;  // bytes; writing beyond them fails
  std::chrono::milliseconds timeout = std::chrono::seconds(60);
  std::filesystem::path program = builtProgram();
};

// Runs the program to its end with an empty standard input. A run that outlives the timeout is
// killed and reported as ended by that signal, so a hang is a failed expectation and not a hanging
// test.
ProgramResult runProgram(const std::vector<std::string>& args, const ProgramOptions& options = {});

// A folder of the test's own, removed with everything in it at the end of the scope.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

Bytes readFile(const std::filesystem::path& path);
void writeFile(const std::filesystem::path& path, const Bytes& bytes);

}  // namespace quarrypack::test
