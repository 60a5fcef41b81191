#pragma once

#include <cstdint>
#include <optional>

namespace norvik::kav {

// A time with its timescale.
struct Moment {
  std::uint64_t time = 0;       // units of timescale
  std::uint32_t timescale = 1;  // units per second; must not be 0
};

// Before the first sample of any movie, and after the last one: ten years of 365 days include it.
inline constexpr Moment kStartOfMovie{0, 1};
inline constexpr Moment kEndOfMovie{315'360'000, 1};

// Which samples of a movie are delivered, and how.
struct SampleOptions {
  // The index of the only track to deliver; without one all tracks, merged by decoding time.
  std::optional<std::uint32_t> trackIndex{};

  // The range of decoding times to deliver, after edits if these are applied: includes `from`,
  // excludes `to`. A gap counts by its beginning.
  Moment from = kStartOfMovie;
  Moment to = kEndOfMovie;

  // If true, deliver what the edit list of a track shows, at the time at which it is shown, with
  // gaps as samples. If false, deliver the media as stored.
  bool applyEdits = true;

  std::uint64_t context = 0;  // copied to Sample::context
};

}  // namespace norvik::kav
