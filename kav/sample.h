#pragma once

#include <cstdint>

#include "kav/sample_info.h"

namespace norvik::kav {

class SampleDescription;
struct Track;

// One sample of a movie, without its bytes: a plain value. Its pointers live as long as the movie
// that it was read from.
struct Sample {
  NorvikKavSampleInfo info;            // size, times, track id, flags
  std::uint64_t fileOffset = 0;        // of its first byte; 0 for a gap
  std::uint32_t count = 1;             // a record is one sample
  std::uint32_t fragmentSequence = 0;  // sequence number of its moof; 0 outside fragments
  const SampleDescription* description = nullptr;  // null for a gap, and for an index out of range
  const Track* track = nullptr;                    // never null in a sample of a movie
  std::uint64_t context = 0;                       // the value of SampleOptions
  std::uint32_t descriptionIndex = 0;              // 1-based; 0 where description is null

  // What the sample depends on and what depends on it, in the form of an sdtp byte. In a fragmented
  // movie info.flags does not contain it; to write it, set bits 8 to 15 of the flags to it.
  std::uint8_t dependencies = 0;

  bool isOfFragment = false;  // separates a fragmentSequence of 0 from that of a moof numbered 0

  // An empty edit: nothing is shown, and there are no bytes.
  bool isGap() const { return info.flags == kSampleIsGap; }

  // Decodable by itself. Outside fragments no sample of a track without a sync table has the flag,
  // although the format makes all of them sync samples: see Track::hasSyncTable.
  bool isSync() const { return (info.flags & kSampleIsSync) != 0 && !isGap(); }

  // When the sample is shown, in units of info.timescale. The offset is read as a signed number, so
  // the time may be negative.
  std::int64_t presentationTime() const {
    return static_cast<std::int64_t>(info.decodingTime) +
           static_cast<std::int32_t>(info.compositionOffset);
  }
};
static_assert(sizeof(void*) != 8 || sizeof(Sample) == 80);

}  // namespace norvik::kav
