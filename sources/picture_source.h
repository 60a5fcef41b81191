#pragma once

#include "sources/caption_pairs.h"
#include "sources/film_file.h"

namespace quarrypack::sources {

// Whether a movie has H.264 or HEVC pictures.
bool hasCaptionPictures(const FilmFile& film);

// The pairs inside the pictures of a movie, with the times at which these are shown. They come from
// FilmFile::pictureTrack. All pairs of a picture have its time. Reads only the heads of its units,
// and its SEI units. Throws SourceError if no picture can be read.
CaptionPairs readPicturePairs(FilmFile& film);

}  // namespace quarrypack::sources
