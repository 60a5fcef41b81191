#pragma once

#include <cstdint>
#include <span>

#include "kav/sample_info.h"

namespace norvik::kav {

// One sample of a movie to be written.
struct SampleToWrite {
  std::uint32_t trackNumber = 0;        // as addTrack returned it
  std::uint32_t descriptionIndex = 1;   // 1-based, in the order of addSampleDescription
  std::uint64_t decodingTime = 0;       // units of the track's timescale
  std::uint32_t compositionOffset = 0;  // same units
  std::uint32_t flags = 0;              // as in NorvikKavSampleInfo; a gap carries no bytes
  std::uint32_t size = 0;               // bytes
  const void* data = nullptr;           // size bytes; read before addSample returns

  // The bytes of the sample.
  std::span<const std::uint8_t> bytes() const {
    return {static_cast<const std::uint8_t*>(data), size};
  }
};

}  // namespace norvik::kav
