#pragma once

#include <string>

#include "companions/embed/options.h"
#include "embed/embedding.h"

namespace quarrypack::companions {

// Writes the output, compares it with the input, and gives it its name, as the options state.
// Prints findings about caption files on standard error. Throws UsageError if two paths refer to
// the same file, FileError, embed::Refusal, embed::VerificationError and std::bad_alloc. The output
// is removed then.
embed::EmbedResult embedCaptions(const EmbedOptions& options);

// The line that summarizes the run: "2 captions, 57 pairs in 120 of 120 pictures, no pairs lost,
// verified".
std::string summaryText(const embed::EmbedResult& result, bool isVerified);

}  // namespace quarrypack::companions
