#pragma once

#include <string>

#include "kav/streams.h"
#include "src/conversion_paths.h"

namespace quarrypack {

// Converts a movie from one stream to another: copies every track but the captions' own, and sends
// the captions along inside the video samples. The announcement is printed once it is known that
// there are captions and a video track for them; without, the answer is false and what the output
// then holds is no movie. Every failure leaves as an exception: a lack of memory as std::bad_alloc.
// Both streams are left open and must be held by the caller.
bool convertMovie(norvik::kav::NorvikIStream& input, norvik::kav::NorvikIOStream& output,
                  const std::string& announcement);

// Converts one file to another. Returns 0 after a complete conversion. Returns 1 when the input has
// no captions or no video; this is then reported under the program's name, and the output is
// removed. Every other failure leaves as an exception, with the output as far as it was written. A
// lack of memory is fatal whatever the movie, and leaves as a thrown EErrorCode::outOfMemory.
int runConversion(const std::string& programName, const ConversionPaths& paths);

}  // namespace quarrypack
