#include "src/sample_bytes.h"

#include "kav/memory_size.h"

#include <algorithm>
#include <cstring>

namespace quarrypack {
namespace {

// Of a sample of this size, only the needed parts are read. Smaller samples are fetched completely
// with their neighbours, which are needed next.
constexpr std::uint64_t kLargeSample = 64 * 1024;

std::ptrdiff_t difference(std::uint64_t bytes) { return static_cast<std::ptrdiff_t>(bytes); }

// Moves the last count bytes of one stack to the other, which reverses their order.
template <class From, class To>
void moveTop(From& from, To& to, std::size_t count) {
  to.insert(to.end(), from.rbegin(), from.rbegin() + difference(count));
  from.resize(from.size() - count);
}

}  // namespace

void MemorySampleBytes::read(std::uint64_t position, std::span<std::uint8_t> destination) const {
  std::copy_n(bytes_.begin() + difference(position), destination.size(), destination.begin());
}

void MemorySampleBytes::insertBytes(std::uint64_t position, std::span<const std::uint8_t> bytes) {
  bytes_.insert(bytes_.begin() + difference(position), bytes.begin(), bytes.end());
}

void GrowingBytes::insert(std::size_t position, std::span<const std::uint8_t> bytes) {
  if (position < front_.size()) moveTop(front_, back_, front_.size() - position);
  if (position > front_.size()) moveTop(back_, front_, position - front_.size());
  back_.insert(back_.end(), bytes.rbegin(), bytes.rend());
}

void GrowingBytes::read(std::size_t position, std::span<std::uint8_t> destination) const {
  if (position < front_.size()) {
    const std::size_t count = std::min(destination.size(), front_.size() - position);
    std::copy_n(front_.begin() + difference(position), count, destination.begin());
    position += count;
    destination = destination.subspan(count);
    if (destination.empty()) return;
  }
  std::copy_n(back_.rbegin() + difference(position - front_.size()), destination.size(),
              destination.begin());
}

void SplicedSampleBytes::read(std::uint64_t position, std::span<std::uint8_t> destination) const {
  // Start of the piece being inspected, in the sample and in the file.
  std::uint64_t start = 0;
  std::uint64_t placeInFile = 0;
  const auto readPiece = [&](std::uint64_t length, const auto& readBytes) {
    if (position < start + length && !destination.empty()) {
      const std::size_t count =
          norvik::kav::sizeWithin(start + length - position, destination.size());
      readBytes(position - start, destination.first(count));
      position += count;
      destination = destination.subspan(count);
    }
    start += length;
  };
  const auto readFromFile = [&](std::uint64_t offset, std::span<std::uint8_t> bytes) {
    const std::uint64_t place = fileOffset_ + placeInFile + offset;
    if (sizeInFile_ < kLargeSample) {
      source_->readAt(place, bytes);
    } else {
      source_->peekAt(place, bytes);
    }
  };

  for (const Splice& splice : splices_) {
    readPiece(splice.placeInFile - placeInFile, readFromFile);
    placeInFile = splice.placeInFile;
    readPiece(splice.bytes.size(), [&](std::uint64_t offset, std::span<std::uint8_t> bytes) {
      splice.bytes.read(static_cast<std::size_t>(offset), bytes);
    });
  }
  readPiece(sizeInFile_ - placeInFile, readFromFile);
}

void SplicedSampleBytes::copyTo(std::span<std::uint8_t> destination) const {
  const std::span<std::uint8_t> fromFile = destination.last(static_cast<std::size_t>(sizeInFile_));
  if (!fromFile.empty()) source_->readAt(fileOffset_, fromFile);

  // Every part of the sample moves forward by the bytes that are still to be inserted after it.
  std::uint64_t placeInFile = 0;
  for (const Splice& splice : splices_) {
    const std::span<std::uint8_t> part =
        fromFile.subspan(static_cast<std::size_t>(placeInFile),
                         static_cast<std::size_t>(splice.placeInFile - placeInFile));
    if (!part.empty()) std::memmove(destination.data(), part.data(), part.size());
    destination = destination.subspan(part.size());
    splice.bytes.read(0, destination.first(splice.bytes.size()));
    destination = destination.subspan(splice.bytes.size());
    placeInFile = splice.placeInFile;
  }
}

void SplicedSampleBytes::insertBytes(std::uint64_t position, std::span<const std::uint8_t> bytes) {
  if (bytes.empty()) return;
  size_ += bytes.size();

  std::uint64_t inserted = 0;  // by the splices that end before position
  auto splice = splices_.begin();
  for (; splice != splices_.end(); ++splice) {
    const std::uint64_t start = splice->placeInFile + inserted;
    if (position < start) break;
    if (position <= start + splice->bytes.size()) {
      splice->bytes.insert(static_cast<std::size_t>(position - start), bytes);
      return;
    }
    inserted += splice->bytes.size();
  }
  splices_.emplace(splice, position - inserted, bytes);
}

}  // namespace quarrypack
