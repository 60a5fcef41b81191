#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace norvik::kav::impl {

// The sizes of the samples of a track: one for all, or one each. A table does not change once it is
// made.
class SizeTable {
 public:
  SizeTable() = default;
  SizeTable(std::uint32_t sampleSize, std::uint32_t sampleCount)
      : sampleSize_(sampleSize), sampleCount_(sampleCount) {}
  explicit SizeTable(std::vector<std::uint32_t> sizes);

  // The size of all samples, or 0 if each has its own.
  std::uint32_t sampleSize() const { return sampleSize_; }
  std::span<const std::uint32_t> sizes() const { return sizes_; }

  // The total size of a number of samples from one on. The time for this does not grow with the
  // number, because a chunk may hold a whole movie. Samples that the table does not have count 0.
  std::uint64_t totalSize(std::uint32_t firstSample, std::uint32_t count) const;

 private:
  static constexpr std::size_t kStride = 256;

  // The bytes of the samples before an entry.
  std::uint64_t bytesBefore(std::uint64_t entry) const;

  std::uint32_t sampleSize_ = 0;
  std::uint32_t sampleCount_ = 0;
  std::vector<std::uint32_t> sizes_;
  std::vector<std::uint64_t> sums_;  // the bytes before every kStride-th entry
};

}  // namespace norvik::kav::impl
