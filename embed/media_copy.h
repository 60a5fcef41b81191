#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "embed/offset_map.h"
#include "kav/streams.h"

namespace quarrypack::embed {

// Writes to a stream, from its position on, in large pieces of whatever is appended.
class OutputBuffer {
 public:
  explicit OutputBuffer(norvik::kav::NorvikIOStream& stream);

  void append(std::span<const std::uint8_t> bytes);

  // Writes what is left to the stream. Call it at the end: the destructor does not.
  void flush();

  std::uint64_t size() const { return size_; }  // bytes appended so far

 private:
  void write(std::span<const std::uint8_t> bytes);

  norvik::kav::NorvikIOStream& stream_;
  std::vector<std::uint8_t> bytes_;
  std::uint64_t size_ = 0;
};

// The source of the bytes that splices insert.
class SpliceContent {
 public:
  virtual ~SpliceContent() = default;

  // Appends the bytes that the splice of that index inserts, exactly as many as it states. Called
  // once for each splice, in their order.
  virtual void append(std::size_t splice, OutputBuffer& output) = 0;
};

// Copies a file of that length in bytes to a stream, from its position on, with the splices of a
// map. Calls report with the number of input bytes that are done, a few times for each MiB. Throws
// Refusal if the input ends early, and what the streams and report throw.
void copySpliced(norvik::kav::NorvikIStream& input, std::uint64_t length,
                 norvik::kav::NorvikIOStream& output, const OffsetMap& map, SpliceContent& content,
                 const std::function<void(std::uint64_t)>& report = {});

}  // namespace quarrypack::embed
