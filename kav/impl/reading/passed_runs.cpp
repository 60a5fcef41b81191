#include "kav/impl/reading/passed_runs.h"

#include <algorithm>

namespace norvik::kav::impl {

void PassedRuns::note(const Place& place, std::uint64_t end) {
  if (place.number < count_) return;
  ++count_;
  last_ = place;
  if (rising_.empty() || end > rising_.back().end) rising_.push_back({end, place});
}

const PassedRuns::Place* PassedRuns::find(std::uint64_t time) const {
  const auto reaching =
      std::lower_bound(rising_.begin(), rising_.end(), time,
                       [](const Run& run, std::uint64_t sought) { return run.end < sought; });
  if (reaching != rising_.end()) return &reaching->place;
  return count_ == 0 ? nullptr : &last_;
}

}  // namespace norvik::kav::impl
