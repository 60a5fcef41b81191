#pragma once

#include <string>

#include "kav/track.h"

namespace quarrypack::check {

// "sound", "time code", or a handler in quotes.
std::string kindOf(const norvik::kav::Track& track);

// "track 2 (sound)".
std::string nameOf(const norvik::kav::Track& track);

}  // namespace quarrypack::check
