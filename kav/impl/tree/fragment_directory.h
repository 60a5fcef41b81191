#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "kav/impl/boxes/fragment_boxes.h"

namespace norvik::kav::impl {

class MoovBox;

// Which fragments of a file hold samples of which track, and of which decoding times. Fragments are
// added in the order of the file. A track meets its own fragments and no others, so that a file
// with thousands of tracks and thousands of fragments is not walked by each track from end to end.
class FragmentDirectory {
 public:
  struct Place {
    MoofBox* fragment = nullptr;
    std::size_t number = 0;  // how many fragments come before it in the file
  };

  // Takes note of the next fragment, once it has been read, and of its index among the top-level
  // boxes.
  void add(MoofBox& fragment, std::size_t boxIndex);

  // How many fragments were added.
  std::size_t count() const { return fragments_.size(); }

  // The fragment of a track at a place among those of the track; null when so many were not added.
  const Place* find(std::uint32_t trackId, std::size_t index) const;

  // The box index of the last fragment with a part for the track that covers a time; -1 without
  // one. Each fragment is worked out once, with the defaults of its movie; a look-up is then a
  // binary search, except in a file whose fragments are not in the order of their times.
  std::int32_t findTime(std::uint32_t trackId, std::uint64_t time, const MoovBox& movie);

 private:
  struct Fragment {
    MoofBox* box;
    std::size_t boxIndex;
  };
  struct Part {
    const TrafBox* box;
    std::uint64_t end;  // of its last sample
    std::int32_t boxIndex;
  };
  struct Track {
    std::vector<Place> places;
    std::vector<Part> parts;     // of the fragments whose times are known
    bool isRising = true;        // starts and ends of the parts
    std::uint64_t nextTime = 0;  // where a part begins that does not say so
  };

  void beginTracks(const MoovBox& movie);
  void addTimes(const Fragment& fragment, const MoovBox& movie);

  // Ordered, because the numbers come from the file: they could be chosen to collide in a hash.
  std::map<std::uint32_t, Track> tracks_;
  std::vector<Fragment> fragments_;
  std::size_t timed_ = 0;  // how many of them are in the parts of their tracks
};

}  // namespace norvik::kav::impl
