#pragma once

#include <cstddef>
#include <cstdint>

namespace norvik::kav {

// The origin of a seek. Any other number counts from the current position.
enum SeekOrigin : int { kSeekFromStart = 0, kSeekFromCurrent = 1, kSeekFromEnd = 2 };

// A source of bytes from which the library reads a movie. Streams are reference-counted: a new
// stream starts at 0, each holder calls addRef once and release once, and the release that brings
// the count to 0 destroys the stream. Failures are thrown as Exception.
class NorvikIStream {
 public:
  virtual ~NorvikIStream() = default;

  // Takes one share.
  virtual void addRef() = 0;

  // Returns one share. This holder must not use the stream afterwards.
  virtual void release() = 0;

  // Opens the stream for use and sets its position to 0.
  virtual void open() = 0;

  // Closes the stream; on a closed stream it does nothing.
  virtual void close() = 0;

  // Reads up to count bytes at the current position and advances past them. Returns the number of
  // bytes read, which is less than count only at the end of the data.
  virtual std::size_t read(void* buffer, std::size_t count) = 0;

  // Moves the position to offset bytes from the origin (see SeekOrigin). A position past the end is
  // allowed: reading there returns 0 bytes, writing there leaves a hole that reads as zeros.
  virtual void seek(std::int64_t offset, int origin) = 0;

  // The current position in bytes from the start.
  virtual std::uint64_t tell() = 0;
};

// A stream that can also be written; written bytes can be read back.
class NorvikIOStream : public NorvikIStream {
 public:
  // Writes count bytes at the current position and advances past them. Returns the number of bytes
  // taken. An implementation may buffer bytes and report a failure later, at the latest in close.
  virtual std::size_t write(const void* buffer, std::size_t count) = 0;

  // Sets the length in bytes; a longer stream is filled with zeros. The position does not move.
  virtual void setSize(std::uint64_t size) = 0;
};

// The hook through which boost::intrusive_ptr takes a share of a stream.
inline void intrusive_ptr_add_ref(NorvikIStream* stream) { stream->addRef(); }

// The hook through which it returns the share.
inline void intrusive_ptr_release(NorvikIStream* stream) { stream->release(); }

}  // namespace norvik::kav
