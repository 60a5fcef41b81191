#pragma once

#include <span>

#include "captions/cea608.h"
#include "captions/time.h"

// When the pairs of caption samples and of caption files are due. Both give a time to a group of
// pairs; by CEA-608 each pair takes a frame of its own.
namespace quarrypack::embed {

// A sample of a caption track, the pairs of one field of it.
struct CaptionSpan {
  captions::Time start{0};
  captions::Time duration{0};
  bool isLast = false;  // of its track
};

// Appends the pairs of a sample. Where the sample is about as long as its pairs need, or longer,
// they follow each other from its start, evenly if they just fill it. A shorter one can only say
// when its effect is due: its first end-of-caption comes at its start and the rest around it. A
// last sample without a duration is as long as needed.
void appendSamplePairs(captions::FieldPairs& field, std::span<const captions::BytePair> pairs,
                       const CaptionSpan& sample);

// Appends pairs that follow each other frame by frame, as in a line of an SCC file.
void appendLinePairs(captions::FieldPairs& field, std::span<const captions::BytePair> pairs,
                     captions::Time start);

}  // namespace quarrypack::embed
