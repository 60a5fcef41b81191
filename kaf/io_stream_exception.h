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
  none = 0,
  other = 1,
  invalidArgument = 2,
  accessDenied = 3,
  fileExists = 4,
  tooManyOpenFiles = 5,
  fileNotFound = 6,
};

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
  IOStreamException(int systemError, std::string fileName)
      : OrxException(fileName + ": " + std::generic_category().message(systemError)),
        kind_(kindOfSystemError(systemError)),
        fileName_(std::move(fileName)) {}

  IOErrorKind kind() const { return kind_; }
  const std::string& fileName() const { return fileName_; }

 private:
  IOErrorKind kind_;
  std::string fileName_;
};

}  // namespace quell::kaf
