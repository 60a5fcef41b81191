#include "embed/item_places.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "embed/refusal.h"

namespace quarrypack::embed {

using norvik::kav::BoxView;

namespace {

// Changes the offsets in a copy of the fields.
class Rewrite {
 public:
  Rewrite(std::span<const std::uint8_t> payload, const OffsetMap& map)
      : bytes_(payload.begin(), payload.end()), cursor_(map) {}

  std::vector<std::uint8_t> fields() {
    version_ = static_cast<unsigned>(take(1));
    take(3);
    const auto widths = static_cast<std::size_t>(take(2));
    offsetWidth_ = widths >> 12;
    lengthWidth_ = widths >> 8 & 0xF;
    baseWidth_ = widths >> 4 & 0xF;
    indexWidth_ = version_ == 0 ? 0 : widths & 0xF;
    if (version_ > 2) refuse("is of an unknown version");
    const std::uint64_t count = take(version_ < 2 ? 2 : 4);
    for (std::uint64_t i = 0; i < count; ++i) takeItem();
    return std::move(bytes_);
  }

 private:
  [[noreturn]] static void refuse(const char* what) {
    throw Refusal(std::string("the box 'iloc', of items such as still pictures, ") + what +
                  ". Make a copy of the movie without these items first");
  }

  std::uint64_t take(std::size_t width) {
    if (width > 8 || width > bytes_.size() - position_) refuse("is cut short");
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < width; ++i) value = value << 8 | bytes_[position_++];
    return value;
  }

  // Changes the field that was taken last.
  void put(std::size_t width, std::uint64_t value) {
    for (std::size_t i = 0; i < width; ++i) {
      bytes_[position_ - 1 - i] = static_cast<std::uint8_t>(value >> 8 * i);
    }
    if (width < 8 && value >> 8 * width != 0) refuse("has an offset that outgrows its field");
  }

  void takeItem() {
    constexpr std::uint64_t kMethods = 0xF;
    take(version_ < 2 ? 2 : 4);  // id
    const std::uint64_t method = version_ == 0 ? 0 : take(2) & kMethods;
    // Others count from a box of the meta, or from another item.
    const bool isInFile = take(2) == 0 && method == 0;
    const std::uint64_t base = take(baseWidth_);
    const std::uint64_t newBase = isInFile && baseWidth_ > 0 ? cursor_.newOffset(base) : base;
    put(baseWidth_, newBase);
    const std::uint64_t extents = take(2);
    for (std::uint64_t i = 0; i < extents; ++i) takeExtent(isInFile, base, newBase);
  }

  void takeExtent(bool isInFile, std::uint64_t base, std::uint64_t newBase) {
    take(indexWidth_);
    const std::uint64_t offset = base + take(offsetWidth_);
    if (isInFile) put(offsetWidth_, cursor_.newOffset(offset) - newBase);
    const std::uint64_t length = take(lengthWidth_);
    if (isInFile && cursor_.changes(offset, length)) refuse("names bytes that would change");
  }

  std::vector<std::uint8_t> bytes_;
  OffsetMap::Cursor cursor_;
  std::size_t position_ = 0;
  unsigned version_ = 0;
  std::size_t offsetWidth_ = 0;
  std::size_t lengthWidth_ = 0;
  std::size_t baseWidth_ = 0;
  std::size_t indexWidth_ = 0;
};

}  // namespace

void appendItemPlaces(const BoxView& iloc, const OffsetMap& map, BoxPieces& pieces) {
  const BoxPieces::Mark mark = pieces.open(iloc.type());
  pieces.add(Rewrite(iloc.payload(), map).fields());
  pieces.close(mark);
}

}  // namespace quarrypack::embed
