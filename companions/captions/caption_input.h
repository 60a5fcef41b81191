#pragma once

#include "companions/captions/options.h"
#include "sources/caption_pairs.h"

namespace quarrypack::companions {

// Reads the pairs of a movie or an SCC file. Throws sources::SourceError for a file that is
// neither, is damaged, or does not have the source that was asked for; UsageError where an SCC file
// is asked for a source of movies.
sources::CaptionPairs readCaptionInput(const CaptionOptions& options);

}  // namespace quarrypack::companions
