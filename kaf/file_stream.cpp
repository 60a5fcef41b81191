#include "kaf/file_stream.h"

#include "kaf/io_stream_exception.h"
#include "kaf/open_mode.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <limits>
#include <utility>

namespace quell::kaf {

namespace {

constexpr auto kLargestOffset =
    static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());

// Closes a descriptor unless it is kept.
class NewDescriptor {
 public:
  explicit NewDescriptor(int descriptor) : descriptor_(descriptor) {}
  ~NewDescriptor() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }
  NewDescriptor(const NewDescriptor&) = delete;
  NewDescriptor& operator=(const NewDescriptor&) = delete;

  int get() const { return descriptor_; }
  int keep() { return std::exchange(descriptor_, -1); }

 private:
  int descriptor_;
};

// The text and binary bits change nothing here, and write honours the append bit. Opening alone
// never drops the old content: the file must be examined first. Opening does not block, because the
// name may be a pipe that no process holds open.
int openFlags(std::uint32_t mode) {
  int flags = O_RDONLY;
  if ((mode & OpenMode::kReadWrite) != 0) {
    flags = O_RDWR;
  } else if ((mode & OpenMode::kWriteOnly) != 0) {
    flags = O_WRONLY;
  }
  if ((mode & OpenMode::kCreate) != 0) {
    flags |= O_CREAT;
    if ((mode & OpenMode::kExclusive) != 0) flags |= O_EXCL;
  }
  return flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
}

// The system refuses an existing file only together with its creation. As in the system, a symbolic
// link counts as a file, wherever it points.
void refuseExistingFile(const std::string& path) {
  struct stat status {};
  if (lstat(path.c_str(), &status) == 0) throw IOStreamException(EEXIST, path);
}

int openDescriptor(const std::string& path, std::uint32_t mode) {
  constexpr mode_t kReadAndWriteForAll = 0666;
  while (true) {
    const int descriptor = ::open(path.c_str(), openFlags(mode), kReadAndWriteForAll);
    if (descriptor >= 0) return descriptor;
    if (errno != EINTR) throw IOStreamException(errno, path);
  }
}

struct stat statusOf(FileHandle file) {
  struct stat status {};
  if (fstat(file.descriptor, &status) != 0) throw IOStreamException(errno, file.path);
  return status;
}

// Empties the file. An empty file is left alone: a file system takes a truncation to nothing as the
// beginning of a replacement, and then flushes all later writes when the file is closed.
void dropContent(FileHandle file) {
  if (statusOf(file).st_size != 0) setLength(file, 0);
}

}  // namespace

FileStream::FileStream(std::string path, std::uint32_t mode, Truncation truncation)
    : path_(std::move(path)), mode_(mode), truncation_(truncation) {}

FileStream::~FileStream() {
  try {
    close();
  } catch (const std::exception&) {
    // A destructor cannot report a failure; a caller that must know of it calls close first.
  }
}

void FileStream::open() {
  position_ = 0;
  if (handle_ >= 0) return;

  if ((mode_ & OpenMode::kExclusive) != 0) refuseExistingFile(path_);
  NewDescriptor descriptor(openDescriptor(path_, mode_));
  const FileHandle opened{descriptor.get(), path_};
  const struct stat status = statusOf(opened);
  if (S_ISDIR(status.st_mode)) throw IOStreamException(EISDIR, path_);
  if (!S_ISREG(status.st_mode)) throw IOStreamException(ESPIPE, path_);
  const bool truncates = (mode_ & OpenMode::kTruncate) != 0 && truncation_ == Truncation::atOpen;
  if (truncates) dropContent(opened);

  device_ = status.st_dev;
  inode_ = status.st_ino;
  hasChangedFile_ = truncates;
  handle_ = descriptor.keep();
}

void FileStream::close() {
  if (handle_ < 0) return;
  NewDescriptor descriptor(static_cast<int>(handle_));
  const FileHandle closing = file();
  handle_ = -1;
  // Whatever happens to the held bytes, the next file opened does not get them.
  WriteWindows held = std::exchange(windows_, WriteWindows());
  held.flushAll(closing);
  if (::close(descriptor.keep()) != 0) throw IOStreamException(errno, path_);
}

std::size_t FileStream::read(void* buffer, std::size_t count) {
  if (count == 0 || buffer == nullptr) return 0;
  requireOpen();
  windows_.flushAll(file());
  const std::size_t moved = readAt(file(), buffer, count, position_);
  position_ += moved;
  return moved;
}

std::size_t FileStream::write(const void* buffer, std::size_t count) {
  if (count == 0 || buffer == nullptr) return 0;
  requireOpen();
  // Refused at once, because a held byte would meet this refusal only when it is flushed.
  if (!isWritable()) fail(EBADF);
  if ((mode_ & OpenMode::kAppend) != 0) position_ = length();
  if (count > kLargestOffset - position_) fail(EFBIG);
  hasChangedFile_ = true;
  windows_.write(file(), position_, {static_cast<const std::uint8_t*>(buffer), count});
  position_ += count;
  return count;
}

void FileStream::seek(std::int64_t offset, int origin) {
  requireOpen();
  std::uint64_t base = position_;
  if (origin == SEEK_SET) base = 0;
  if (origin == SEEK_END) base = length();
  std::int64_t target = 0;
  if (__builtin_add_overflow(base, offset, &target) || target < 0) fail(EINVAL);
  position_ = static_cast<std::uint64_t>(target);
}

std::uint64_t FileStream::tell() {
  requireOpen();
  return position_;
}

void FileStream::setSize(std::uint64_t size) {
  requireOpen();
  if (size > kLargestOffset) throw IOStreamException(EINVAL, path_);
  windows_.flushAll(file());
  if (size == 0 && isWritable()) {
    dropContent(file());
  } else {
    setLength(file(), size);
  }
  hasChangedFile_ = true;
}

bool FileStream::isSameFile(const FileStream& other) const {
  requireOpen();
  other.requireOpen();
  return device_ == other.device_ && inode_ == other.inode_;
}

bool FileStream::removeIfOpenedHere() {
  struct stat status {};
  if (!hasChangedFile_ || stat(path_.c_str(), &status) != 0) return false;
  if (status.st_dev != device_ || status.st_ino != inode_) return false;
  return ::unlink(path_.c_str()) == 0;
}

bool FileStream::isWritable() const {
  return (mode_ & (OpenMode::kWriteOnly | OpenMode::kReadWrite)) != 0;
}

// Kept apart from the calls that succeed: a movie is written by millions of small ones.
void FileStream::fail(int systemError) const { throw IOStreamException(systemError, path_); }

// The length of the file including the bytes that are still held.
std::uint64_t FileStream::length() const {
  const auto onDisk = static_cast<std::uint64_t>(statusOf(file()).st_size);
  return std::max(onDisk, windows_.end());
}

}  // namespace quell::kaf
