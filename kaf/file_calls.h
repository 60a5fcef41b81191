#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace quell::kaf {

// An open file as the system calls see it. The path is a view, used only in exceptions.
struct FileHandle {
  int descriptor;           // open; the caller closes it
  const std::string& path;  // must outlive the handle
};

// Reads up to count bytes at offset and continues after short transfers and interruptions. Returns
// fewer bytes only at the end of the file. Like the calls below it throws IOStreamException.
std::size_t readAt(FileHandle file, void* buffer, std::size_t count, std::uint64_t offset);

// A run of bytes that belongs to the caller.
struct ByteRun {
  const std::uint8_t* data;  // may be null when size is 0
  std::size_t size;          // bytes
};

// Writes the whole of both runs, the second directly after the first, starting at offset. Continues
// after short transfers and interruptions.
void writeAt(FileHandle file, ByteRun first, ByteRun second, std::uint64_t offset);

// Sets the length of the file.
void setLength(FileHandle file, std::uint64_t length);

}  // namespace quell::kaf
