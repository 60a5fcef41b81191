#include "kav/impl/tables/size_table.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace norvik::kav::impl {

SizeTable::SizeTable(std::vector<std::uint32_t> sizes)
    : sampleCount_(static_cast<std::uint32_t>(sizes.size())), sizes_(std::move(sizes)) {
  sums_.reserve(sizes_.size() / kStride + 1);
  std::uint64_t sum = 0;
  for (std::size_t first = 0; first < sizes_.size(); first += kStride) {
    sums_.push_back(sum);
    const std::size_t end = std::min(first + kStride, sizes_.size());
    sum = std::accumulate(sizes_.data() + first, sizes_.data() + end, sum);
  }
}

std::uint64_t SizeTable::bytesBefore(std::uint64_t entry) const {
  const auto last = static_cast<std::size_t>(std::min<std::uint64_t>(entry, sampleCount_));
  if (sampleSize_ != 0) return std::uint64_t{last} * sampleSize_;
  if (last == 0) return 0;
  const std::size_t stride = (last - 1) / kStride;
  return std::accumulate(sizes_.data() + stride * kStride, sizes_.data() + last, sums_[stride]);
}

std::uint64_t SizeTable::totalSize(std::uint32_t firstSample, std::uint32_t count) const {
  const std::uint64_t first = firstSample == 0 ? 0 : firstSample - 1;
  return bytesBefore(first + count) - bytesBefore(first);
}

}  // namespace norvik::kav::impl
