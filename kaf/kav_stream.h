#pragma once

#include "kaf/file_stream.h"
#include "kav/streams.h"

#include <cstddef>
#include <cstdint>
#include <string>

// The connection between file streams and the streams of the container library.
namespace quell::kafpkgutil {

// A file as a stream of the container library. Failures of the file become the library's
// exceptions, as FileFailure. Created with new and reference-counted; releasing the last share
// destroys it.
class KavStream final : public norvik::kav::NorvikIOStream {
 public:
  using Truncation = kaf::FileStream::Truncation;  // see there

  // The mode is a word of kaf::OpenMode bits. The file is not touched before open.
  KavStream(std::string path, std::uint32_t mode, Truncation truncation = Truncation::atOpen);

  // The count is not atomic: all shares belong to one thread.
  void addRef() override;

  // Releasing the last share destroys the stream. A failure to write held bytes is then lost, so a
  // writer calls close first.
  void release() override;
  void open() override;
  void close() override;
  std::size_t read(void* buffer, std::size_t count) override;
  void seek(std::int64_t offset, int origin) override;
  std::uint64_t tell() override;
  std::size_t write(const void* buffer, std::size_t count) override;
  void setSize(std::uint64_t size) override;

  // Whether both open streams refer to the same file, even under different names.
  bool sameFileAs(const KavStream& other) const;

  // See FileStream::removeIfOpenedHere.
  bool removeIfOpenedHere();

 private:
  ~KavStream() override = default;

  std::uint32_t references_ = 0;
  kaf::FileStream file_;
};

}  // namespace quell::kafpkgutil
