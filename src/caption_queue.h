#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "src/caption_sei.h"
#include "src/sample_groups.h"

namespace quarrypack {

// The captions that have no sample yet. A caption waits until a group of samples reaches its time.
// For a time far ahead that may take many groups, or never happen. So captions are looked up by
// their time, and each is touched again only when it is due.
class CaptionQueue {
 public:
  void push(std::unique_ptr<CaptionSample> caption);

  // Attaches every caption that is due within the group, in the order of reading. Returns their
  // number.
  std::size_t attachDue(SortedGroup& group, ConversionListener& listener = consoleListener());

  // Reports every caption that still waits as dropped, in the order in which they are due within a
  // timescale, and empties the queue.
  void drop(ConversionListener& listener);

 private:
  struct Waiting {
    std::uint64_t time = 0;      // presentation time, units of the caption's timescale
    std::uint64_t sequence = 0;  // place in the reading order
    std::unique_ptr<CaptionSample> caption;
  };

  // For each caption timescale, a heap with the earliest time at the top.
  std::map<std::uint32_t, std::vector<Waiting>> waiting_;
  std::uint64_t pushed_ = 0;
};

}  // namespace quarrypack
