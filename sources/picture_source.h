#pragma once

#include "sources/caption_pairs.h"
#include "sources/film_file.h"

namespace quarrypack::sources {

// The track whose pictures may have captions: the first enabled one of H.264 or HEVC, or the first
// such track if none is enabled. Null if there is none.
const FilmTrack* pictureTrack(const FilmFile& film);

// Whether a movie has H.264 or HEVC pictures.
bool hasCaptionPictures(const FilmFile& film);

// The pairs inside the pictures of a movie, with the times at which these are shown. They come from
// the picture track. All pairs of a picture have its time. Reads only the heads of its units, and
// its SEI units. Throws SourceError if no picture can be read.
CaptionPairs readPicturePairs(FilmFile& film);

}  // namespace quarrypack::sources
