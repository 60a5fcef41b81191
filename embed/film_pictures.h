#pragma once

#include <cstdint>
#include <vector>

#include "embed/caption_plan.h"
#include "embed/caption_splices.h"
#include "embed/film.h"

namespace quarrypack::embed {

// The pictures of a film and the captions that they already have.
struct FilmPictures {
  std::vector<PictureCoding> codings;

  std::vector<Picture> all;  // in the order of decoding

  // The pictures that are shown, each once, in the order of their first showings.
  std::vector<std::uint32_t> shown;  // their numbers in the track, from 0
  std::vector<captions::Time> starts;
  std::vector<bool> closed;  // whether each must stay unchanged
  captions::Time end{0};

  // All pictures, shown or not, that already have captions, in the order of decoding.
  struct Captioned {
    std::uint64_t sampleOffset = 0;
    std::vector<CaptionCut> cuts;
  };
  std::vector<Captioned> captioned;
  std::uint32_t sampleCount = 0;  // of the track

  Screening screening() const { return {starts, end, closed}; }
};

// Looks at the beginning of every picture. Throws Refusal and what Film::forEachSample throws.
FilmPictures readPictures(Film& film);

// Reads bytes of a picture in the cheapest way. All of a small picture is fetched, with the bytes
// around it: it will be copied soon, and so will its neighbours.
void readHead(norvik::kav::Movie& movie, const norvik::kav::Sample& sample, std::uint64_t offset,
              std::span<std::uint8_t> bytes);

}  // namespace quarrypack::embed
