#pragma once

#include <cstdint>

namespace norvik::tarn {

// The streaming library's file stream, as far as it is needed here: how a file is to be opened.
class FileStream {
 public:
  // A mode word of quell::kaf::OpenMode. A file for writing is created if it is missing, and can be
  // read back: finished tables of a movie are read and moved before the file is complete. Its old
  // content is dropped unless it is to be kept. For reading, keepContent changes nothing.
  static std::uint32_t getStreamMode(bool forWriting, bool keepContent, bool binary);
};

}  // namespace norvik::tarn
