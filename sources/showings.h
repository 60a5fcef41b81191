#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "captions/time.h"
#include "sources/edit_list.h"

// When a movie shows the samples of a track: their times by its edit list.
namespace quarrypack::sources {

// A sample of a track on the timeline of the track.
struct MediaSpan {
  captions::Time start{0};  // of its presentation
  captions::Time end{0};
  std::uint32_t sample = 0;  // identifies it for the caller
};

// A sample that is shown, on the timeline of the movie.
struct Showing {
  std::uint32_t sample = 0;  // of its MediaSpan
  captions::Time start{0};

  friend bool operator==(const Showing&, const Showing&) = default;
};

// The showings of the pictures of a track.
struct Showings {
  std::vector<Showing> pictures;  // in the order in which they are shown
  captions::Time end{0};          // of the last one
};

// Sorts by the starts. Allocates memory only if they are not sorted yet.
void sortByStart(std::vector<MediaSpan>& spans);

// All showings of pictures, which must be sorted by their starts. A picture that several edits show
// is listed for each of them. A picture inside which an edit begins or ends is shown. Throws
// SourceError for more showings than any real movie has.
Showings showPictures(const EditList& edits, std::span<const MediaSpan> pictures);

// The same, with each picture once, when it is first shown. The time it takes grows with the
// pictures, and by a logarithm for each edit.
Showings showPicturesOnce(const EditList& edits, std::span<const MediaSpan> pictures);

// Visits all showings of samples of captions, which must be sorted by their starts, in the order of
// their times: the sample, and when it is shown on the timeline of the movie. A sample that begins
// before the first edit gets a time before it, because its caption may still be on the screen then.
// The last edit has no end: writers take it from the pictures. Takes memory only where edits
// overlap. Throws like showPictures, before the first visit.
using VisitShowing = std::function<void(const MediaSpan& sample, captions::Time start)>;
void showCaptions(const EditList& edits, std::span<const MediaSpan> samples,
                  const VisitShowing& visit);

}  // namespace quarrypack::sources
