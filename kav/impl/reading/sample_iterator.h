#pragma once

#include <memory>

#include "kav/sample.h"

namespace norvik::kav::impl {

using SamplePtr = std::unique_ptr<Sample>;

// A stream of samples.
class SampleIterator {
 public:
  virtual ~SampleIterator() = default;

  // Whether there is a next sample.
  virtual bool hasNext() = 0;

  // Returns the next sample and advances; null at the end. It calls take with a new sample.
  virtual SamplePtr next();

  // Copies the next sample into the caller's and advances, without allocating. At the end it
  // returns false and leaves the sample unchanged. After an exception the sample's content is
  // unspecified.
  virtual bool take(Sample& sample) = 0;
};

}  // namespace norvik::kav::impl
