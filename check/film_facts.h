#pragma once

#include <cstdint>

#include "check/picture_facts.h"
#include "sources/film_file.h"

namespace quarrypack::check {

struct FilmPictures {
  PictureFacts facts;
  std::uint64_t count = 0;  // before edits
};

// The pictures that captions are for: those of the picture track, or else of the first video track.
// Uses a fixed amount of memory. Throws what walking the track throws.
FilmPictures picturesOf(sources::FilmFile& film);

}  // namespace quarrypack::check
