#pragma once

#include <cstdint>

namespace quell::kaf {

// The bits of the word that tells a file stream how to open its file. Their values are those of the
// low-level file calls for which the streaming library was made, so the word keeps its meaning on
// every system; the stream translates it to the flags of the system it runs on.
struct OpenMode {
  static constexpr std::uint32_t kReadOnly = 0x0;     // without another access bit
  static constexpr std::uint32_t kWriteOnly = 0x1;    // no reading
  static constexpr std::uint32_t kReadWrite = 0x2;    // both
  static constexpr std::uint32_t kAppend = 0x8;       // every write goes to the end
  static constexpr std::uint32_t kCreate = 0x100;     // a missing file is created
  static constexpr std::uint32_t kTruncate = 0x200;   // the old content is dropped
  static constexpr std::uint32_t kExclusive = 0x400;  // an existing file is refused
  static constexpr std::uint32_t kText = 0x4000;      // no effect
  static constexpr std::uint32_t kBinary = 0x8000;    // no effect
};

}  // namespace quell::kaf
