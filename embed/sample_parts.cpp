#include "embed/sample_parts.h"

#include <array>
#include <cstddef>
#include <limits>
#include <span>
#include <utility>
#include <vector>

#include "embed/refusal.h"
#include "kav/big_endian.h"

namespace quarrypack::embed {

using norvik::kav::BoxView;
using norvik::kav::loadU16;
using norvik::kav::loadU32;
using norvik::kav::storeU16;
using norvik::kav::storeU32;

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kListFields = 8;  // version, flags, count
constexpr std::size_t kEntry = 6;     // distance to the sample of the entry before, count of parts
constexpr std::size_t kPartRest = 6;  // priority, whether it may be left out, coding

class Rewrite {
 public:
  Rewrite(const BoxView& subs, const SampleOffset& offsetOf, const OffsetMap& map)
      : payload_(subs.payload()), offsetOf_(offsetOf), cursor_(map) {
    if (payload_.size() < kListFields) refuse();
    oldWidth_ = payload_[0] == 0 ? 2 : 4;
  }

  // The entries with sizes of 32 bits, and whether 16 would do.
  std::vector<std::uint8_t> entries() {
    rest_ = payload_.subspan(kListFields);
    const std::uint32_t count = loadU32(payload_.data() + 4);
    for (std::uint32_t i = 0; i < count; ++i) takeEntry();
    return std::move(entries_);
  }

  Bytes rest() const { return rest_; }
  bool isChanged() const { return isChanged_; }
  bool needsWide() const { return oldWidth_ == 4 || needsWide_; }

 private:
  [[noreturn]] static void refuse() {
    throw Refusal(
        "the table 'subs' is cut short, or of samples that are not there. The file is damaged");
  }

  Bytes take(std::size_t count) {
    if (count > rest_.size()) refuse();
    const Bytes taken = rest_.first(count);
    rest_ = rest_.subspan(count);
    return taken;
  }

  void keep(Bytes bytes) { entries_.insert(entries_.end(), bytes.begin(), bytes.end()); }

  void takeEntry() {
    const Bytes entry = take(kEntry);
    keep(entry);
    number_ += loadU32(entry.data());
    const std::uint16_t parts = loadU16(entry.data() + 4);
    if (parts == 0) return;
    if (number_ == 0 || number_ > std::numeric_limits<std::uint32_t>::max()) refuse();
    const auto offset = offsetOf_(static_cast<std::uint32_t>(number_ - 1));
    if (!offset) refuse();
    std::uint64_t place = *offset;
    for (std::uint16_t i = 0; i < parts; ++i) takePart(place);
  }

  void takePart(std::uint64_t& place) {
    const Bytes field = take(oldWidth_);
    const std::uint32_t size = oldWidth_ == 2 ? loadU16(field.data()) : loadU32(field.data());
    const std::uint64_t newSize = cursor_.newLength(place, size);
    if (newSize > std::numeric_limits<std::uint32_t>::max()) {
      throw Refusal("a part of a picture would be larger than 4 GiB");
    }
    isChanged_ = isChanged_ || newSize != size;
    needsWide_ = needsWide_ || newSize > std::numeric_limits<std::uint16_t>::max();
    std::array<std::uint8_t, 4> wide{};
    storeU32(wide.data(), static_cast<std::uint32_t>(newSize));
    keep(wide);
    keep(take(kPartRest));
    place += size;
  }

  Bytes payload_;
  const SampleOffset& offsetOf_;
  OffsetMap::Cursor cursor_;
  std::size_t oldWidth_ = 2;
  Bytes rest_;
  std::vector<std::uint8_t> entries_;
  std::uint64_t number_ = 0;  // of the sample, from 1
  bool isChanged_ = false;
  bool needsWide_ = false;
};

// The same entries with sizes of 16 bits, all of which fit.
std::vector<std::uint8_t> narrowed(Bytes entries) {
  std::vector<std::uint8_t> narrow;
  narrow.reserve(entries.size());
  const auto keep = [&](std::size_t count) {
    narrow.insert(narrow.end(), entries.begin(),
                  entries.begin() + static_cast<std::ptrdiff_t>(count));
    entries = entries.subspan(count);
  };
  while (!entries.empty()) {
    const std::uint16_t parts = loadU16(entries.data() + 4);
    keep(kEntry);
    for (std::uint16_t i = 0; i < parts; ++i) {
      entries = entries.subspan(2);
      keep(2 + kPartRest);
    }
  }
  return narrow;
}

}  // namespace

void appendSampleParts(const BoxView& subs, const SampleOffset& offsetOf, PartSizes sizes,
                       const OffsetMap& map, BoxPieces& pieces) {
  Rewrite rewrite(subs, offsetOf, map);
  std::vector<std::uint8_t> entries = rewrite.entries();
  if (sizes == PartSizes::asNeeded && !rewrite.isChanged()) return pieces.keep(subs.bytes());
  const bool wide = sizes == PartSizes::wide || rewrite.needsWide();
  const Bytes payload = subs.payload();
  const std::uint8_t version = wide ? 1 : 0;
  const BoxPieces::Mark mark = pieces.open(subs.type());
  pieces.add(Bytes(&version, 1));
  pieces.keep(payload.first(kListFields).subspan(1));
  pieces.add(wide ? std::move(entries) : narrowed(entries));
  pieces.keep(rewrite.rest());
  pieces.close(mark);
}

}  // namespace quarrypack::embed
