#pragma once

#include <cstddef>
#include <cstdint>

// Byte streams below the container library, and files as such streams.
namespace quell::kaf {

// A source of bytes below the container library. Failures are thrown as IOStreamException.
class IStream {
 public:
  virtual ~IStream() = default;

  // Must be called before every other operation.
  virtual void open() = 0;

  // Ends the use of the stream, which may be opened again.
  virtual void close() = 0;

  // Returns the number of bytes read, less than count only at the end of the data.
  virtual std::size_t read(void* buffer, std::size_t count) = 0;

  // Origin 0 counts from the start, 2 from the end, and every other number from the current
  // position.
  virtual void seek(std::int64_t offset, int origin) = 0;

  // The current position in bytes from the start.
  virtual std::uint64_t tell() = 0;
};

// A stream that can also be written.
class IOStream : public IStream {
 public:
  // Writes count bytes at the current position and advances past them. Returns the number of bytes
  // taken.
  virtual std::size_t write(const void* buffer, std::size_t count) = 0;

  // Sets the length in bytes; the position does not move.
  virtual void setSize(std::uint64_t size) = 0;
};

}  // namespace quell::kaf
