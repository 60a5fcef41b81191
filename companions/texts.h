#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quarrypack::companions {

// "1 caption", "2 captions", "0 captions".
std::string counted(std::uint64_t count, std::string_view thing);

}  // namespace quarrypack::companions
