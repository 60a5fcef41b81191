#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "captions/time.h"

namespace quarrypack::companions {

// "1 caption", "2 captions", "0 captions".
std::string counted(std::uint64_t count, std::string_view thing);

// "00:01:02.345"; a time before 0 counts as 0.
std::string timeText(captions::Time time);

}  // namespace quarrypack::companions
