#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "kav/impl/boxes/fragment_boxes.h"

namespace norvik::kav::impl {

// Which fragments hold samples of which track. A fragment is noted once, after it has been read. A
// track then visits only its own fragments, so in a file with thousands of tracks and thousands of
// fragments no track walks all fragments.
class FragmentPlaces {
 public:
  struct Place {
    MoofBox* fragment = nullptr;
    std::size_t number = 0;  // the number of fragments before it in the file
  };

  // Notes the next fragment of the file.
  void add(MoofBox& fragment);

  // The fragment at an index among those of the track; null if fewer were added.
  const Place* find(std::uint32_t trackId, std::size_t index) const;

  // The number of fragments added.
  std::size_t count() const { return count_; }

 private:
  // Ordered, because the numbers come from the file and could be chosen to collide in a hash.
  std::map<std::uint32_t, std::vector<Place>> byTrack_;
  std::size_t count_ = 0;
};

}  // namespace norvik::kav::impl
