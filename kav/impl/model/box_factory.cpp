#include "kav/impl/model/box_factory.h"

#include <algorithm>
#include <utility>

namespace norvik::kav::impl {
namespace {

BoxPtr makePlain(BoxAllocator* allocator, BoxHeader&& header, NorvikKavStream& stream) {
  return makeBoxIn<Box>(allocator, std::move(header), stream);
}

}  // namespace

BoxPtr BoxFactory::createBox(NorvikKavStream& stream, BoxHeader header, BoxAllocator* allocator) {
  const auto known = std::find_if(known_.begin(), known_.end(),
                                  [&](const KnownBox& box) { return box.type == header.type; });
  const BoxMaker maker = known == known_.end() ? makePlain : known->make;
  return maker(allocator, std::move(header), stream);
}

bool BoxFactory::knows(FourCc type) const {
  return std::any_of(known_.begin(), known_.end(),
                     [type](const KnownBox& box) { return box.type == type; });
}

}  // namespace norvik::kav::impl
