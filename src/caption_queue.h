#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <vector>

#include "src/caption_sei.h"
#include "src/sample_bytes.h"
#include "src/sample_groups.h"

namespace quarrypack {

// A caption sample whose bytes are still in the input file.
struct CaptionInFile {
  std::uint64_t fileOffset = 0;
  std::uint32_t size = 0;               // bytes
  std::uint64_t decodingTime = 0;       // units of timescale
  std::uint32_t timescale = 0;          // units per second
  std::uint32_t compositionOffset = 0;  // units of timescale
};

// The captions that have no sample yet. A caption waits until a group of samples reaches its time.
// For a time far ahead that may take many groups, or never happen. So captions are looked up by
// their time, and each is touched again only when it is due. Their bytes are read only then.
class CaptionQueue {
 public:
  // Called with a number of samples at the front of the group. They have all their captions.
  using SamplesReady = std::function<void(std::size_t count)>;

  // The input must outlive the queue.
  explicit CaptionQueue(ByteSource& input) : input_(input) {}

  void push(const CaptionInFile& caption);

  // Attaches every caption that is due within the group, in the order of reading. Returns their
  // number. Captions usually come in the order of their samples, so that most samples are ready
  // early.
  std::size_t attachDue(
      SortedGroup& group, ConversionListener& listener = consoleListener(),
      const SamplesReady& samplesReady = [](std::size_t) {});

  // Reports every caption that still waits as dropped, in the order in which they are due within a
  // timescale, and empties the queue.
  void drop(ConversionListener& listener);

 private:
  struct Waiting {
    std::uint64_t time = 0;      // presentation time, units of timescale
    std::uint64_t sequence = 0;  // place in the reading order
    std::uint64_t fileOffset = 0;
    std::uint32_t size = 0;
    std::uint32_t timescale = 0;
  };
  static_assert(sizeof(Waiting) == 32);

  // Fills due_ and firstPlaces_.
  void takeDue(SortedGroup& group);

  // The caption with its bytes, which are valid until the next call.
  CaptionSample fetch(const Waiting& waiting);

  ByteSource& input_;

  // For each caption timescale, a heap with the earliest time at the top.
  std::map<std::uint32_t, std::vector<Waiting>> waiting_;
  std::uint64_t pushed_ = 0;

  // The captions of the current group in the order of reading, and for each of them the first place
  // in the group that it or a later one goes to.
  std::vector<Waiting> due_;
  std::vector<std::uint32_t> firstPlaces_;
  std::vector<std::uint8_t> bytes_;
};

}  // namespace quarrypack
