#pragma once

#include <cstdint>

namespace norvik::tarn {

// The streaming library's file stream, reduced to what is needed here: how to open a file.
class FileStream {
 public:
  // A mode word of quell::kaf::OpenMode. A file for writing is created if it is missing, and can be
  // read back: finished tables of a movie are read and moved before the file is complete. Its old
  // content is dropped unless keepContent is set. For reading, keepContent has no effect.
  static std::uint32_t getStreamMode(bool forWriting, bool keepContent, bool binary);
};

}  // namespace norvik::tarn
