#pragma once

#include <string>

#include "companions/embed/options.h"
#include "embed/embedding.h"

namespace quarrypack::companions {

// Writes OUTPUT, compares it with the input and gives it its name, as the options say.
// Prints findings about caption files on standard error. Throws UsageError where paths lead to the
// same file, FileError, embed::Refusal, embed::VerificationError and std::bad_alloc; nothing is
// left of the output then.
embed::EmbedResult embedCaptions(const EmbedOptions& options);

// The line that says what was done: "2 captions, 57 pairs in 120 of 120 pictures, no pairs lost,
// verified".
std::string summaryText(const embed::EmbedResult& result, bool isVerified);

}  // namespace quarrypack::companions
