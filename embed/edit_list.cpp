#include "embed/edit_list.h"

#include "kav/big_endian.h"

#include <algorithm>
#include <utility>

namespace quarrypack::embed {

using captions::kLatestTime;
using captions::Time;
using captions::timeOfUnits;
using norvik::kav::BoxView;
using norvik::kav::loadU32;
using norvik::kav::loadU64;

namespace {

using Bytes = std::span<const std::uint8_t>;
using Edit = EditList::Edit;

// Within these bounds sums of a few times never overflow.
constexpr Time kBound = kLatestTime / 8;

Time bounded(Time time) { return std::clamp(time, -kBound, kBound); }

std::int64_t asSigned(std::uint64_t units) {
  constexpr std::uint64_t kMost = std::numeric_limits<std::int64_t>::max();
  return static_cast<std::int64_t>(std::min(units, kMost));
}

// An entry of elst, whose numbers have 4 bytes in version 0 and 8 in version 1.
struct Entry {
  Entry(const std::uint8_t* bytes, std::size_t width)
      : length(width == 8 ? loadU64(bytes) : loadU32(bytes)),
        media(width == 8 ? static_cast<std::int64_t>(loadU64(bytes + width))
                         : static_cast<std::int32_t>(loadU32(bytes + width))),
        rate(loadU32(bytes + 2 * width)) {}

  std::uint64_t length;
  std::int64_t media;  // -1: nothing is shown
  std::uint32_t rate;  // 16.16
};

// Numbers the pictures that were not shown yet, so that those shown are passed over at once.
class Unshown {
 public:
  explicit Unshown(std::size_t count) : next_(count + 1) {
    for (std::size_t i = 0; i <= count; ++i) next_[i] = static_cast<std::uint32_t>(i);
  }

  std::size_t from(std::size_t index) {
    while (next_[index] != index) {
      next_[index] = next_[next_[index]];
      index = next_[index];
    }
    return index;
  }

  void remove(std::size_t index) { next_[index] = static_cast<std::uint32_t>(index + 1); }

 private:
  std::vector<std::uint32_t> next_;
};

}  // namespace

EditList::EditList(std::vector<Edit> edits) : edits_(std::move(edits)) {
  if (edits_.empty()) edits_.push_back({Time{0}, kOpenEnd, Time{0}, false});
  const auto shows = [](const Edit& edit) { return edit.media.has_value(); };
  const auto first = std::find_if(edits_.begin(), edits_.end(), shows);
  const auto last = std::find_if(edits_.rbegin(), edits_.rend(), shows);
  first_ = static_cast<std::size_t>(first - edits_.begin());
  last_ = static_cast<std::size_t>(edits_.rend() - last) - (last == edits_.rend() ? 0 : 1);
}

EditList EditList::of(const BoxView& trak, std::uint32_t movieTimescale,
                      std::uint32_t mediaTimescale) {
  constexpr std::size_t kFields = 8;  // version, flags, count
  constexpr std::int64_t kNothing = -1;
  const std::optional<BoxView> elst = trak.find("edts/elst");
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
    edit.start = bounded(timeOfUnits(asSigned(start), movieTimescale));
    start = entry.length > std::numeric_limits<std::uint64_t>::max() - start
                ? std::numeric_limits<std::uint64_t>::max()
                : start + entry.length;
    const Time end = bounded(timeOfUnits(asSigned(start), movieTimescale));
    const bool isOpen = entry.length == 0 && i + 1 == count;
    edit.length = isOpen ? kOpenEnd : end - edit.start;
    if (entry.media != kNothing) {
      // No real time is so early; that of the most negative number could not be worked out.
      constexpr std::int64_t kEarliest = std::numeric_limits<std::int64_t>::min() / 2;
      edit.media = bounded(timeOfUnits(std::max(entry.media, kEarliest), mediaTimescale));
    }
    edit.isStill = entry.rate == 0;
    edits.push_back(edit);
  }
  return EditList(std::move(edits));
}

Showings EditList::show(std::span<const MediaSpan> pictures) const {
  Showings showings;
  showings.pictures.reserve(pictures.size());
  Unshown unshown(pictures.size());
  for (const Edit& edit : edits_) {
    if (!edit.media) continue;
    const Time begin = *edit.media;
    const Time end = edit.isOpen() ? kOpenEnd : begin + edit.length;
    const auto first =
        std::partition_point(pictures.begin(), pictures.end(),
                             [begin](const MediaSpan& picture) { return picture.end <= begin; });
    std::size_t i = unshown.from(static_cast<std::size_t>(first - pictures.begin()));
    while (i < pictures.size() &&
           (edit.isStill ? pictures[i].start <= begin : pictures[i].start < end)) {
      const Time into = std::max(pictures[i].start - begin, Time{0});
      showings.pictures.push_back({pictures[i].sample, edit.start + into});
      const Time rest = edit.isStill ? edit.length : std::min(pictures[i].end, end) - begin;
      showings.end = edit.start + (rest == kOpenEnd ? Time{0} : rest);
      unshown.remove(i);
      i = unshown.from(i);
    }
  }
  return showings;
}

}  // namespace quarrypack::embed
