#pragma once

#include <csignal>
#include <cstdlib>
#include <memory>
#include <string>

namespace quarrypack::process {

// While an object lives, SIGINT and SIGTERM remove the file that is being written before they end
// the process as usual. So a stopped conversion leaves neither half a movie that looks complete nor
// a progress line on the terminal. The parent process still sees which signal it was.
//
// A signal that the program was started to ignore stays ignored. At most one object at a time.
class RemovalOnInterruption {
 public:
  // The file must exist. It is removed only while the path still refers to it, never a file that
  // has since been put in its place.
  explicit RemovalOnInterruption(const std::string& path);
  ~RemovalOnInterruption();
  RemovalOnInterruption(const RemovalOnInterruption&) = delete;
  RemovalOnInterruption& operator=(const RemovalOnInterruption&) = delete;

 private:
  struct Free {
    void operator()(char* text) const { std::free(text); }
  };

  std::unique_ptr<char, Free> path_;
  struct sigaction beforeInterrupt_ {};
  struct sigaction beforeTerminate_ {};
};

}  // namespace quarrypack::process
