#pragma once

#include "tests/support/run_program.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

namespace quarrypack::test {

// Captures what is written to the two console streams while it lives.
class CapturedConsole {
 public:
  CapturedConsole()
      : out_(std::cout.rdbuf(outText_.rdbuf())), err_(std::cerr.rdbuf(errText_.rdbuf())) {}
  ~CapturedConsole() {
    std::cout.rdbuf(out_);
    std::cerr.rdbuf(err_);
  }
  CapturedConsole(const CapturedConsole&) = delete;
  CapturedConsole& operator=(const CapturedConsole&) = delete;

  std::string out() const { return outText_.str(); }
  std::string err() const { return errText_.str(); }

 private:
  std::ostringstream outText_;
  std::ostringstream errText_;
  std::streambuf* out_;
  std::streambuf* err_;
};

// A fresh folder that is the working directory while it lives.
class WorkingFolder {
 public:
  WorkingFolder() : before_(std::filesystem::current_path()) {
    std::filesystem::current_path(folder_.path());
  }
  ~WorkingFolder() { std::filesystem::current_path(before_); }
  WorkingFolder(const WorkingFolder&) = delete;
  WorkingFolder& operator=(const WorkingFolder&) = delete;

  std::string path(const std::string& name) const { return (folder_.path() / name).string(); }

  void write(const std::string& name, const std::string& content = "") const {
    const std::filesystem::path file = folder_.path() / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
  }

 private:
  TemporaryFolder folder_;
  std::filesystem::path before_;
};

}  // namespace quarrypack::test
