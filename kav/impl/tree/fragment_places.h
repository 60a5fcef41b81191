#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "kav/impl/boxes/fragment_boxes.h"

namespace norvik::kav::impl {

// Which fragments hold samples of which track. A fragment is noted once, when it has been read; a
// track then meets its own fragments and no others, so that a file with thousands of tracks and
// thousands of fragments is not walked by each track from end to end.
class FragmentPlaces {
 public:
  struct Place {
    MoofBox* fragment = nullptr;
    std::size_t number = 0;  // how many fragments stand in front of it in the file
  };

  // Takes note of the next fragment of the file.
  void add(MoofBox& fragment);

  // The fragment of a track at a place among those of the track; null when so many were not added.
  const Place* find(std::uint32_t trackId, std::size_t index) const;

  // How many fragments were added.
  std::size_t count() const { return count_; }

 private:
  // Ordered, because the numbers come from the file: they could be chosen to collide in a hash.
  std::map<std::uint32_t, std::vector<Place>> byTrack_;
  std::size_t count_ = 0;
};

}  // namespace norvik::kav::impl
