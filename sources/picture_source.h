#pragma once

#include "sources/caption_pairs.h"
#include "sources/film_file.h"

namespace quarrypack::sources {

// Whether a movie has H.264 or HEVC pictures.
bool hasCaptionPictures(const FilmFile& film);

// The pairs inside the pictures of a movie, when these are shown: of the first enabled track with
// H.264 or HEVC pictures, or of the first one where none is enabled. The pairs of a picture all
// have its time. Only the heads of its units are read, and its SEI units.
// Throws SourceError where no picture can be read.
CaptionPairs readPicturePairs(FilmFile& film);

}  // namespace quarrypack::sources
