#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <vector>

#include "kav/sample_description.h"
#include "kav/writer.h"
#include "src/sample_groups.h"

namespace quarrypack {

// A slot is one number for the output track and sample description of a pending sample.
class SampleSlots {
 public:
  struct Slot {
    std::uint32_t trackNumber = 0;
    std::uint32_t descriptionIndex = 0;
  };

  std::uint32_t find(const Slot& slot, std::uint32_t timescale) {
    const std::uint64_t key =
        std::uint64_t{slot.trackNumber} << 32 | std::uint64_t{slot.descriptionIndex};
    const auto [found, isNew] =
        numbers_.try_emplace(key, static_cast<std::uint32_t>(slots_.size()));
    if (isNew) {
      slots_.push_back(slot);
      timescales_.push_back(timescale);
    }
    return found->second;
  }

  const Slot& operator[](std::uint32_t number) const { return slots_[number]; }
  std::span<const std::uint32_t> timescales() const { return timescales_; }

 private:
  std::map<std::uint64_t, std::uint32_t> numbers_;
  std::vector<Slot> slots_;
  std::vector<std::uint32_t> timescales_;
};

// Receives what a conversion produces: all tracks with their descriptions, then all samples. The
// calls are per group, not per sample, so that they cost nothing.
class PassOutput {
 public:
  virtual ~PassOutput() = default;

  // The configuration has the id of the input track. Returns the number of the output track.
  virtual std::uint32_t addTrack(const norvik::kav::NorvikKavTrackConfiguration& configuration) = 0;

  virtual void addSampleDescription(std::uint32_t trackNumber,
                                    const norvik::kav::SampleDescription& description) = 0;

  // Takes all samples of a group, in order of their places, with the captions that were attached.
  virtual void write(const SortedGroup& group, const SampleSlots& slots, std::size_t captions) = 0;

  virtual void finish() = 0;
};

}  // namespace quarrypack
