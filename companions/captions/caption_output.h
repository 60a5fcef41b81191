#pragma once

#include <string>
#include <vector>

#include "companions/captions/caption_documents.h"

namespace quarrypack::companions {

// The path of a document that is named by its channel: "film.CC3.srt" for "film.srt".
std::string pathOfChannel(const std::string& path, captions::Channel channel);

// Writes documents to the requested output: standard output, or one file for each, which appears
// completely or not at all. Throws FileError, and UsageError if a file would replace the input.
void writeDocuments(const std::vector<NamedDocument>& documents, const CaptionOptions& options);

}  // namespace quarrypack::companions
