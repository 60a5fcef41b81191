#include "embed/output_layout.h"

#include <algorithm>
#include <array>
#include <limits>
#include <string>
#include <utility>

#include "embed/portable_boxes.h"
#include "embed/refusal.h"
#include "kav/big_endian.h"

namespace quarrypack::embed {

using norvik::kav::BoxView;
using norvik::kav::FourCc;
using norvik::kav::fourCc;
using norvik::kav::loadU32;
using norvik::kav::storeU32;
using norvik::kav::storeU64;
using norvik::kav::textOf;

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::uint32_t kHeader = 8;
constexpr std::uint32_t kLargeHeader = 16;
constexpr std::uint64_t kMostBytes = std::numeric_limits<std::uint32_t>::max();

// No index or fragment of a film is larger.
constexpr std::uint64_t kLargestTable = std::uint64_t{256} << 20;

FragmentChanges fragmentChanges(OutputLayout::Changes& changes) {
  return {changes.movie.pictureTrack, changes.movie.removedTracks,
          std::move(changes.fragmentDefaults)};
}

[[noreturn]] void refuseSize(FourCc type) {
  throw Refusal("the box '" + textOf(type) + "' is too large");
}

// By how many bytes splices change a length.
std::int64_t growthOf(std::span<const Splice> splices) {
  std::int64_t growth = 0;
  for (const Splice& splice : splices) growth += std::int64_t{splice.inserted} - splice.removed;
  return growth;
}

}  // namespace

OutputLayout::OutputLayout(std::vector<TopLevelBox> boxes, const BoxView& moov, ReadInput read,
                           Changes changes, MediaContent& content)
    : boxes_(std::move(boxes)),
      read_(std::move(read)),
      content_(content),
      movieEditor_(moov, changes.movie),
      fragmentEditor_(fragmentChanges(changes)) {
  auto next = changes.media.begin();
  for (std::size_t i = 0; i < boxes_.size(); ++i) {
    const auto first = next;
    while (next != changes.media.end() && next->offset < boxes_[i].end()) ++next;
    addBox(i, {first, next});
  }
  if (next != changes.media.end()) refuseMeeting(*next);
  // Whether fragments lost tracks is known only now.
  for (std::size_t i = 0; i < boxes_.size(); ++i) {
    if (boxes_[i].type == fourCc("mfra")) {
      losesFragments_
          ? boxSplices_.push_back({{boxes_[i].start, 0, static_cast<std::uint32_t>(boxes_[i].size)},
                                   Kind::removed,
                                   i})
          : addRewritten(i, Kind::randomAccess);
    }
  }
  std::stable_sort(
      boxSplices_.begin(), boxSplices_.end(),
      [](const BoxSplice& a, const BoxSplice& b) { return a.splice.offset < b.splice.offset; });
  addFront();
  mergeSplices(std::move(changes.media));
  settle();
}

void OutputLayout::refuseMeeting(const Splice& splice) const {
  throw Refusal("samples overlap each other, or the film's own tables, at byte " +
                std::to_string(splice.offset) + ". Make a plain copy of the movie first");
}

void OutputLayout::addBox(std::size_t index, std::span<const Splice> inside) {
  const TopLevelBox& box = boxes_[index];
  switch (box.type) {
    case fourCc("ftyp"):
    case fourCc("moov"):
    // A hint about which bytes of a segment belong to which layer. It would be wrong now.
    case fourCc("ssix"):
      if (box.size > kMostBytes) refuseSize(box.type);
      boxSplices_.push_back(
          {{box.start, 0, static_cast<std::uint32_t>(box.size)}, Kind::removed, index});
      break;
    case fourCc("moof"):
      addRewritten(index, Kind::fragment);
      break;
    case fourCc("sidx"):
      addRewritten(index, Kind::segmentIndex);
      break;
    case fourCc("meta"):
      addRewritten(index, Kind::metadata);
      break;
    case fourCc("mfra"):
      if (box.size > kLargestTable) refuseSize(box.type);
      break;
    default:
      return addHeader(index, inside);
  }
  if (!inside.empty()) refuseMeeting(inside.front());
}

void OutputLayout::addHeader(std::size_t index, std::span<const Splice> inside) {
  const TopLevelBox& box = boxes_[index];
  constexpr std::uint32_t kRunsToEnd = 0;
  constexpr std::uint32_t kLargeSize = 1;
  const std::int64_t growth = growthOf(inside);
  // Most boxes of a film with fragments need not be read.
  const bool isLast = index + 1 == boxes_.size();
  if (growth == 0 && inside.empty() && !isLast) return;
  if (!inside.empty() && box.type != fourCc("mdat")) {
    throw Refusal("samples that would change lie in the box '" + textOf(box.type) + "' at byte " +
                  std::to_string(box.start) +
                  ", which is not for media. Make a plain copy of the movie first");
  }
  std::array<std::uint8_t, kHeader> header{};
  if (box.size < kHeader) return;
  read_(box.start, header);
  const std::uint32_t shortSize = loadU32(header.data());
  const std::uint32_t length = shortSize == kLargeSize ? kLargeHeader : kHeader;
  if (!inside.empty() && inside.front().offset < box.start + length) refuseMeeting(inside.front());
  if (growth == 0 && shortSize != kRunsToEnd) return;

  const std::uint64_t size = box.size + static_cast<std::uint64_t>(growth);
  const std::uint32_t newLength =
      length == kLargeHeader || size > kMostBytes ? kLargeHeader : kHeader;
  boxSplices_.push_back({{box.start, newLength, length}, Kind::header, index, length});
}

std::vector<std::uint8_t> OutputLayout::readBox(const TopLevelBox& box) const {
  if (box.size > kLargestTable) refuseSize(box.type);
  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(box.size));
  read_(box.start, bytes);
  return bytes;
}

BoxPieces OutputLayout::rewritten(const BoxSplice& box, const OffsetMap& map) {
  const TopLevelBox& place = boxes_[box.box];
  boxBytes_ = readBox(place);
  const std::optional<BoxView> view = BoxView::at(boxBytes_);
  if (!view)
    throw Refusal("the box '" + textOf(place.type) + "' is cut short. The file is damaged");
  switch (box.kind) {
    case Kind::fragment:
      losesFragments_ = losesFragments_ || fragmentEditor_.losesTracks(*view);
      return fragmentEditor_.fragment(*view, place.start, map);
    case Kind::segmentIndex:
      return fragmentEditor_.segmentIndex(*view, place.start, map);
    case Kind::metadata: {
      BoxPieces pieces;
      appendMovedMetadata(*view, map, pieces);
      return pieces;
    }
    default:
      return fragmentEditor_.randomAccess(*view, map);
  }
}

void OutputLayout::addRewritten(std::size_t index, Kind kind) {
  const TopLevelBox& box = boxes_[index];
  BoxSplice splice{{box.start, 0, 0}, kind, index};
  // Its length does not depend on the map.
  const BoxPieces pieces = rewritten(splice, OffsetMap());
  if (pieces.size() > kMostBytes) refuseSize(box.type);
  splice.splice.inserted = static_cast<std::uint32_t>(pieces.size());
  splice.splice.removed = static_cast<std::uint32_t>(box.size);
  boxSplices_.push_back(splice);
}

void OutputLayout::addFront() {
  const auto isType = [this](FourCc type) {
    return std::find_if(boxes_.begin(), boxes_.end(),
                        [type](const TopLevelBox& box) { return box.type == type; });
  };
  const auto ftyp = isType(fourCc("ftyp"));
  const std::vector<std::uint8_t> old =
      ftyp == boxes_.end() ? std::vector<std::uint8_t>() : readBox(*ftyp);
  fileType_ = portableFileType(old, {.negativeOffsets = movieEditor_.hasNegativeOffsets(),
                                     .fragments = movieEditor_.hasFragments()});
  if (!boxSplices_.empty() && boxSplices_.front().splice.offset == 0) {
    BoxSplice& first = boxSplices_.front();
    if (first.kind == Kind::removed || first.kind == Kind::header) {
      first.kind = Kind::front;
      return;
    }
    throw Refusal("the file begins with a fragment. The file is damaged");
  }
  boxSplices_.insert(boxSplices_.begin(), {{0, 0, 0}, Kind::front, 0});
}

void OutputLayout::mergeSplices(std::vector<Splice> media) {
  std::vector<Splice> all;
  all.reserve(media.size() + boxSplices_.size());
  for (const BoxSplice& box : boxSplices_) all.push_back(box.splice);
  const auto middle = static_cast<std::ptrdiff_t>(all.size());
  all.insert(all.end(), media.begin(), media.end());
  std::inplace_merge(all.begin(), all.begin() + middle, all.end(),
                     [](const Splice& a, const Splice& b) { return a.offset < b.offset; });
  if (const std::optional<Splice> conflict = OffsetMap::findConflict(all)) refuseMeeting(*conflict);
  map_ = OffsetMap(std::move(all));
}

void OutputLayout::settle() {
  const std::uint32_t header = boxSplices_.front().splice.inserted;
  for (std::uint64_t size = 0;;) {
    movie_ = movieEditor_.build(map_);
    if (movie_.size() == size) break;
    size = movie_.size();
    const std::uint64_t front = fileType_.size() + size + header;
    if (front > kMostBytes) throw Refusal("the tables of the output would be larger than 4 GiB");
    map_.setInserted(0, static_cast<std::uint32_t>(front));
  }
  // The length of a random access index may depend on the new places of the fragments. It comes
  // last, so that only what follows it moves.
  for (std::size_t i = 0; i < boxSplices_.size(); ++i) {
    BoxSplice& box = boxSplices_[i];
    if (box.kind != Kind::randomAccess) continue;
    const auto place = std::lower_bound(
        map_.splices().begin(), map_.splices().end(), box.splice.offset,
        [](const Splice& splice, std::uint64_t offset) { return splice.offset < offset; });
    const auto size = static_cast<std::uint32_t>(rewritten(box, map_).size());
    map_.setInserted(static_cast<std::size_t>(place - map_.splices().begin()), size);
  }
}

void OutputLayout::append(std::size_t splice, OutputBuffer& output) {
  const Splice& current = map_.splices()[splice];
  const bool isBox = nextBoxSplice_ < boxSplices_.size() &&
                     boxSplices_[nextBoxSplice_].splice.offset == current.offset;
  if (!isBox) return content_.append(current, output);
  const BoxSplice& box = boxSplices_[nextBoxSplice_++];
  switch (box.kind) {
    case Kind::front:
      appendFront(output);
      if (box.headerLength > 0) appendHeader(box, output);
      return;
    case Kind::removed:
      return;
    case Kind::header:
      return appendHeader(box, output);
    default:
      rewritten(box, map_).forEach([&output](Bytes part) { output.append(part); });
  }
}

void OutputLayout::appendFront(OutputBuffer& output) const {
  output.append(fileType_);
  movie_.forEach([&output](Bytes part) { output.append(part); });
}

void OutputLayout::appendHeader(const BoxSplice& box, OutputBuffer& output) {
  const TopLevelBox& place = boxes_[box.box];
  const std::uint64_t content = place.start + box.headerLength;
  // The content, from the first byte after the header to the end. What is inserted at the end of
  // the box belongs to the next box.
  const std::uint64_t length = map_.newOffset(place.end()) - map_.newOffset(content);
  const std::uint32_t newHeader = box.splice.inserted;
  std::array<std::uint8_t, kLargeHeader> header{};
  storeU32(header.data(),
           newHeader == kLargeHeader ? 1 : static_cast<std::uint32_t>(length + newHeader));
  storeU32(header.data() + 4, place.type);
  storeU64(header.data() + kHeader, length + newHeader);
  output.append(Bytes(header).first(newHeader));
}

}  // namespace quarrypack::embed
