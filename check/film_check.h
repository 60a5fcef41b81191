#pragma once

#include "check/report.h"
#include "sources/caption_pairs.h"
#include "sources/film_file.h"

namespace quarrypack::check {

// Checks a movie: the captions of its caption track, or else those inside its pictures, and what a
// conversion would do to it. The name of the file is left empty. Throws sources::SourceError, and
// what reading the movie throws.
CheckReport checkFilm(sources::FilmFile& film);

// Checks the captions of an SCC file.
CheckReport checkScc(const sources::CaptionPairs& pairs);

}  // namespace quarrypack::check
