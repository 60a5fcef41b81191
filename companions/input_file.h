#pragma once

#include <functional>
#include <string>

#include "kav/movie.h"

namespace quarrypack::companions {

// Opens a file and passes its stream to read. Throws sources::SourceError, which names the file,
// for any failure of opening or reading it.
void readInputFile(const std::string& path,
                   const std::function<void(const norvik::kav::IStreamPtr& stream)>& read);

}  // namespace quarrypack::companions
