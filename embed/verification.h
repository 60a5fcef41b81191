#pragma once

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>

#include "embed/caption_plan.h"
#include "embed/film.h"
#include "embed/film_pictures.h"
#include "kav/movie.h"

namespace quarrypack::embed {

// The written film differs from the intended one, by a defect of this program or of the disk. The
// text is for people and says where the difference is.
class VerificationError : public std::runtime_error {
 public:
  explicit VerificationError(const std::string& text) : std::runtime_error(text) {}
};

// Reads a written film as any reader would and compares it with its input:
//
// - the pairs in each picture are those of the plan, and no other picture has any;
// - all other bytes of every sample are those of the input;
// - the tracks are those of the input without the caption tracks, with the same number of samples,
//   the same times, headers (tkhd) and edits (edts);
// - each box ends where the next one begins, and the same bytes follow the last one, in most films
//   none.
//
// Calls report with the number of sample bytes that were compared. Throws VerificationError, and
// what Movie and report throw.
void verifyFilm(Film& input, const FilmPictures& pictures, const CaptionPlan& plan,
                norvik::kav::IStreamPtr written,
                const std::function<void(std::uint64_t)>& report = {});

}  // namespace quarrypack::embed
