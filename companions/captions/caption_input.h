#pragma once

#include "companions/captions/options.h"
#include "sources/caption_pairs.h"

namespace quarrypack::companions {

// Reads the pairs of a movie or an SCC file. Throws sources::SourceError for a file that is
// neither, is damaged, or does not have the requested source; UsageError for an SCC file if a
// source of movies was requested.
sources::CaptionPairs readCaptionInput(const CaptionOptions& options);

}  // namespace quarrypack::companions
