#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "kav/impl/boxes/fragment_boxes.h"

namespace norvik::kav::impl {

// Where the runs of a track begin, as far as they have been walked. The edits of a track are walked
// one after another, each from its own time on. Using what an earlier walk has found, a later one
// begins at the run that it needs and not at the first of the file.
class PassedRuns {
 public:
  // The state of a walk before a run.
  struct Place {
    std::size_t number = 0;  // of the run, in file order
    std::size_t fragmentsPassed = 0;
    std::size_t partsPassed = 0;
    std::size_t nextFragment = 0;  // among those of the track
    MoofBox* fragment = nullptr;
    std::span<TrafBox* const> parts;  // of the fragment, beginning with the part of the run
    std::size_t run = 0;              // within the part, of the next run
    std::uint64_t runBase = 0;
    std::uint64_t decodingTime = 0;  // of the first sample of the run
  };

  // Notes a run that ends at a time, unless it is known. Runs come in file order.
  void note(const Place& place, std::uint64_t end);

  // Where a walk to the first sample at or after a time may begin: every earlier run ends before
  // the time. Null if no run is known.
  const Place* find(std::uint64_t time) const;

 private:
  struct Run {
    std::uint64_t end;
    Place place;
  };

  std::vector<Run> rising_;  // those that end later than all runs before them
  Place last_;
  std::size_t count_ = 0;
};

}  // namespace norvik::kav::impl
