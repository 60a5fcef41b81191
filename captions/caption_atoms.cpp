#include "captions/caption_atoms.h"

#include "captions/byte_reader.h"

#include <algorithm>

namespace quarrypack::captions {

void CaptionAtoms::Iterator::advance() {
  ByteReader header(rest_);
  const std::size_t claimed = header.u32();
  const std::uint32_t type = header.u32();
  if (header.failed() || claimed < kAtomHeaderSize) {
    atEnd_ = true;
    return;
  }
  const std::size_t size = std::min(claimed, rest_.size());
  const auto pairs = rest_.first(size).subspan(kAtomHeaderSize);
  rest_ = rest_.subspan(size);
  atom_ = {type, pairs, rest_.empty() ? std::uint8_t{0} : rest_[0]};
}

}  // namespace quarrypack::captions
