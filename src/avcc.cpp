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

// The offset of the box's code, or the size of the description if there is none. A code at the very
// end of the description has no record; a code without room for a size before it is no box.
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

  // Only the description bounds the record: real files have boxes that state too small a size but
  // hold whole records.
  std::optional<AvcDecoderConfig> config =
      captions::parseAvcDecoderConfig(box.subspan(kSizeField + kAvcC.size()));
  if (!config) overrun();
  return config;
}

}  // namespace quarrypack
