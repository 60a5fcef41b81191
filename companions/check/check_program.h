#pragma once

#include "companions/check/options.h"

namespace quarrypack::companions {

// The status if there are findings as severe as --fail-on states.
inline constexpr int kHasFindings = 3;

// Checks a file, writes the reports that the options request, and returns the exit status. Throws
// UsageError if a report would replace the file, sources::SourceError for a file that cannot be
// read, and FileError.
int checkFile(const CheckOptions& options);

}  // namespace quarrypack::companions
