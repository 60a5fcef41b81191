#include "kaf/write_windows.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

namespace quell::kaf {

namespace {

// A window starts small, because most places of a movie with very many tracks get only a few bytes.
// It doubles while it keeps filling.
constexpr std::size_t kFirstCapacity = 4u << 10;
constexpr std::size_t kTableCapacity = 64u << 10;

// One window at a time may become wide: in practice the first to fill, that of the media data.
constexpr std::size_t kWideCapacity = 256u << 10;

// A run of this size is cheaper to write by itself than to copy into a window.
constexpr std::size_t kWrittenThrough = 32u << 10;

// The limit for all windows together, except the wide one.
constexpr std::size_t kMostWindows = 256;
static_assert(kMostWindows - 1 <= std::numeric_limits<std::uint8_t>::max());
constexpr std::size_t kMostMemory = 4u << 20;

// Full windows end at whole pages, so that no page of the file is written twice.
constexpr std::uint64_t kPage = 4096;
static_assert(kFirstCapacity >= kPage);

// Without the zeros that make_unique writes: every byte is written before it is read.
std::unique_ptr<std::uint8_t[]> roomFor(std::size_t size) {
  return std::unique_ptr<std::uint8_t[]>(new std::uint8_t[size]);
}

}  // namespace

std::size_t WriteWindows::Window::room() const {
  const std::uint64_t limit = (start + capacity) / kPage * kPage;
  return limit > end() ? static_cast<std::size_t>(limit - end()) : 0;
}

void WriteWindows::Window::append(ByteRun run) {
  std::memcpy(bytes.get() + filled, run.data, run.size);
  filled += run.size;
}

std::size_t WriteWindows::firstBehind(std::uint64_t position) const {
  const auto behind = std::upper_bound(
      windows_.begin(), windows_.end(), position,
      [](std::uint64_t value, const Window& window) { return value < window.start; });
  return static_cast<std::size_t>(behind - windows_.begin());
}

void WriteWindows::write(FileHandle file, std::uint64_t position, ByteRun run) {
  if (!continueHinted(position, run)) writeAnywhere(file, position, run);
}

// Appends a small run to the window that the place continues, if the hint still refers to it and
// nothing must be written to the file first.
bool WriteWindows::continueHinted(std::uint64_t position, ByteRun run) {
  const std::size_t index = hints_[hintOf(position)];
  if (index >= windows_.size()) return false;
  Window& window = windows_[index];
  if (window.end() != position || run.size >= kWrittenThrough) return false;
  if (run.size > window.room()) return false;
  if (index + 1 < windows_.size() && windows_[index + 1].start < position + run.size) return false;
  window.lastUse = ++clock_;
  window.append(run);
  return true;
}

void WriteWindows::writeAnywhere(FileHandle file, std::uint64_t position, ByteRun run) {
  const std::uint64_t end = position + run.size;
  std::size_t next = firstBehind(position);
  if (next > 0 && end <= windows_[next - 1].end()) {
    // A value that is patched soon after it was written.
    Window& window = windows_[next - 1];
    std::memcpy(window.bytes.get() + (position - window.start), run.data, run.size);
    window.lastUse = ++clock_;
    return;
  }
  const bool overlapsPrevious = next > 0 && windows_[next - 1].end() > position;
  const bool overlapsNext = next < windows_.size() && windows_[next].start < end;
  if (overlapsPrevious || overlapsNext) {
    flushOverlapped(file, position, end);
    next = firstBehind(position);
  }
  Window* continued = nullptr;
  if (next > 0 && windows_[next - 1].end() == position) continued = &windows_[next - 1];

  if (run.size >= kWrittenThrough) {
    writeThrough(file, position, run, continued);
  } else if (continued != nullptr) {
    hints_[hintOf(end)] = static_cast<std::uint8_t>(continued - windows_.data());
    extend(file, *continued, run);
  } else {
    openWindow(file, position, run);
  }
}

void WriteWindows::flushAll(FileHandle file) {
  for (const Window& window : windows_) writeAt(file, window.run(), {}, window.start);
  windows_.clear();
  memory_ = 0;
  hasWideWindow_ = false;
}

void WriteWindows::flushOverlapped(FileHandle file, std::uint64_t position, std::uint64_t end) {
  std::size_t index = firstBehind(position);
  if (index > 0 && windows_[index - 1].end() > position) --index;
  while (index < windows_.size() && windows_[index].start < end) flushAndDrop(file, index);
}

// Writes a large run at once, in one call with the window that it continues.
void WriteWindows::writeThrough(FileHandle file, std::uint64_t position, ByteRun run,
                                Window* continued) {
  if (continued == nullptr) {
    writeAt(file, run, {}, position);
    return;
  }
  writeAt(file, continued->run(), run, continued->start);
  drop(static_cast<std::size_t>(continued - windows_.data()));
}

// Appends to the window. A full window is written to the file together with the head of the run,
// and is reused for the rest of the run, which is never empty.
void WriteWindows::extend(FileHandle file, Window& window, ByteRun run) {
  window.lastUse = ++clock_;
  while (run.size > window.room()) {
    if (grow(window)) continue;
    const std::size_t fitting = window.room();
    writeAt(file, window.run(), {run.data, fitting}, window.start);
    window.start = window.end() + fitting;
    window.filled = 0;
    run = {run.data + fitting, run.size - fitting};
    if (window.capacity == kTableCapacity && !hasWideWindow_) widen(window);
  }
  window.append(run);
}

void WriteWindows::openWindow(FileHandle file, std::uint64_t position, ByteRun run) {
  Window window;
  window.start = position;
  window.capacity = kFirstCapacity;
  while (window.room() < run.size) window.capacity *= 2;
  while (windows_.size() == kMostWindows || memory_ + window.capacity > kMostMemory) {
    flushLeastRecentlyUsed(file);
  }
  window.bytes = roomFor(window.capacity);
  window.lastUse = ++clock_;
  window.append(run);

  const std::size_t capacity = window.capacity;
  const auto place = windows_.begin() + static_cast<std::ptrdiff_t>(firstBehind(position));
  windows_.insert(place, std::move(window));
  memory_ += capacity;
}

void WriteWindows::flushLeastRecentlyUsed(FileHandle file) {
  const auto oldest =
      std::min_element(windows_.begin(), windows_.end(),
                       [](const Window& a, const Window& b) { return a.lastUse < b.lastUse; });
  flushAndDrop(file, static_cast<std::size_t>(oldest - windows_.begin()));
}

void WriteWindows::flushAndDrop(FileHandle file, std::size_t index) {
  writeAt(file, windows_[index].run(), {}, windows_[index].start);
  drop(index);
}

void WriteWindows::drop(std::size_t index) {
  if (windows_[index].capacity == kWideCapacity) {
    hasWideWindow_ = false;
  } else {
    memory_ -= windows_[index].capacity;
  }
  windows_.erase(windows_.begin() + static_cast<std::ptrdiff_t>(index));
}

// Doubles the window if it may become larger; its bytes stay.
bool WriteWindows::grow(Window& window) {
  if (window.capacity >= kTableCapacity || memory_ + window.capacity > kMostMemory) return false;
  auto larger = roomFor(2 * window.capacity);
  std::memcpy(larger.get(), window.bytes.get(), window.filled);
  window.bytes = std::move(larger);
  memory_ += window.capacity;
  window.capacity *= 2;
  return true;
}

// Makes an empty window the wide one.
void WriteWindows::widen(Window& window) {
  window.bytes = roomFor(kWideCapacity);
  memory_ -= window.capacity;
  window.capacity = kWideCapacity;
  hasWideWindow_ = true;
}

}  // namespace quell::kaf
