#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "src/conversion_listener.h"
#include "src/sample_bytes.h"
#include "src/sample_groups.h"

namespace quarrypack {

// Bytes of the length field before every NAL unit of a video sample, for the whole process: the
// value from the avcC record of the video track, or 4 until one has been read.
extern std::uint8_t nalLengthSize;

// A unit counts its pairs in 5 bits. A caption sample of up to 56 bytes goes into one unit; of a
// longer one each unit gets at most 24 pairs of an atom.
inline constexpr std::size_t kLargestSingleCaption = 56;
inline constexpr std::size_t kLargestPiece = 48;

// One sample of the caption track: CEA-608 byte pairs in cdat (field 1) and cdt2 (field 2) atoms.
struct CaptionSample {
  std::uint64_t decodingTime = 0;       // units of timescale
  std::uint32_t timescale = 0;          // units per second
  std::uint32_t compositionOffset = 0;  // units of timescale
  std::vector<std::uint8_t> bytes;
};

// Gives a caption to the first sample of the group, in presentation order, that is shown when the
// caption is due or later. The sample may belong to any track. The caption is then destroyed and
// its handle emptied. A caption that is due after every sample of the group is left alone.
void attachCaptionSample(SortedGroup& sortedGroup, std::unique_ptr<CaptionSample>& captionSample,
                         ConversionListener& listener = consoleListener());

// Inserts the pairs of a caption sample into a video sample as A/53 caption data: in one SEI NAL
// unit or, when the caption sample is longer than 56 bytes, in one for every 24 pairs of an atom.
// Units are inserted before the first NAL unit that is neither a parameter set nor an access unit
// delimiter, so of two units the one inserted later comes first. Updates the size in the record.
// Throws norvik::kav::ErrorCode::implausibleCount for a sample that outgrows 32 bits.
void insertCaptionSei(SampleBytes& videoSampleBytes, PendingSample& videoSampleRecord,
                      std::span<const std::uint8_t> captionBytes,
                      ConversionListener& listener = consoleListener());

}  // namespace quarrypack
