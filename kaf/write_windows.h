#pragma once

#include "kaf/file_calls.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace quell::kaf {

// Gathers small writes to many places of one file into few large ones. A movie is written at a
// dozen places at once: each sample adds a few bytes to every table and some to the media data. A
// window holds the newest bytes of one such place until it is full. Windows never overlap, so the
// order in which they reach the file does not matter.
//
// When a call fails, every byte held before it is still held or has been written, and the owner may
// flush again. Bytes still held at destruction are lost: call flushAll before that, and before
// anything else reads the file.
class WriteWindows {
 public:
  // Takes the bytes for the place at position. The end, position + count, must be a valid offset.
  void write(FileHandle file, std::uint64_t position, ByteRun run);

  // Writes everything that is held to the file and holds nothing afterwards.
  void flushAll(FileHandle file);

  // The position past the last byte that is held; 0 when nothing is.
  std::uint64_t end() const { return windows_.empty() ? 0 : windows_.back().end(); }

 private:
  struct Window {
    std::uint64_t start = 0;
    std::size_t filled = 0;
    std::size_t capacity = 0;
    std::unique_ptr<std::uint8_t[]> bytes;
    std::uint64_t lastUse = 0;

    // Appending up to here neither fills the window nor reaches the next one. It may be too low.
    std::uint64_t freeEnd = 0;

    std::uint64_t end() const { return start + filled; }
    ByteRun run() const { return {bytes.get(), filled}; }

    // Where it must be written to the file: it is full then.
    std::uint64_t limit() const;
    std::size_t room() const { return static_cast<std::size_t>(limit() - end()); }
    void append(ByteRun run);
  };

  // Where the window that a place continues may be found. A hint is checked before it is used: the
  // windows may have changed since.
  static constexpr std::size_t kHints = 64;
  static constexpr std::uint64_t kHintSpan = 64u << 10;
  static std::size_t hintOf(std::uint64_t position) { return position / kHintSpan % kHints; }

  bool continueHinted(std::uint64_t position, ByteRun run);
  void findFreeEnd(Window& window);
  [[gnu::noinline]] void writeAnywhere(FileHandle file, std::uint64_t position, ByteRun run);

  // The index of the first window that starts after the position.
  std::size_t firstBehind(std::uint64_t position) const;

  void flushOverlapped(FileHandle file, std::uint64_t position, std::uint64_t end);
  static ByteRun writeUpTo(FileHandle file, Window& window, ByteRun run, std::uint64_t place);
  void extend(FileHandle file, Window& window, ByteRun run);
  void openWindow(FileHandle file, std::uint64_t position, ByteRun run);
  void flushLeastRecentlyUsed(FileHandle file);
  void flushAndDrop(FileHandle file, std::size_t index);
  void drop(std::size_t index);
  bool grow(Window& window);
  void widen(Window& window);

  // Sorted by place in the file.
  std::vector<Window> windows_;

  // The capacities of all windows except the wide one.
  std::size_t memory_ = 0;
  bool hasWideWindow_ = false;
  std::uint64_t clock_ = 0;
  std::array<std::uint8_t, kHints> hints_{};  // indices of windows
};

}  // namespace quell::kaf
