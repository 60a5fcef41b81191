#include "sources/child_boxes.h"

#include <array>
#include <cstdint>
#include <span>

#include "kav/big_endian.h"

namespace quarrypack::sources {

namespace kav = norvik::kav;

std::vector<kav::BoxPlace> childBoxes(kav::Movie& movie, const kav::BoxPlace& container) {
  constexpr std::uint64_t kHeader = 8;
  constexpr std::uint64_t kLargeHeader = 16;
  const std::uint64_t end = container.start + container.size;
  std::vector<kav::BoxPlace> children;
  std::array<std::uint8_t, kLargeHeader> header{};
  movie.readAt(container.start, std::span(header).first(kHeader));
  std::uint64_t at = container.start + (kav::loadU32(header.data()) == 1 ? kLargeHeader : kHeader);
  while (at + kHeader <= end) {
    movie.readAt(at, std::span(header).first(kHeader));
    std::uint64_t size = kav::loadU32(header.data());
    const kav::FourCc type = kav::loadU32(header.data() + 4);
    if (size == 1 && at + kLargeHeader <= end) {
      movie.readAt(at, header);
      size = kav::loadU64(header.data() + kHeader);
    }
    if (size == 0) size = end - at;
    if (size < kHeader || size > end - at) break;
    children.push_back({type, at, size});
    at += size;
  }
  return children;
}

}  // namespace quarrypack::sources
