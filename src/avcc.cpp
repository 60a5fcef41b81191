#include "src/avcc.h"

#include "captions/byte_reader.h"
#include "kav/exception.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace quarrypack {
namespace {

constexpr std::array<std::uint8_t, 4> kAvcC{'a', 'v', 'c', 'C'};
constexpr std::size_t kSizeField = 4;  // before the four-character code

[[noreturn]] void overrun() {
  throw norvik::kav::Exception(norvik::kav::ErrorCode::avcConfigurationOverrun);
}

// Where the code of the box lies, or the size of the description if there is none. A code that ends
// the description has no record, and one without room for a size before it is no box.
std::size_t findAvcC(std::span<const std::uint8_t> description) {
  for (std::size_t i = kSizeField; i + kAvcC.size() < description.size(); ++i) {
    if (std::equal(kAvcC.begin(), kAvcC.end(),
                   description.begin() + static_cast<std::ptrdiff_t>(i))) {
      return i;
    }
  }
  return description.size();
}

}  // namespace

std::optional<AvcDecoderConfig> parseAvcDecoderConfig(std::span<const std::uint8_t> description) {
  const std::size_t code = findAvcC(description);
  if (code == description.size()) return std::nullopt;

  const auto box = description.subspan(code - kSizeField);
  const std::uint32_t boxSize = captions::ByteReader(box).u32();
  if (boxSize > box.size()) overrun();

  // The record itself is bounded by the description: boxes that state a size too small are met in
  // real files, and their records are whole.
  std::optional<AvcDecoderConfig> config =
      captions::parseAvcDecoderConfig(box.subspan(kSizeField + kAvcC.size()));
  if (!config) overrun();
  return config;
}

}  // namespace quarrypack
