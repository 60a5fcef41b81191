#pragma once

#include <string>

#include "kav/movie.h"
#include "kav/streams.h"
#include "src/conversion_listener.h"
#include "src/conversion_paths.h"
#include "src/pass_output.h"

namespace quarrypack {

// Converts a movie from one stream to another: copies every track except that of the captions, and
// inserts the captions into the video samples. Prints the announcement once it is known that there
// are captions and a video track for them. Returns false without them; the output then holds no
// movie. Every failure is thrown as an exception, a lack of memory as std::bad_alloc. Both streams
// are left open, and the caller must hold them.
bool convertMovie(norvik::kav::NorvikIStream& input, norvik::kav::NorvikIOStream& output,
                  const std::string& announcement);

// Runs a conversion whose output is not written: the same pass prints nothing and reads only the
// heads of the samples that captions go into. Returns false without captions or video, and throws,
// as convertMovie does.
bool rehearseConversion(norvik::kav::Movie& movie, PassOutput& output,
                        ConversionListener& listener);

// Converts one file to another. Returns 0 after a complete conversion. Returns 1 if the input has
// no captions or no video; reports this under the program's name and removes the output. Every
// other failure is thrown as an exception, and the output stays as far as it was written. A lack of
// memory is fatal whatever the movie, and is thrown as EErrorCode::outOfMemory.
int runConversion(const std::string& programName, const ConversionPaths& paths);

}  // namespace quarrypack
