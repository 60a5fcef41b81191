#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "kav/impl/boxes/fragment_boxes.h"

namespace norvik::kav::impl {

// Where the runs of a track begin, as far as they were walked. The edits of a track are walked one
// after another, each from its own time on: with what an earlier walk has met, a later one begins
// at the run that it needs and not at the first of the file.
class PassedRuns {
 public:
  // The state of a walk in front of a run.
  struct Place {
    std::size_t number = 0;  // of the run, in the order of the file
    std::size_t fragmentsPassed = 0;
    std::size_t partsPassed = 0;
    std::size_t nextFragment = 0;  // among those of the track
    MoofBox* fragment = nullptr;
    std::span<TrafBox* const> parts;  // of the fragment, the one with the run in front
    std::size_t run = 0;              // within the part, the one behind it
    std::uint64_t runBase = 0;
    std::uint64_t decodingTime = 0;  // of the first sample of the run
  };

  // Takes note of a run that ends at a time, unless it is known. Runs come in the order of the
  // file.
  void note(const Place& place, std::uint64_t end);

  // Where a walk to the first sample at or after a time may begin: every run in front ends before
  // the time. Null when no run is known.
  const Place* find(std::uint64_t time) const;

 private:
  struct Run {
    std::uint64_t end;
    Place place;
  };

  std::vector<Run> rising_;  // those that end later than all in front of them
  Place last_;
  std::size_t count_ = 0;
};

}  // namespace norvik::kav::impl
