#pragma once

#include <string_view>

#include "captions/formats/scc.h"
#include "kav/streams.h"
#include "sources/caption_pairs.h"

namespace quarrypack::sources {

// The pairs of an SCC file, in the field that its commands are for. Throws SourceError for a text
// in which no word is more than padding.
CaptionPairs readSccPairs(std::string_view text, const captions::SccOptions& options = {});

// The same for an open file. Throws SourceError for more than 64 MiB, which is three days of
// captions.
CaptionPairs readSccPairs(norvik::kav::NorvikIStream& stream,
                          const captions::SccOptions& options = {});

// Whether an open file is an SCC file, by its name or its beginning.
bool isSccFile(std::string_view path, norvik::kav::NorvikIStream& stream);

}  // namespace quarrypack::sources
