#include "tarn/stream_mode.h"

#include "kaf/open_mode.h"

namespace norvik::tarn {

using quell::kaf::OpenMode;

std::uint32_t FileStream::getStreamMode(bool forWriting, bool keepContent, bool binary) {
  std::uint32_t mode = OpenMode::kReadOnly;
  if (forWriting) mode = OpenMode::kReadWrite | OpenMode::kCreate;
  if (forWriting && !keepContent) mode |= OpenMode::kTruncate;
  return mode | (binary ? OpenMode::kBinary : OpenMode::kText);
}

}  // namespace norvik::tarn
