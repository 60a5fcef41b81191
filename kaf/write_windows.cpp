#include "kaf/write_windows.h"

#include <algorithm>
#include <cstring>
#include <iterator>
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

// The whole pieces of a run of this size are cheaper to write at once than to copy into a window.
constexpr std::size_t kWrittenThrough = 32u << 10;

// The limit for all windows together, except the wide one.
constexpr std::size_t kMostWindows = 256;
static_assert(kMostWindows - 1 <= std::numeric_limits<std::uint8_t>::max());
constexpr std::size_t kMostMemory = 4u << 20;

// Full windows end at multiples of their size, or of this one. So no page of the file is written
// twice, and the system can hold a piece of the file as one: at other places it splits what it
// gets. It takes longer to find memory for larger pieces.
constexpr std::uint64_t kPiece = kTableCapacity;

// Without the zeros that make_unique writes: every byte is written before it is read.
std::unique_ptr<std::uint8_t[]> roomFor(std::size_t size) {
  return std::unique_ptr<std::uint8_t[]>(new std::uint8_t[size]);
}

}  // namespace

std::uint64_t WriteWindows::Window::limit() const {
  const std::uint64_t piece = std::min<std::uint64_t>(capacity, kPiece);
  return (start + capacity) / piece * piece;
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
  if (position + run.size > window.freeEnd) return false;
  window.lastUse = ++clock_;
  window.append(run);
  return true;
}

void WriteWindows::findFreeEnd(Window& window) {
  window.freeEnd = window.limit();
  const Window* next = &window + 1;
  if (next != windows_.data() + windows_.size()) {
    window.freeEnd = std::min(window.freeEnd, next->start);
  }
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

  if (continued != nullptr) {
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

// Writes the window, and the run up to a place in the file, in one call. The window goes on there.
// Returns the rest of the run.
ByteRun WriteWindows::writeUpTo(FileHandle file, Window& window, ByteRun run, std::uint64_t place) {
  const auto head = static_cast<std::size_t>(place - window.end());
  writeAt(file, window.run(), {run.data, head}, window.start);
  window.start = place;
  window.filled = 0;
  return {run.data + head, run.size - head};
}

// Appends to the window. A full window is written to the file together with the head of the run,
// and is reused for the rest of the run.
void WriteWindows::extend(FileHandle file, Window& window, ByteRun run) {
  window.lastUse = ++clock_;
  const std::uint64_t lastPiece = (window.end() + run.size) / kPiece * kPiece;
  if (run.size >= kWrittenThrough && lastPiece > window.end()) {
    run = writeUpTo(file, window, run, lastPiece);
  }
  while (run.size > window.room()) {
    if (grow(window)) continue;
    run = writeUpTo(file, window, run, window.limit());
    if (window.capacity == kTableCapacity && !hasWideWindow_) widen(window);
  }
  window.append(run);
  findFreeEnd(window);
}

void WriteWindows::openWindow(FileHandle file, std::uint64_t position, ByteRun run) {
  while (windows_.size() == kMostWindows || memory_ + kFirstCapacity > kMostMemory) {
    flushLeastRecentlyUsed(file);
  }
  Window window;
  window.start = position;
  window.capacity = kFirstCapacity;
  window.bytes = roomFor(kFirstCapacity);

  const auto place = windows_.begin() + static_cast<std::ptrdiff_t>(firstBehind(position));
  const auto opened = windows_.insert(place, std::move(window));
  memory_ += kFirstCapacity;
  if (opened != windows_.begin()) findFreeEnd(*std::prev(opened));
  extend(file, *opened, run);
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

// Doubles the window if it may become larger and would then hold more; its bytes stay.
bool WriteWindows::grow(Window& window) {
  if (window.capacity >= kTableCapacity || memory_ + window.capacity > kMostMemory) return false;
  if (window.limit() % kPiece == 0) return false;
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
