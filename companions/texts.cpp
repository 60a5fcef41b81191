#include "companions/texts.h"

namespace quarrypack::companions {

std::string counted(std::uint64_t count, std::string_view thing) {
  return std::to_string(count) + ' ' + std::string(thing) + (count == 1 ? "" : "s");
}

}  // namespace quarrypack::companions
