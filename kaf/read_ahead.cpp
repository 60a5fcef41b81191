#include "kaf/read_ahead.h"

#include <algorithm>
#include <cstring>

namespace quell::kaf {

namespace {

constexpr std::size_t kFirstPiece = 4u << 10;
constexpr std::size_t kLargestPiece = 64u << 10;

}  // namespace

std::size_t ReadAhead::read(FileHandle file, std::uint64_t position, void* buffer,
                            std::size_t count) {
  auto* target = static_cast<std::uint8_t*>(buffer);
  std::size_t done = copyHeld(position, target, count);
  while (done < count) {
    const std::size_t missing = count - done;
    if (missing >= kLargestPiece) {
      return done + readAt(file, target + done, missing, position + done);
    }
    fill(file, position + done, missing);
    if (filled_ == 0) break;
    done += copyHeld(position + done, target + done, missing);
  }
  return done;
}

// Copies what is held of the bytes at position and returns their number.
std::size_t ReadAhead::copyHeld(std::uint64_t position, std::uint8_t* target,
                                std::size_t count) const {
  if (position < start_ || position - start_ >= filled_) return 0;
  const auto skipped = static_cast<std::size_t>(position - start_);
  const std::size_t copied = std::min(count, filled_ - skipped);
  std::memcpy(target, bytes_.get() + skipped, copied);
  return copied;
}

void ReadAhead::fill(FileHandle file, std::uint64_t position, std::size_t wanted) {
  const bool goesOn = filled_ > 0 && position == start_ + filled_;
  pieceSize_ = goesOn ? std::min(2 * pieceSize_, kLargestPiece) : kFirstPiece;
  if (bytes_ == nullptr) bytes_ = std::make_unique_for_overwrite<std::uint8_t[]>(kLargestPiece);
  filled_ = 0;
  start_ = position;
  filled_ = readAt(file, bytes_.get(), std::max(pieceSize_, wanted), position);
}

}  // namespace quell::kaf
