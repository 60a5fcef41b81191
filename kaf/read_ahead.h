#pragma once

#include "kaf/file_calls.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace quell::kaf {

// Serves small reads from a piece of the file that was read in one call. The piece is small after a
// jump and doubles while reading goes on behind it, so that scattered reads stay cheap too. Large
// reads go past it, straight into the caller's memory.
//
// What it holds may be older than the file. The owner calls forget when it changes the file and
// when it has to see what others changed.
class ReadAhead {
 public:
  // Reads up to count bytes at position; fewer only at the end of the file.
  std::size_t read(FileHandle file, std::uint64_t position, void* buffer, std::size_t count);

  // Drops what is held, so that the next read sees the file as it is.
  void forget() { filled_ = 0; }

 private:
  std::size_t copyHeld(std::uint64_t position, std::uint8_t* target, std::size_t count) const;
  void fill(FileHandle file, std::uint64_t position, std::size_t wanted);

  std::unique_ptr<std::uint8_t[]> bytes_;
  std::uint64_t start_ = 0;
  std::size_t filled_ = 0;
  std::size_t pieceSize_ = 0;
};

}  // namespace quell::kaf
