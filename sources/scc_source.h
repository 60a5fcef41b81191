#pragma once

#include <string_view>

#include "captions/formats/scc.h"
#include "sources/caption_pairs.h"

namespace quarrypack::sources {

// The pairs of an SCC file, in the field that its commands are for. Throws SourceError for a text
// in which no word is more than padding.
CaptionPairs readSccPairs(std::string_view text, const captions::SccOptions& options = {});

}  // namespace quarrypack::sources
