#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "kav/sample_info.h"

namespace norvik::kav::impl {

class SampleDescriptor;
struct TrackRecord;

// One sample as the iterators deliver it: the public record, and what the library needs to fetch
// its bytes and to tell where it belongs. It refers to its track and description, which live as
// long as the reader.
struct Sample {
  NorvikKavSampleInfo info;
  std::uint64_t fileOffset = 0;
  std::uint32_t count = 1;                        // a record stands for one sample
  std::uint32_t fragmentSequence = 0;             // of the moof; 0 outside fragments
  bool isOfFragment = false;                      // tells 0 outside from a moof with that number
  std::uint8_t dependencies = 0;                  // as in an sdtp byte, in every form of movie
  const SampleDescriptor* description = nullptr;  // null for an empty edit
  std::uint32_t descriptionIndex = 0;             // 1-based; 0 where description is null
  const TrackRecord* track = nullptr;
  std::uint64_t context = 0;  // given by the creator of the iterator

  // Samples are made and dropped by the million, few at a time: their memory is used again.
  static void* operator new(std::size_t size);
  static void operator delete(void* memory) noexcept;
};

using SamplePtr = std::unique_ptr<Sample>;

// A stream of samples. next hands over the current sample and moves on; after the end it gives
// null.
class SampleIterator {
 public:
  virtual ~SampleIterator() = default;
  virtual bool hasNext() = 0;
  virtual SamplePtr next() = 0;
};

}  // namespace norvik::kav::impl
