#include "sources/edit_list.h"

#include "kav/big_endian.h"

#include <algorithm>
#include <utility>

namespace quarrypack::sources {

using captions::kLatestTime;
using captions::Time;
using captions::timeOfCount;
using captions::timeOfUnits;
using norvik::kav::BoxView;
using norvik::kav::loadU32;
using norvik::kav::loadU64;
using norvik::kav::loadWide;

namespace {

using Bytes = std::span<const std::uint8_t>;
using Edit = EditList::Edit;

// Within these bounds sums of a few times never overflow.
constexpr Time kBound = kLatestTime / 8;

Time withinBound(Time time) { return std::clamp(time, -kBound, kBound); }

// An entry of elst, whose numbers have 4 bytes in version 0 and 8 in version 1.
struct Entry {
  Entry(const std::uint8_t* bytes, std::size_t width)
      : length(loadWide(bytes, width == 8)),
        media(width == 8 ? static_cast<std::int64_t>(loadU64(bytes + width))
                         : static_cast<std::int32_t>(loadU32(bytes + width))),
        rate(loadU32(bytes + 2 * width)) {}

  std::uint64_t length;
  std::int64_t media;  // -1: nothing is shown
  std::uint32_t rate;  // 16.16
};

}  // namespace

EditList::EditList(std::vector<Edit> edits) : edits_(std::move(edits)) {
  if (edits_.empty()) edits_.push_back({Time{0}, kOpenEnd, Time{0}, false});
}

EditList EditList::of(const BoxView& edts, std::uint32_t movieTimescale,
                      std::uint32_t mediaTimescale) {
  constexpr std::size_t kFields = 8;  // version, flags, count
  constexpr std::int64_t kNothing = -1;
  const std::optional<BoxView> elst = edts.find("elst");
  if (!elst || elst->payload().size() < kFields) return EditList();
  const Bytes payload = elst->payload();
  const std::size_t width = payload[0] == 1 ? 8 : 4;
  const std::size_t entrySize = 2 * width + 4;
  const std::size_t count =
      std::min<std::size_t>(loadU32(payload.data() + 4), (payload.size() - kFields) / entrySize);
  std::vector<Edit> edits;
  edits.reserve(count);
  std::uint64_t start = 0;  // units of the movie, so that lengths add up without rounding
  for (std::size_t i = 0; i < count; ++i) {
    const Entry entry(payload.data() + kFields + i * entrySize, width);
    Edit edit;
    edit.start = withinBound(timeOfCount(start, movieTimescale));
    start = entry.length > std::numeric_limits<std::uint64_t>::max() - start
                ? std::numeric_limits<std::uint64_t>::max()
                : start + entry.length;
    const Time end = withinBound(timeOfCount(start, movieTimescale));
    const bool isOpen = entry.length == 0 && i + 1 == count;
    edit.length = isOpen ? kOpenEnd : end - edit.start;
    if (entry.media != kNothing) {
      // No real time is so early, and the arithmetic for the most negative number would overflow.
      constexpr std::int64_t kEarliest = std::numeric_limits<std::int64_t>::min() / 2;
      edit.media = withinBound(timeOfUnits(std::max(entry.media, kEarliest), mediaTimescale));
    }
    edit.isStill = entry.rate == 0;
    edits.push_back(edit);
  }
  return EditList(std::move(edits));
}

}  // namespace quarrypack::sources
