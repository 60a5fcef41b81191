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
  // The place of the only track wanted; without one all tracks, merged by decoding time.
  std::optional<std::uint32_t> trackIndex{};

  // The decoding times that are wanted, after edits where these are applied: from the first, up to
  // but not including the second. A gap counts by its beginning.
  Moment from = kStartOfMovie;
  Moment to = kEndOfMovie;

  // Deliver what the edit list of a track shows, at the time at which it is shown, with gaps as
  // samples. Otherwise the media as it is stored.
  bool applyEdits = true;

  std::uint64_t context = 0;  // handed on in Sample::context
};

}  // namespace norvik::kav
