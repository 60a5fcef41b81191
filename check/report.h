#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "captions/cue.h"
#include "captions/time.h"
#include "check/finding.h"

namespace quarrypack::check {

// A stretch of a film, in presentation times.
struct Stretch {
  captions::Time start{0};
  captions::Time end{0};
};

// How much of a film has captions on the screen.
struct Coverage {
  std::optional<captions::Time> firstCaption;
  std::optional<Stretch> longestHole;  // without captions; also before the first and after the last
  double share = 0;                    // 0 to 1, of the duration of the film
};

// The samples of a track into which a conversion would put captions by mistake, which damages them.
struct HitSamples {
  std::uint32_t trackId = 0;
  std::string kind;  // "sound", "time code", or a handler in quotes
  std::uint64_t count = 0;
  std::vector<captions::Time> times;  // of the first Finding::kMostPlaces samples
};

// The result of a check of a film. The writers of reports only format it.
struct CheckReport {
  std::string file;            // as given on the command line
  std::string source;          // of the captions: "track", "pictures", "scc"; empty for none
  captions::Time duration{0};  // of the film
  std::uint64_t pictures = 0;  // of the track with the captions' pictures; 0 if unknown
  std::vector<captions::ChannelCues> channels;  // those with cues, in channel order
  Coverage coverage;
  std::vector<HitSamples> hits;   // by a plain conversion; empty if none
  std::vector<Finding> findings;  // sorted as Findings::take() does
};

}  // namespace quarrypack::check
