#pragma once

#include <cstdint>

namespace norvik::kav {

// Bits of NorvikKavSampleInfo::flags.
inline constexpr std::uint32_t kSampleIsSync = 0x1;    // decodable by itself
inline constexpr std::uint32_t kSampleIsGap = 0x2;     // the whole value: an empty-edit sample
inline constexpr unsigned kSampleDependencyShift = 8;  // the place of the sdtp byte's lowest bit

// The properties of one sample, without its bytes.
struct NorvikKavSampleInfo {
  std::uint32_t structSize = 32;        // the length of this record in bytes
  std::uint32_t size = 0;               // bytes; 0 for an empty-edit sample
  std::uint64_t decodingTime = 0;       // units of timescale; an empty edit: its presentation time
  std::uint32_t timescale = 0;          // units per second: the track's media timescale
  std::uint32_t compositionOffset = 0;  // units of timescale, as stored
  std::uint32_t trackId = 0;            // the track_ID in the file that was read
  std::uint32_t flags = 0;              // bit 0: sync; bits 8 to 15: the sdtp byte; value 2: a gap
};
static_assert(sizeof(NorvikKavSampleInfo) == 32);

// The lowest cost of a sample, in bytes: even a sample without bytes makes the tables of a copy
// grow.
inline constexpr std::uint32_t kSmallestSampleCost = 16;

}  // namespace norvik::kav
