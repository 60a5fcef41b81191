#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "captions/time.h"
#include "embed/edit_list.h"

namespace quarrypack::sources {

// The showings of a track, on the timeline of the movie. MediaSpan::sample identifies the sample.

// All showings of pictures, which must be sorted by their starts, in the order in which they are
// shown. A picture that several edits show is there for each. A picture inside which an edit begins
// or ends is shown. Throws SourceError for more showings than any real movie has.
embed::Showings showPictures(const embed::EditList& edits,
                             std::span<const embed::MediaSpan> pictures);

// The same for samples of captions. One that begins before the first edit gets a time before it,
// because its caption may still be on the screen then. The last edit has no end: writers take it
// from the pictures.
std::vector<embed::Showing> showCaptions(const embed::EditList& edits,
                                         std::span<const embed::MediaSpan> samples);

}  // namespace quarrypack::sources
