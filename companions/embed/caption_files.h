#pragma once

#include <array>
#include <string>
#include <vector>

#include "captions/cea608.h"
#include "companions/embed/options.h"
#include "embed/caption_plan.h"

namespace quarrypack::companions {

struct CaptionFiles {
  std::array<captions::FieldPairs, embed::kFields> fields;
  std::vector<std::string> findings;  // what is unusual, with the file's name, for people
};

// Reads the caption files of the options. Throws FileError for a file that cannot be read, or that
// has no captions.
CaptionFiles readCaptionFiles(const EmbedOptions& options);

}  // namespace quarrypack::companions
