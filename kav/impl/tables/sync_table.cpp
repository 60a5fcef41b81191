#include "kav/impl/tables/sync_table.h"

#include <utility>

namespace norvik::kav::impl {

SyncTable::SyncTable(std::vector<std::uint32_t> sampleNumbers)
    : sampleNumbers_(std::move(sampleNumbers)) {
  risingNumbers_.build(sampleNumbers_.size(), [this](std::size_t i) { return sampleNumbers_[i]; });
}

SyncSampleCursor SyncTable::cursorFrom(std::uint32_t sampleNumber) const {
  const std::size_t index = risingNumbers_.firstReaching(
      sampleNumbers_.size(), sampleNumber, [this](std::size_t i) { return sampleNumbers_[i]; });
  return {sampleNumbers_.data() + index, sampleNumbers_.data() + sampleNumbers_.size()};
}

}  // namespace norvik::kav::impl
