#pragma once

#include <span>

#include "captions/cea608.h"
#include "captions/time.h"

// When the pairs of caption samples are due. A sample has one time for a group of pairs, but by
// CEA-608 each pair takes a frame of its own.
namespace quarrypack::captions {

// When a sample of a caption track is shown.
struct CaptionSpan {
  Time start{0};
  Time duration{0};     // not negative; 0 if it is unknown
  bool isLast = false;  // of its track
};

// Appends the pairs of one field of a sample. If the sample is about as long as its pairs need, or
// longer, they follow each other from its start, evenly if they just fill it. The start of a
// shorter sample is the time at which its caption is due: its first end-of-caption comes then, and
// the other pairs before and after that. A last sample without a duration is as long as needed.
void appendSamplePairs(FieldPairs& field, std::span<const BytePair> pairs,
                       const CaptionSpan& sample);

}  // namespace quarrypack::captions
