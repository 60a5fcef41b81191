#pragma once

#include <string>

#include "companions/embed/options.h"
#include "embed/embedding.h"

namespace quarrypack::companions {

// The report of a run in the requested format: the numbers, and each caption with the times at
// which decoders show it. The text is UTF-8; bytes of a path that are not UTF-8 are replaced.
std::string reportText(const EmbedOptions& options, const embed::EmbedResult& result);

}  // namespace quarrypack::companions
