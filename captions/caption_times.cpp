#include "captions/caption_times.h"

#include "captions/visible_codes.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace quarrypack::captions {

namespace {

// duration · index / count, without the product that could overflow. index <= count.
Time share(Time duration, std::size_t index, std::size_t count) {
  const auto whole = static_cast<std::uint64_t>(duration.count());
  const std::uint64_t part = whole / count * index + whole % count * index / count;
  return Time{static_cast<std::int64_t>(part)};
}

// Whether a sample has at least 0.95 of the time that its pairs need. The samples of films at 30
// frames a second are a thousandth too short, although each frame has its pair.
bool isLongEnough(const CaptionSpan& sample, std::size_t count) {
  if (sample.isLast && sample.duration == Time{0}) return true;
  return sample.duration / 19 >= kPairTime * static_cast<std::int64_t>(count) / 20;
}

void appendFrom(FieldPairs& field, std::span<const BytePair> pairs, Time start) {
  for (const BytePair pair : pairs) {
    field.push_back({start, pair});
    start += kPairTime;
  }
}

}  // namespace

void appendSamplePairs(FieldPairs& field, std::span<const BytePair> pairs,
                       const CaptionSpan& sample) {
  if (pairs.empty()) return;
  const auto count = static_cast<std::int64_t>(pairs.size());
  if (isLongEnough(sample, pairs.size())) {
    const bool fills = sample.duration > Time{0} && sample.duration < kPairTime * count;
    if (!fills) return appendFrom(field, pairs, sample.start);
    for (std::size_t i = 0; i < pairs.size(); ++i) {
      field.push_back({sample.start + share(sample.duration, i, pairs.size()), pairs[i]});
    }
    return;
  }
  const auto end = std::find_if(pairs.begin(), pairs.end(), isEndOfCaption);
  const auto before = end == pairs.end() ? 0 : end - pairs.begin();
  appendFrom(field, pairs, sample.start - kPairTime * before);
}

}  // namespace quarrypack::captions
