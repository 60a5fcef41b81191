#include "src/avcc.h"

#include "kav/exception.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace quarrypack {
namespace {

constexpr std::array<std::uint8_t, 4> kAvcC{'a', 'v', 'c', 'C'};
constexpr std::size_t kSizeField = 4;  // in front of the four-character code

// Takes bytes from the front of the record and refuses to go past its end.
class RecordReader {
 public:
  explicit RecordReader(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  std::span<const std::uint8_t> take(std::size_t count) {
    if (count > bytes_.size()) {
      throw norvik::kav::Exception(norvik::kav::ErrorCode::avcConfigurationOverrun);
    }
    const auto taken = bytes_.first(count);
    bytes_ = bytes_.subspan(count);
    return taken;
  }

  std::uint8_t u8() { return take(1)[0]; }

  std::vector<std::vector<std::uint8_t>> parameterSets(unsigned count) {
    std::vector<std::vector<std::uint8_t>> sets;
    for (; count > 0; --count) {
      const auto length = take(2);
      const auto set = take(length[0] * 256u + length[1]);
      sets.emplace_back(set.begin(), set.end());
    }
    return sets;
  }

 private:
  std::span<const std::uint8_t> bytes_;
};

// Where the code of the box stands, or the size of the description if there is none. A code that
// ends the description has no record, and one without room for a size in front of it is no box.
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

  RecordReader box(description.subspan(code - kSizeField));
  std::uint32_t boxSize = 0;
  for (const std::uint8_t byte : box.take(kSizeField)) boxSize = boxSize << 8 | byte;
  if (boxSize > description.size() - (code - kSizeField)) {
    throw norvik::kav::Exception(norvik::kav::ErrorCode::avcConfigurationOverrun);
  }

  // The record itself is bounded by the description: boxes that state a size too small are met in
  // real files, and their records are whole.
  box.take(kAvcC.size());
  box.u8();  // the version of the record says nothing about its layout
  AvcDecoderConfig config;
  config.profile = box.u8();
  config.profileCompatibility = box.u8();
  config.level = box.u8();
  config.nalLengthSize = static_cast<std::uint8_t>((box.u8() & 3) + 1);
  config.sequenceParameterSets = box.parameterSets(box.u8() & 31u);
  config.pictureParameterSets = box.parameterSets(box.u8());
  return config;
}

}  // namespace quarrypack
