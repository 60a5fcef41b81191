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
  std::optional<captions::Channel> channel;  // that names it; none for the only one
  captions::CaptionDocument document;
};

// What is made of the pairs of a file.
struct CaptionDocuments {
  std::vector<NamedDocument> documents;  // empty where there are no captions, of that channel
  std::vector<std::string> findings;     // what the decoder met, as sentences without a full stop
};

// Decodes pairs and picks the channels that were asked for. A format of pairs takes the field of a
// channel as it is, and so has one document for both channels of a field, named by the first that
// has captions. Throws sources::SourceError for more text than any film has.
CaptionDocuments makeDocuments(sources::CaptionPairs pairs, const CaptionOptions& options);

}  // namespace quarrypack::companions
