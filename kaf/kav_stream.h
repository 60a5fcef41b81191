#pragma once

#include "kaf/file_stream.h"
#include "kav/streams.h"

#include <cstddef>
#include <cstdint>
#include <string>

// What joins the streams of files with those of the container library.
namespace quell::kafpkgutil {

// A file as a stream of the container library. Failures of the file become the library's
// exceptions. Created with new and held by reference count; the release of the last share destroys
// it.
class KavStream final : public norvik::kav::NorvikIOStream {
 public:
  using Truncation = kaf::FileStream::Truncation;  // see there

  // The mode is a word of kaf::OpenMode bits. The file is not touched before open.
  KavStream(std::string path, std::uint32_t mode, Truncation truncation = Truncation::atOpen);

  // The count is not atomic: all shares belong to one thread.
  void addRef() override;

  // The release of the last share destroys the stream; a failure to write what was held back is
  // then lost, so a writer closes first.
  void release() override;
  void open() override;
  void close() override;
  std::size_t read(void* buffer, std::size_t count) override;
  void seek(std::int64_t offset, int origin) override;
  std::uint64_t tell() override;
  std::size_t write(const void* buffer, std::size_t count) override;
  void setSize(std::uint64_t size) override;

  // Whether both open streams lead to the same file, by whatever names.
  bool sameFileAs(const KavStream& other) const;

  // See FileStream::removeIfOpenedHere.
  bool removeIfOpenedHere();

 private:
  ~KavStream() override = default;

  std::uint32_t references_ = 0;
  kaf::FileStream file_;
};

}  // namespace quell::kafpkgutil
