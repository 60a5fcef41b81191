#pragma once

#include "kaf/file_calls.h"
#include "kaf/streams.h"
#include "kaf/write_windows.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <string>

namespace quell::kaf {

// A regular file as a stream. Folders, pipes and devices are refused: a movie is read and written
// at many places, and opening a pipe could block forever.
//
// A read is a system call; a reader of small pieces keeps blocks of its own, as the library does.
// Small writes are gathered, so they cost no system call each. Written bytes reach the file at the
// next read, change of size or close, or earlier. A failure to write them surfaces at one of these
// calls or at a later write. To know that all bytes were written, call close: the destructor closes
// too, but cannot report.
class FileStream final : public IOStream {
 public:
  // When a mode with OpenMode::kTruncate drops the old content of the file.
  enum class Truncation {
    atOpen,

    // Not at all: the caller first calls isSameFile, to make sure that the file is not one that is
    // still needed, and then setSize(0).
    byCaller,
  };

  // The mode is a word of OpenMode bits. The file is not touched before open.
  FileStream(std::string path, std::uint32_t mode, Truncation truncation = Truncation::atOpen);
  ~FileStream() override;
  FileStream(const FileStream&) = delete;
  FileStream& operator=(const FileStream&) = delete;

  // On an open stream this only moves the position to 0.
  void open() override;

  // On a closed stream this does nothing. The stream is closed even after a failure.
  void close() override;

  // Returns 0 and does not touch the file if count is 0 or buffer is null.
  std::size_t read(void* buffer, std::size_t count) override;

  // Takes all count bytes, or throws. Returns 0 and does not touch the file if count is 0 or buffer
  // is null.
  std::size_t write(const void* buffer, std::size_t count) override;

  // Throws for a position before the start; a position past the end is allowed.
  void seek(std::int64_t offset, int origin) override;

  // The position in bytes from the start.
  std::uint64_t tell() override;

  // Sets the length of the file in bytes; the position does not move.
  void setSize(std::uint64_t size) override;

  // Whether both streams, which must be open, refer to the same file, even under different names.
  bool isSameFile(const FileStream& other) const;

  // Removes the path if it still refers to the file that this stream opened and changed. Of a
  // symbolic link, the link is removed and its target stays. A file that was only opened stays, and
  // so does a file that has taken over the path since. Works on a closed stream too, and allocates
  // no memory. Returns whether it removed the path.
  bool removeIfOpenedHere();

 private:
  bool isWritable() const;
  void requireOpen() const {
    if (handle_ < 0) fail(EBADF);
  }
  [[noreturn]] void fail(int systemError) const;
  FileHandle file() const { return {static_cast<int>(handle_), path_}; }
  [[gnu::noinline]] std::uint64_t length() const;

  std::string path_;
  std::uint32_t mode_;
  std::int64_t handle_ = -1;

  Truncation truncation_;
  std::uint64_t position_ = 0;
  WriteWindows windows_;

  // Which file was opened, and whether this stream changed it.
  std::uint64_t device_ = 0;
  std::uint64_t inode_ = 0;
  bool hasChangedFile_ = false;
};

}  // namespace quell::kaf
