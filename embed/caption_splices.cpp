#include "embed/caption_splices.h"

#include <algorithm>
#include <iterator>
#include <numeric>
#include <string>

#include "captions/sei.h"
#include "embed/refusal.h"

namespace quarrypack::embed {

using captions::BytePair;
using captions::CcTriplet;
using captions::Field;
using captions::kBothFields;

namespace {

// Appends a splice, or adds it to the last one if both are at the same offset.
void addSplice(std::vector<Splice>& splices, const Splice& splice) {
  if (!splices.empty() && splices.back().offset == splice.offset &&
      (splices.back().removed == 0 || splice.removed == 0)) {
    splices.back().inserted += splice.inserted;
    splices.back().removed += splice.removed;
  } else {
    splices.push_back(splice);
  }
}

}  // namespace

CaptionSplices::CaptionSplices(std::span<const Picture> pictures,
                               std::span<const std::uint32_t> shown,
                               std::span<const PictureCoding> codings, const CaptionPlan& plan)
    : pictures_(pictures), shown_(shown), codings_(codings), plan_(plan) {
  for (std::size_t i = 0; i < shown_.size(); ++i) {
    const bool isEmpty = std::all_of(kBothFields.begin(), kBothFields.end(),
                                     [&](Field field) { return plan_.pairs(field, i).empty(); });
    if (!isEmpty) order_.push_back(static_cast<std::uint32_t>(i));
  }
  std::sort(order_.begin(), order_.end(), [this](std::uint32_t a, std::uint32_t b) {
    return picture(a).placeInFile() < picture(b).placeInFile();
  });
}

void CaptionSplices::cut(std::uint64_t sampleOffset, std::span<const CaptionCut> cuts) {
  for (const CaptionCut& cut : cuts) {
    cuts_.push_back({sampleOffset + cut.offset, cut.length,
                     static_cast<std::uint32_t>(cut.rest.size()), rests_.size()});
    rests_.insert(rests_.end(), cut.rest.begin(), cut.rest.end());
  }
}

std::span<const std::uint8_t> CaptionSplices::unitOf(std::size_t place) {
  triplets_.clear();
  for (const Field field : kBothFields) {
    for (const BytePair pair : plan_.pairs(field, place)) {
      triplets_.push_back({true, captions::ccTypeOf(field), pair.first, pair.second});
    }
  }
  if (triplets_.empty()) return {};
  const PictureCoding& coding = codings_[picture(place).coding];
  captions::buildCaptionUnit(unit_,
                             {.rules = coding.rules,
                              .nalLengthSize = coding.nalLengthSize,
                              .temporalId = picture(place).temporalId},
                             triplets_);
  return unit_;
}

void CaptionSplices::requireApart() const {
  std::vector<std::uint32_t> byOffset(shown_.size());
  std::iota(byOffset.begin(), byOffset.end(), 0u);
  std::sort(byOffset.begin(), byOffset.end(), [this](std::uint32_t a, std::uint32_t b) {
    return picture(a).offset < picture(b).offset;
  });
  std::uint64_t end = 0;  // of all pictures so far
  std::size_t furthest = 0;
  for (const std::uint32_t place : byOffset) {
    const Picture& current = picture(place);
    if (current.size == 0) continue;
    if (current.offset < end) {
      throw Refusal("pictures " + std::to_string(std::min<std::size_t>(furthest, place) + 1) +
                    " and " + std::to_string(std::max<std::size_t>(furthest, place) + 1) +
                    " share bytes, so that captions of one would show in both. Make a plain copy "
                    "of the movie first");
    }
    end = current.offset + current.size;
    furthest = place;
  }
}

std::vector<Splice> CaptionSplices::splices(std::vector<Splice> unused) {
  if (!order_.empty() || !cuts_.empty()) requireApart();
  std::sort(cuts_.begin(), cuts_.end(),
            [](const Cut& a, const Cut& b) { return a.offset < b.offset; });
  std::vector<Splice> splices;
  splices.reserve(order_.size() + cuts_.size() + unused.size());
  auto next = order_.begin();
  auto cut = cuts_.begin();
  auto range = unused.begin();
  constexpr std::uint64_t kNone = ~std::uint64_t{0};
  for (;;) {
    const std::uint64_t atPicture = next == order_.end() ? kNone : picture(*next).placeInFile();
    const std::uint64_t atCut = cut == cuts_.end() ? kNone : cut->offset;
    const std::uint64_t atRange = range == unused.end() ? kNone : range->offset;
    const std::uint64_t offset = std::min({atPicture, atCut, atRange});
    if (offset == kNone) break;
    if (atPicture == offset) {
      addSplice(splices, {offset, static_cast<std::uint32_t>(unitOf(*next++).size()), 0});
    } else if (atCut == offset) {
      addSplice(splices, {offset, cut->restLength, cut->length});
      ++cut;
    } else {
      addSplice(splices, *range++);
    }
  }
  return splices;
}

void CaptionSplices::append(const Splice& splice, OutputBuffer& output) {
  while (nextPicture_ < order_.size() &&
         picture(order_[nextPicture_]).placeInFile() == splice.offset) {
    output.append(unitOf(order_[nextPicture_++]));
  }
  while (nextCut_ < cuts_.size() && cuts_[nextCut_].offset == splice.offset) {
    const Cut& cut = cuts_[nextCut_++];
    output.append(std::span<const std::uint8_t>(rests_).subspan(cut.rest, cut.restLength));
  }
}

}  // namespace quarrypack::embed
