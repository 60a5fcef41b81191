#pragma once

#include <vector>

#include "captions/cue.h"
#include "check/report.h"

namespace quarrypack::check {

// How much of a film has captions of any channel.
Coverage coverageOf(const std::vector<captions::ChannelCues>& channels, Stretch film);

}  // namespace quarrypack::check
