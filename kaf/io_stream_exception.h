#pragma once

#include "kaf/orx_exception.h"

#include <cerrno>
#include <cstdint>
#include <string>
#include <system_error>
#include <utility>

namespace quell::kaf {

// Why the operating system refused a file operation.
enum class IOErrorKind : std::int32_t {
  none = 0,              // not refused
  other = 1,             // anything that has no kind of its own
  invalidArgument = 2,   // EINVAL
  accessDenied = 3,      // EACCES
  fileExists = 4,        // EEXIST
  tooManyOpenFiles = 5,  // EMFILE
  fileNotFound = 6,      // ENOENT
};

// The kind that a number of the operating system (errno) belongs to.
constexpr IOErrorKind kindOfSystemError(int number) {
  switch (number) {
    case 0:
      return IOErrorKind::none;
    case ENOENT:
      return IOErrorKind::fileNotFound;
    case EACCES:
      return IOErrorKind::accessDenied;
    case EEXIST:
      return IOErrorKind::fileExists;
    case EINVAL:
      return IOErrorKind::invalidArgument;
    case EMFILE:
      return IOErrorKind::tooManyOpenFiles;
    default:
      return IOErrorKind::other;
  }
}

// A file operation that the operating system refused: the kind of refusal and the file concerned.
class IOStreamException : public orx::OrxException {
 public:
  // For a number of the operating system (errno) and the file that it is about.
  IOStreamException(int systemError, std::string fileName)
      : OrxException(fileName + ": " + std::generic_category().message(systemError)),
        systemError_(systemError),
        fileName_(std::move(fileName)) {}

  // Why it was refused.
  IOErrorKind kind() const { return kindOfSystemError(systemError_); }

  // The number that the constructor received.
  int systemError() const { return systemError_; }

  // The path as it was given.
  const std::string& fileName() const { return fileName_; }

 private:
  int systemError_;
  std::string fileName_;
};

}  // namespace quell::kaf
