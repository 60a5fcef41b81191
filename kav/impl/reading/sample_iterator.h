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

  // Hands over the next sample and moves on; null at the end. It is take, with a sample of its own.
  virtual SamplePtr next();

  // Puts the next sample into the caller's and moves on, without allocating. False at the end, with
  // the sample as it was. After an exception the content of the sample is unspecified.
  virtual bool take(Sample& sample) = 0;
};

}  // namespace norvik::kav::impl
