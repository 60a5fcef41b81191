#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "kav/impl/boxes/fragment_boxes.h"

namespace norvik::kav::impl {

class MoovBox;

// Which fragments hold which decoding times, track by track. Fragments are added in file order and
// resolved once. A look-up is then a binary search, except in a file whose fragments are not sorted
// by time.
class FragmentIndex {
 public:
  // A fragment of a movie that has been read, and its place among the boxes of the file.
  void add(MoofBox& fragment, std::size_t place, const MoovBox& movie);

  // The place of the last fragment whose part for the track covers the time; -1 if there is none.
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
    std::uint64_t nextTime = 0;  // where a part without a start time begins
  };

  void beginTracks(const MoovBox& movie);

  // Ordered, because the numbers come from the file and could be chosen to collide in a hash.
  std::map<std::uint32_t, Track> tracks_;
  bool isBegun_ = false;
};

}  // namespace norvik::kav::impl
