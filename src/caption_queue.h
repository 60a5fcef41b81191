#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "src/caption_sei.h"
#include "src/sample_groups.h"

namespace quarrypack {

// The captions that have not met their sample yet. A caption waits until a group of samples reaches
// its time, which for one that lies far ahead may be many groups, or never; so captions are looked
// up by their time, and each is only touched again when it is due.
class CaptionQueue {
 public:
  void push(std::unique_ptr<CaptionSample> caption);

  // Attaches every caption that is due within the group, in the order in which they were read.
  // Returns how many these were.
  std::size_t attachDue(SortedGroup& group);

 private:
  struct Waiting {
    std::uint64_t time = 0;      // presentation time, units of the caption's timescale
    std::uint64_t sequence = 0;  // place in the reading order
    std::unique_ptr<CaptionSample> caption;
  };

  // For each caption timescale a heap with the earliest time on top.
  std::map<std::uint32_t, std::vector<Waiting>> waiting_;
  std::uint64_t pushed_ = 0;
};

}  // namespace quarrypack
