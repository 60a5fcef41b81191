#pragma once

#include <string>
#include <vector>

#include "companions/captions/caption_documents.h"

namespace quarrypack::companions {

// The path of a document that is named by its channel: "film.CC3.srt" of "film.srt".
std::string pathOfChannel(const std::string& path, captions::Channel channel);

// Writes documents to the output that was asked for: one file for each, which appears as a whole or
// not at all, or standard output. Throws FileError, and UsageError where a file would replace the
// input.
void writeDocuments(const std::vector<NamedDocument>& documents, const CaptionOptions& options);

}  // namespace quarrypack::companions
