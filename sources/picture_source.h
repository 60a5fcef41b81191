#pragma once

#include "sources/caption_pairs.h"
#include "sources/film_file.h"

namespace quarrypack::sources {

// Whether a movie has H.264 or HEVC pictures.
bool hasCaptionPictures(const FilmFile& film);

// The pairs inside the pictures of FilmFile::pictureTrack. Each pair has the time at which its
// picture is shown. Reads only the first bytes of the units of a picture, and its SEI units. Throws
// SourceError if no picture can be read.
CaptionPairs readPicturePairs(FilmFile& film);

}  // namespace quarrypack::sources
