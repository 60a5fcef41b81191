#pragma once

#include <vector>

#include "captions/cue.h"
#include "check/report.h"

namespace quarrypack::check {

// Returns how much of a film has captions of any channel on the screen.
Coverage coverageOf(const std::vector<captions::ChannelCues>& channels, Stretch film);

}  // namespace quarrypack::check
