#pragma once

#include "kaf/file_calls.h"
#include "kaf/read_ahead.h"
#include "kaf/streams.h"
#include "kaf/write_windows.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <string>

namespace quell::kaf {

// A regular file as a stream. Nothing else is opened, neither folder nor pipe nor device: a movie
// is read and written at many places, and opening a pipe could wait forever.
//
// Small reads are served from a buffer and small writes are gathered, so neither costs a system
// call of its own. A seek drops the buffer of the reads: what others have changed in the file until
// then is seen. Written bytes reach the file at the next read, change of size or close, or earlier;
// a failure to write them surfaces at one of these calls or at a later write. Whoever needs to know
// that all was written calls close: the destructor closes too, but cannot report.
class FileStream final : public IOStream {
 public:
  // When a mode with OpenMode::kTruncate drops the old content of the file.
  enum class Truncation {
    atOpen,

    // Not at all: the caller first makes sure, with isSameFile, that the file is not one that is
    // still needed, and then calls setSize(0).
    byCaller,
  };

  // The mode is a word of OpenMode bits. The file is not touched before open.
  FileStream(std::string path, std::uint32_t mode, Truncation truncation = Truncation::atOpen);
  ~FileStream() override;
  FileStream(const FileStream&) = delete;
  FileStream& operator=(const FileStream&) = delete;

  // On an open stream this only goes back to position 0.
  void open() override;

  // On a closed stream this does nothing. After a failure the stream is closed all the same.
  void close() override;

  // With a count of 0 or without a buffer, returns 0 and leaves the file alone.
  std::size_t read(void* buffer, std::size_t count) override;

  // Takes all count bytes, or throws. With a count of 0 or without a buffer, returns 0 and leaves
  // the file alone.
  std::size_t write(const void* buffer, std::size_t count) override;

  // Throws for a position before the start; one past the end is allowed. The next read sees the
  // file as it is then.
  void seek(std::int64_t offset, int origin) override;

  // The position in bytes from the start.
  std::uint64_t tell() override;

  // Sets the length of the file in bytes; the position does not move.
  void setSize(std::uint64_t size) override;

  // Whether both streams, which must be open, lead to the same file, by whatever names.
  bool isSameFile(const FileStream& other) const;

  // Removes the path if it still leads to the file that this stream opened and changed: a symbolic
  // link is removed itself, and the file it leads to stays. A file that was only opened is left
  // alone, and so is one that took the path meanwhile. Works on a closed stream too, and
  // without memory. Returns whether it removed the path.
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
  ReadAhead readAhead_;

  // Which file was opened, and whether this stream changed it.
  std::uint64_t device_ = 0;
  std::uint64_t inode_ = 0;
  bool hasChangedFile_ = false;
};

}  // namespace quell::kaf
