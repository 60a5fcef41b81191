#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "kav/impl/boxes/fragment_boxes.h"

namespace norvik::kav::impl {

class MoovBox;

// Which fragments hold which decoding times, track by track. Fragments are added in the order of
// the file and worked out once; a look-up is then a binary search, except in a file whose fragments
// do not stand in the order of their times.
class FragmentIndex {
 public:
  // A fragment of a movie that has been read, and its place among the boxes of the file.
  void add(MoofBox& fragment, std::size_t place, const MoovBox& movie);

  // The place of the last fragment with a part for the track that covers the time; -1 without one.
  std::int32_t find(std::uint32_t trackId, std::uint64_t time) const;

 private:
  struct Entry {
    const TrafBox* part;
    std::uint64_t end;  // of its last sample
    std::int32_t place;
  };
  struct Track {
    std::vector<Entry> entries;
    bool isRising = true;        // starts and ends
    std::uint64_t nextTime = 0;  // where a part begins that does not say so
  };

  void beginTracks(const MoovBox& movie);

  // Ordered, because the numbers come from the file: they could be chosen to collide in a hash.
  std::map<std::uint32_t, Track> tracks_;
  bool isBegun_ = false;
};

}  // namespace norvik::kav::impl
