#pragma once

#include <cstdint>
#include <functional>

#include "embed/caption_plan.h"
#include "embed/film.h"
#include "embed/film_pictures.h"
#include "embed/verification_error.h"
#include "kav/movie.h"

namespace quarrypack::embed {

// Reads a written film as any reader would and compares it with its input:
//
// - the pairs in each picture are those of the plan, and no other picture has any;
// - all other bytes of every sample are those of the input;
// - the boxes are those of the input, byte for byte, but for what captions change: see
//   box_comparison.h; so the tracks have the same times, headers (tkhd) and edits (edts);
// - the tracks have the same number of samples;
// - each box ends where the next one begins, and the same bytes follow the last one, in most films
//   none.
//
// Calls report with the number of sample bytes that were compared. Throws VerificationError, and
// what Movie and report throw.
void verifyFilm(Film& input, const FilmPictures& pictures, const CaptionPlan& plan,
                norvik::kav::IStreamPtr written,
                const std::function<void(std::uint64_t)>& report = {});

}  // namespace quarrypack::embed
