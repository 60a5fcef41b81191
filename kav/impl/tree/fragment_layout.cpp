#include "kav/impl/tree/fragment_layout.h"

namespace norvik::kav::impl {
namespace {

std::uint32_t given(std::uint32_t value, std::uint32_t otherwise) {
  return value == TfhdRecord::kNotGiven ? otherwise : value;
}

// The end of the data of a part, run by run.
std::uint64_t dataEnd(const TrafBox& part, std::uint64_t base) {
  std::uint64_t position = base;
  for (const TrunBox* run : part.runs()) {
    if (run->has(TrunBox::kDataOffset)) position = offsetFrom(base, run->dataOffset());
    position = wrappingAdd(position, run->totalSize());
  }
  return position;
}

}  // namespace

void resolveFragment(MoofBox& fragment, const MvexBox& extends) {
  if (fragment.isResolved()) return;
  std::uint64_t previousEnd = fragment.start();
  for (TrafBox* part : fragment.parts()) {
    const TfhdBox* header = part->tfhd();
    if (header == nullptr) continue;
    const TrexBox* trex = extends.lookUpTrex(part->trackId());
    const TrexRecord defaults = trex == nullptr ? TrexRecord{0, 1, 0, 0, 0} : trex->record();
    const TfhdRecord& own = header->record();
    part->setDefaults({given(own.duration, defaults.duration),
                       given(own.sampleSize, defaults.sampleSize),
                       given(own.sampleFlags, defaults.sampleFlags)});

    const bool countsFromFragment =
        header->has(TfhdRecord::kBaseIsMoof) || part == fragment.parts().front();
    std::uint64_t base = countsFromFragment ? fragment.start() : previousEnd;
    if (header->has(TfhdRecord::kBaseDataOffset)) base = own.baseDataOffset;
    part->setLayout({.hasMovieDefaults = trex != nullptr,
                     .dataBase = base,
                     .descriptionIndex = given(own.descriptionIndex, defaults.descriptionIndex)});
    previousEnd = dataEnd(*part, base);
  }
  fragment.setResolved();
}

}  // namespace norvik::kav::impl
