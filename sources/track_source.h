#pragma once

#include "sources/caption_pairs.h"
#include "sources/film_file.h"

namespace quarrypack::sources {

// Whether a movie has a caption track (handler clcp).
bool hasCaptionTrack(const FilmFile& film);

// The pairs of the caption tracks of a movie, with the times at which the movie shows them. Each
// field comes from the first track that has pairs of it; enabled tracks come before others. The
// pairs of a sample follow each other frame by frame from its start. If the sample is too short for
// that, its first end-of-caption comes at its start, and the pairs before it come earlier.
CaptionPairs readTrackPairs(FilmFile& film);

}  // namespace quarrypack::sources
