#pragma once

#include <string>

#include "kav/four_cc.h"
#include "kav/track.h"

namespace quarrypack::check {

// A four-character code for people; characters that cannot be printed become question marks.
std::string textOf(norvik::kav::FourCc code);

// "sound", "time code", or a handler in quotes.
std::string kindOf(const norvik::kav::Track& track);

// "track 2 (sound)".
std::string nameOf(const norvik::kav::Track& track);

}  // namespace quarrypack::check
