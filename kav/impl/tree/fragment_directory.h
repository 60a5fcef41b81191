#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "kav/impl/boxes/fragment_boxes.h"

namespace norvik::kav::impl {

class MoovBox;

// Which fragments of a file hold samples of which track, and of which decoding times. Fragments are
// added in file order. A track visits only its own fragments, so in a file with thousands of tracks
// and thousands of fragments no track walks all fragments.
class FragmentDirectory {
 public:
  struct Place {
    MoofBox* fragment = nullptr;
    std::size_t number = 0;  // the number of fragments before it in the file
  };

  // Notes the next fragment after it has been read, with its index among the top-level boxes.
  void add(MoofBox& fragment, std::size_t boxIndex);

  // The number of fragments added.
  std::size_t count() const { return fragments_.size(); }

  // The fragment at an index among those of the track; null if fewer were added.
  const Place* find(std::uint32_t trackId, std::size_t index) const;

  // The box index of the last fragment whose part for the track covers a time; -1 if there is none.
  // Each fragment is resolved once, with the defaults of its movie. A look-up is then a binary
  // search, except in a file whose fragments are not sorted by time.
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
    std::uint64_t nextTime = 0;  // where a part without a start time begins
  };

  void beginTracks(const MoovBox& movie);
  void addTimes(const Fragment& fragment, const MoovBox& movie);

  // Ordered, because the numbers come from the file and could be chosen to collide in a hash.
  std::map<std::uint32_t, Track> tracks_;
  std::vector<Fragment> fragments_;
  std::size_t timed_ = 0;  // how many of them are in the parts of their tracks
};

}  // namespace norvik::kav::impl
