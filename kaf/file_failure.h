#pragma once

#include "kav/exception.h"

#include <string>
#include <system_error>
#include <utility>

namespace quell::kafpkgutil {

// A file operation that the system refused, as an exception of the container library that also
// names the file and the system's reason.
class FileFailure final : public norvik::kav::Exception {
 public:
  // code: the library's code for the refusal; systemError: an errno.
  FileFailure(norvik::kav::ErrorCode code, std::string fileName, int systemError)
      : Exception(code), fileName_(std::move(fileName)), systemError_(systemError) {}

  // The path as it was given.
  const std::string& fileName() const { return fileName_; }

  // In the words of the system, such as "No space left on device".
  std::string reason() const { return std::generic_category().message(systemError_); }

 private:
  std::string fileName_;
  int systemError_;
};

}  // namespace quell::kafpkgutil
