#include "check/coverage.h"

#include <algorithm>

namespace quarrypack::check {

using captions::ChannelCues;
using captions::Cue;
using captions::Time;

namespace {

// The cues of all channels in order, limited to the film.
std::vector<Stretch> coveredParts(const std::vector<ChannelCues>& channels, Stretch film) {
  std::vector<Stretch> parts;
  for (const ChannelCues& channel : channels) {
    for (const Cue& cue : channel.cues) {
      const Stretch part{std::max(cue.start, film.start), std::min(cue.end, film.end)};
      if (part.start < part.end) parts.push_back(part);
    }
  }
  std::sort(parts.begin(), parts.end(),
            [](const Stretch& a, const Stretch& b) { return a.start < b.start; });
  return parts;
}

}  // namespace

Coverage coverageOf(const std::vector<ChannelCues>& channels, Stretch film) {
  Coverage coverage;
  Time covered{0};
  Time reached = film.start;
  const auto addHole = [&coverage](Stretch hole) {
    if (hole.end <= hole.start) return;
    const auto& longest = coverage.longestHole;
    const bool isLonger = !longest || hole.end - hole.start > longest->end - longest->start;
    if (isLonger) coverage.longestHole = hole;
  };
  for (const Stretch& part : coveredParts(channels, film)) {
    if (!coverage.firstCaption) coverage.firstCaption = part.start;
    addHole({reached, part.start});
    covered += std::max(part.end - std::max(part.start, reached), Time{0});
    reached = std::max(reached, part.end);
  }
  addHole({reached, film.end});
  if (film.end > film.start) {
    coverage.share = std::chrono::duration<double>(covered) /
                     std::chrono::duration<double>(film.end - film.start);
  }
  return coverage;
}

}  // namespace quarrypack::check
