#include "kav/impl/reading/edit_segments.h"

#include "kav/wrapping.h"

#include <algorithm>

namespace norvik::kav::impl {
namespace {

constexpr std::uint32_t kFirstNegativeOffset = 0x80000000;

std::uint64_t usableOffset(std::uint32_t compositionOffset) {
  return compositionOffset < kFirstNegativeOffset ? compositionOffset : 0;
}

// Adds to the end of the last media segment what was subtracted from its media time.
void keepLastEnd(const ElstBox& edits, std::vector<EditSegment>& segments) {
  for (std::size_t i = segments.size(); i > 0; --i) {
    EditSegment& segment = segments[i - 1];
    if (segment.isEmpty()) continue;
    segment.endDelay =
        static_cast<std::uint64_t>(edits.edits()[i - 1].mediaTime) - segment.mediaTime;
    return;
  }
}

}  // namespace

std::vector<EditSegment> makeEditSegments(const ElstBox& edits,
                                          std::uint32_t firstCompositionOffset) {
  const std::uint64_t offset = usableOffset(firstCompositionOffset);
  std::vector<EditSegment> segments;
  segments.reserve(edits.edits().size());
  std::uint64_t start = 0;
  for (const EditRecord& edit : edits.edits()) {
    const auto mediaTime = static_cast<std::uint64_t>(edit.mediaTime);
    EditSegment segment{edit.segmentDuration, mediaTime, start};
    if (!segment.isEmpty()) segment.mediaTime = mediaTime - std::min(mediaTime, offset);
    segments.push_back(segment);
    // Durations come from the file and their sum may exceed 2^64. The walk then starts again at 0,
    // and the segments concerned select nothing.
    start = wrappingAdd(start, edit.segmentDuration);
  }
  keepLastEnd(edits, segments);
  return segments;
}

std::uint64_t editShift(const ElstBox& edits, std::uint32_t firstCompositionOffset) {
  for (const EditRecord& edit : edits.edits()) {
    const auto mediaTime = static_cast<std::uint64_t>(edit.mediaTime);
    if (mediaTime != kNoMedia) return std::min(mediaTime, usableOffset(firstCompositionOffset));
  }
  return 0;
}

bool hasShiftedMedia(const ElstBox& edits) {
  return std::any_of(edits.edits().begin(), edits.edits().end(), [](const EditRecord& edit) {
    const auto mediaTime = static_cast<std::uint64_t>(edit.mediaTime);
    return mediaTime != 0 && mediaTime != kNoMedia;
  });
}

}  // namespace norvik::kav::impl
