#pragma once

#include <array>
#include <cstdint>

#include "kav/date_time.h"

namespace norvik::kav {

// Bits of NorvikKavTrackInfo::flags.
inline constexpr std::uint32_t kTrackHasSampleDependencies = 0x1;  // the track holds an sdtp box

// The fields of a track's headers. The reader fills them in, the writer takes them.
struct NorvikKavTrackInfo {
  std::uint32_t structSize = 72;       // the length of this record in bytes
  std::uint32_t trackId = 0;           // the track_ID of the file; from 1
  std::uint32_t tkhdFlags = 0;         // as read; a written track is enabled, and nothing else
  std::uint32_t mediaTimescale = 0;    // units per second
  NorvikKavDateTime creationTime;      // of the track
  NorvikKavDateTime modificationTime;  // of the track
  // In units of mediaTimescale. 32-bit x86 would align it to 4 bytes only.
  alignas(8) std::uint64_t duration = 0;
  float width = 0;                      // pixels
  float height = 0;                     // pixels
  float volume = 0;                     // 1 is full volume
  std::array<char, 4> language{};       // three letters and a zero byte
  std::uint32_t handlerNameLength = 0;  // bytes of the name, its closing zero included
  std::uint32_t flags = 0;              // kTrackHasSampleDependencies, or 0
};
static_assert(sizeof(NorvikKavTrackInfo) == 72);

}  // namespace norvik::kav
