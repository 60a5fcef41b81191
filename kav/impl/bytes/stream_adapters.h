#pragma once

#include "kav/kav_base.h"
#include "kav/problem_handler.h"
#include "kav/streams.h"

#include <boost/smart_ptr/intrusive_ptr.hpp>

#include <cstddef>
#include <cstdint>

namespace norvik::kav::impl {

// The stream as the inside of the library sees it: a NorvikIStream or NorvikIOStream with exact
// reads and writes, a remembered size and the problem handler of the document being read. What a
// stream cannot do is answered quietly by the defaults here: nothing is read, nothing is written.
class NorvikKavStream : public KavBase {
 public:
  ~NorvikKavStream() override = default;

  virtual void addRef() = 0;
  virtual void release() = 0;
  virtual void open() = 0;

  // Writes count bytes at the current position and returns the number of bytes that the stream
  // took, which may be fewer.
  [[nodiscard]] virtual std::size_t write(const void* buffer, std::size_t count);

  // Writes exactly count bytes or throws ErrorCode::ioFailed.
  void writeFully(const void* buffer, std::size_t count);

  // Reads exactly count bytes or throws ErrorCode::shortRead.
  virtual void readFully(void* buffer, std::size_t count);

  // Reads up to count bytes; fewer, or none, at the end of the data.
  virtual std::size_t read(void* buffer, std::size_t count);

  virtual void seek(std::int64_t offset, int origin) = 0;
  virtual void setSize(std::uint64_t size);
  virtual std::uint64_t tell();

  // Measures the stream by a seek to its end, goes back to where it was, and remembers the answer.
  virtual std::uint64_t computeSize();

  // The answer of the last computeSize; the stream is not touched.
  virtual std::uint64_t size() const;

  virtual void close() = 0;

  // Goes to a position counted from the start. Positions come from files, so one that no stream can
  // have is a failure (ErrorCode::ioFailed) and not a seek backwards.
  void seekTo(std::uint64_t position);

  // Goes to a position as seekTo does, and writes there as writeFully does.
  virtual void writeAt(std::uint64_t position, const void* buffer, std::size_t count);

  void setProblemHandler(const ProblemHandler& handler) { problemHandler_ = handler; }
  const ProblemHandler& problemHandler() const { return problemHandler_; }

 private:
  std::uint64_t size_ = 0;
  ProblemHandler problemHandler_;
};

// Reads through a NorvikIStream, of which it holds one share. It keeps no position of its own:
// other holders of the stream may move it between two calls.
class NorvikKavIStream : public NorvikKavStream {
 public:
  explicit NorvikKavIStream(boost::intrusive_ptr<NorvikIStream> stream);

  // These two count the holders of the wrapped stream; the adapter itself belongs to its maker.
  void addRef() override;
  void release() override;

  void open() override;
  std::size_t read(void* buffer, std::size_t count) override;
  void seek(std::int64_t offset, int origin) override;
  std::uint64_t tell() override;
  void close() override;

 private:
  boost::intrusive_ptr<NorvikIStream> stream_;
};

// Reads and writes through a NorvikIOStream.
class NorvikKavIOStream final : public NorvikKavIStream {
 public:
  explicit NorvikKavIOStream(const boost::intrusive_ptr<NorvikIOStream>& stream);

  [[nodiscard]] std::size_t write(const void* buffer, std::size_t count) override;
  void setSize(std::uint64_t size) override;

  // The way of every sample and of every table entry: two calls of the wrapped stream, directly.
  void writeAt(std::uint64_t position, const void* buffer, std::size_t count) override;

 private:
  // A view: the base holds the share.
  NorvikIOStream* output_;
};

}  // namespace norvik::kav::impl
