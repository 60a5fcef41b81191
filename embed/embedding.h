#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "captions/cea608.h"
#include "captions/cue.h"
#include "embed/caption_plan.h"
#include "embed/caption_splices.h"
#include "embed/film.h"
#include "embed/film_pictures.h"
#include "embed/output_layout.h"
#include "kav/movie.h"
#include "kav/streams.h"

namespace quarrypack::embed {

struct EmbedSettings {
  // The captions; none: those of the film's caption tracks.
  std::optional<std::array<captions::FieldPairs, kFields>> captions = std::nullopt;
  bool replace = false;       // remove captions that the pictures already hold
  bool pad = true;            // see PlanOptions
  bool listCaptions = false;  // fill EmbedResult::cues
};

// The result of an embedding.
struct EmbedResult {
  // As decoders read them from the pictures; empty unless they were requested.
  std::vector<captions::ChannelCues> cues = {};
  std::size_t captions = 0;           // of all channels together
  std::size_t pairs = 0;              // that found a picture, without padding
  std::size_t lostPairs = 0;          // that found none
  std::size_t pictures = 0;           // that the movie shows
  std::size_t captionedPictures = 0;  // that got a unit
  std::size_t replacedPictures = 0;   // that held captions before
  // What is unusual about the caption tracks, as sentences without a full stop.
  std::vector<std::string> findings = {};
};

// Puts captions into the pictures of a film:
//
//     Film film(stream);
//     Embedding embedding(film, settings);
//     embedding.write(*stream, *output);
//     embedding.verify(output);
class Embedding {
 public:
  // Called with the number of input bytes that are done.
  using Report = std::function<void(std::uint64_t)>;

  // Makes the plan; nothing is written. The film must outlive the embedding. Throws Refusal, and
  // what Movie throws.
  Embedding(Film& film, EmbedSettings settings);
  Embedding(const Embedding&) = delete;
  Embedding& operator=(const Embedding&) = delete;

  const EmbedResult& result() const { return result_; }

  // Writes the new film to a stream, from its position on. input is the stream of the film. Call it
  // once. Throws Refusal, and what the streams and report throw.
  void write(norvik::kav::NorvikIStream& input, norvik::kav::NorvikIOStream& output,
             const Report& report = {});

  // Reads what was written as a movie of its own and compares it with the plan and with the input:
  // see verification.h. Throws what verifyFilm throws.
  void verify(norvik::kav::IStreamPtr written, const Report& report = {});

 private:
  void requireFreePictures(bool replace) const;
  std::array<captions::FieldPairs, kFields> takeCaptions(EmbedSettings& settings);
  void requireNoHints() const;
  void addCuts();
  void layOut(std::vector<Splice> media);
  void fillResult(bool listCaptions);

  Film& film_;
  FilmPictures pictures_;
  EmbedResult result_;
  CaptionPlan plan_;
  // Until the film is written.
  std::optional<CaptionSplices> splices_;
  std::optional<MovieBox> movieBox_;
  std::optional<OutputLayout> layout_;
};

}  // namespace quarrypack::embed
