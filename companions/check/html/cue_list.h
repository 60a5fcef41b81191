#pragma once

#include <cstddef>
#include <span>
#include <string>

#include "captions/cue.h"
#include "companions/html.h"

namespace quarrypack::companions {

// The most elements that the list of cues puts into a page: some 22,000 cues of two rows.
// Chromium opens such a page within a second.
inline constexpr std::size_t kMostCueElements = 200'000;

// The style of the list.
std::string cueListStyle();

// Lists the cues of each channel, each with a drawing of the screen that it fills. All groups of
// cues but the first of each channel are collapsed. Cues beyond kMostCueElements are only counted.
//
// A cue is an element of the class "cue", with the attributes data-channel, data-start and data-end
// (in seconds, with three decimals), data-mode and data-text. Its rows are elements of the class
// "row" with data-row and data-column; their children are its runs. The classes of a run are the
// name of its colour, "italic" and "underline".
void writeCueList(Html& html, std::span<const captions::ChannelCues> channels);

}  // namespace quarrypack::companions
