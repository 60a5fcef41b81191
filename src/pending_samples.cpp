#include "src/pending_samples.h"

#include <utility>

namespace quarrypack {

PendingSamples::PendingSamples(std::initializer_list<PendingSample> samples) {
  for (const PendingSample& sample : samples) append(sample);
}

void PendingSamples::addBlock() {
  blocks_.push_back(spare_ == nullptr ? std::make_unique<Block>() : std::move(spare_));
}

void PendingSamples::dropFront(std::size_t count) {
  skipped_ += count;
  size_ -= count;
  const auto emptied = static_cast<std::ptrdiff_t>(skipped_ / kBlockLength);
  if (emptied == 0) return;
  spare_ = std::move(blocks_.front());
  blocks_.erase(blocks_.begin(), blocks_.begin() + emptied);
  skipped_ %= kBlockLength;
}

}  // namespace quarrypack
