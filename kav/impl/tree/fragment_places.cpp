#include "kav/impl/tree/fragment_places.h"

namespace norvik::kav::impl {

void FragmentPlaces::add(MoofBox& fragment) {
  const std::size_t number = count_++;
  for (const TrafBox* part : fragment.parts()) {
    std::vector<Place>& places = byTrack_[part->trackId()];
    // Several parts of one track are one place.
    if (places.empty() || places.back().number != number) places.push_back({&fragment, number});
  }
}

const FragmentPlaces::Place* FragmentPlaces::find(std::uint32_t trackId, std::size_t index) const {
  const auto track = byTrack_.find(trackId);
  if (track == byTrack_.end() || index >= track->second.size()) return nullptr;
  return &track->second[index];
}

}  // namespace norvik::kav::impl
