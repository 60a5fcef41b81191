#pragma once

#include <cstdint>
#include <optional>

namespace norvik::kav {

// A time with its timescale.
struct Moment {
  std::uint64_t time = 0;       // units of timescale
  std::uint32_t timescale = 1;  // units per second; must not be 0
};

// Not after the first sample of any movie.
inline constexpr Moment kStartOfMovie{0, 1};

// After the last sample of any movie: ten years of 365 days.
inline constexpr Moment kEndOfMovie{315'360'000, 1};

// Which samples of a movie are delivered, and how.
struct SampleOptions {
  // The index of the only track to deliver; without one all tracks, merged by decoding time.
  std::optional<std::uint32_t> trackIndex{};

  // The first decoding time to deliver, after edits if these are applied. A gap counts by its
  // beginning.
  Moment from = kStartOfMovie;

  // The first decoding time that is no longer delivered.
  Moment to = kEndOfMovie;

  // If true, deliver what the edit list of a track shows, at the time at which it is shown, with
  // gaps as samples. If false, deliver the media as stored.
  bool applyEdits = true;

  std::uint64_t context = 0;  // copied to Sample::context
};

}  // namespace norvik::kav
