#pragma once

#include <optional>
#include <string>
#include <vector>

#include "captions/formats.h"
#include "companions/captions/options.h"
#include "sources/caption_pairs.h"

namespace quarrypack::companions {

// A file to be written.
struct NamedDocument {
  std::optional<captions::Channel> channel;  // part of its name; none for the only document
  captions::CaptionDocument document;
};

// The result of decoding the pairs of a file.
struct CaptionDocuments {
  std::vector<NamedDocument> documents;  // empty without captions, or without those of the channel
  std::vector<std::string> findings;     // of the decoder, as sentences without a full stop
};

// Decodes pairs and selects the requested channels. A format of pairs stores a whole field
// unchanged. So it has one document for both channels of the field, named after the first that has
// captions. Throws sources::SourceError for more text than any film has.
CaptionDocuments makeDocuments(sources::CaptionPairs pairs, const CaptionOptions& options);

}  // namespace quarrypack::companions
