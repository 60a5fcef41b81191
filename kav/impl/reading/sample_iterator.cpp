#include "kav/impl/reading/sample_iterator.h"

namespace norvik::kav::impl {

SamplePtr SampleIterator::next() {
  auto sample = std::make_unique<Sample>();
  return take(*sample) ? std::move(sample) : nullptr;
}

}  // namespace norvik::kav::impl
