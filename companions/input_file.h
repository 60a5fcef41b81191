#pragma once

#include <functional>
#include <string>

#include "kav/movie.h"

namespace quarrypack::companions {

// Opens a file and passes its stream on. Whatever goes wrong with the file, there or here, is
// thrown as sources::SourceError that names it.
void readInputFile(const std::string& path,
                   const std::function<void(const norvik::kav::IStreamPtr& stream)>& read);

}  // namespace quarrypack::companions
