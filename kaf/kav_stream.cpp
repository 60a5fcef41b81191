#include "kaf/kav_stream.h"

#include "kaf/file_failure.h"
#include "kaf/io_stream_exception.h"

#include <utility>

namespace quell::kafpkgutil {

namespace {

using kaf::IOErrorKind;
using norvik::kav::ErrorCode;

ErrorCode codeOf(IOErrorKind kind) {
  switch (kind) {
    case IOErrorKind::accessDenied:
    case IOErrorKind::fileExists:
    case IOErrorKind::tooManyOpenFiles:
      return ErrorCode::accessDenied;
    case IOErrorKind::fileNotFound:
      return ErrorCode::fileNotFound;
    default:
      return ErrorCode::ioFailed;
  }
}

// Calls a file operation and translates its failure into an exception of the library.
template <class Call>
auto translated(Call&& call) {
  try {
    return call();
  } catch (const kaf::IOStreamException& failure) {
    throw FileFailure(codeOf(failure.kind()), failure.fileName(), failure.systemError());
  }
}

}  // namespace

KavStream::KavStream(std::string path, std::uint32_t mode, Truncation truncation)
    : file_(std::move(path), mode, truncation) {}

void KavStream::addRef() { ++references_; }

void KavStream::release() {
  if (--references_ == 0) delete this;
}

void KavStream::open() {
  translated([&] { file_.open(); });
}

void KavStream::close() {
  translated([&] { file_.close(); });
}

std::size_t KavStream::read(void* buffer, std::size_t count) {
  return translated([&] { return file_.read(buffer, count); });
}

void KavStream::seek(std::int64_t offset, int origin) {
  translated([&] { file_.seek(offset, origin); });
}

std::uint64_t KavStream::tell() {
  return translated([&] { return file_.tell(); });
}

std::size_t KavStream::write(const void* buffer, std::size_t count) {
  return translated([&] { return file_.write(buffer, count); });
}

void KavStream::setSize(std::uint64_t size) {
  translated([&] { file_.setSize(size); });
}

bool KavStream::sameFileAs(const KavStream& other) const {
  return translated([&] { return file_.isSameFile(other.file_); });
}

bool KavStream::removeIfOpenedHere() { return file_.removeIfOpenedHere(); }

}  // namespace quell::kafpkgutil
