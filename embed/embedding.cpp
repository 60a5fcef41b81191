#include "embed/embedding.h"

#include <algorithm>
#include <string>
#include <utility>

#include "captions/cue_builder.h"
#include "captions/decoder608.h"
#include "embed/film_captions.h"
#include "embed/film_duration.h"
#include "embed/refusal.h"
#include "embed/verification.h"

namespace quarrypack::embed {

using captions::Field;
using captions::FieldPairs;

namespace {

constexpr std::array kBothFields{Field::one, Field::two};

std::vector<captions::ChannelCues> cuesOf(const CaptionPlan& plan, const Screening& screening) {
  captions::CueBuilder cues;
  captions::Decoder608 decoder(cues);
  for (std::size_t picture = 0; picture < plan.pictureCount(); ++picture) {
    for (const Field field : kBothFields) {
      for (const captions::BytePair pair : plan.pairs(field, picture)) {
        decoder.decode(field, pair, screening.starts[picture]);
      }
    }
  }
  decoder.finish(screening.end);
  return cues.takeCues();
}

std::array<FieldPairs, kFields> captionsOf(Film& film, EmbedSettings& settings) {
  if (settings.captions) return std::move(*settings.captions);
  if (captionTrackIds(film).empty()) {
    throw Refusal("the movie has no caption track. Give captions with '--captions FILE.scc'");
  }
  return readCaptionTracks(film);
}

}  // namespace

Embedding::Embedding(Film& film, EmbedSettings settings)
    : film_(film), pictures_(readPictures(film)) {
  requireFreePictures(settings.replace);
  requireNoHints();
  std::array<FieldPairs, kFields> fields = captionsOf(film_, settings);
  plan_ = planCaptions(pictures_.screening(), std::move(fields), {settings.pad});
  splices_.emplace(pictures_.shown, pictures_.codings, plan_);
  addCuts();

  MovieBoxChanges movie;
  movie.pictureTrack = film_.pictureTrack().id();
  movie.removedTracks = captionTrackIds(film_);
  if (film_.movie().info().isFragmented && !movie.removedTracks.empty()) {
    movie.fragmentedDuration = longestTrack(film_);
  }
  const auto read = [&movie = film_.movie()](std::uint64_t offset, std::span<std::uint8_t> bytes) {
    movie.readAt(offset, bytes);
  };
  OutputLayout::Changes changes{splices_->splices(captionBytes(film_)), std::move(movie),
                                fragmentDefaults(film_.movieBox())};
  layout_.emplace(film_.boxes(), film_.movieBox(), read, std::move(changes), *splices_);

  fillResult();
}

void Embedding::fillResult() {
  result_.cues = cuesOf(plan_, pictures_.screening());
  for (const captions::ChannelCues& channel : result_.cues) {
    result_.captions += channel.cues.size();
  }
  result_.pictures = pictures_.shown.size();
  result_.captionedPictures = splices_->captionedPictures();
  result_.replacedPictures = pictures_.captioned.size();
  for (const Field field : kBothFields) {
    result_.pairs += plan_.placedPairs(field);
    result_.lostPairs += plan_.lostPairs(field);
  }
}

void Embedding::requireFreePictures(bool replace) const {
  if (replace || pictures_.captioned.empty()) return;
  throw Refusal(film_.pictureTrack().label + ": " + std::to_string(pictures_.captioned.size()) +
                " of its " + std::to_string(pictures_.sampleCount) +
                " pictures hold captions already. Remove these with '--replace'");
}

// Hints name bytes of samples by their places in them.
void Embedding::requireNoHints() const {
  const std::uint32_t pictures = film_.pictureTrack().id();
  for (const FilmTrack& track : film_.tracks()) {
    const auto hinted = film_.movie().hintedTracks(*track.track);
    if (std::find(hinted.begin(), hinted.end(), pictures) == hinted.end()) continue;
    throw Refusal(track.label +
                  ": it holds hints for streaming the pictures, which captions would make wrong. "
                  "Make a copy of the movie without hint tracks first");
  }
}

void Embedding::addCuts() {
  for (const FilmPictures::Captioned& picture : pictures_.captioned) {
    splices_->cut(picture.sampleOffset, picture.cuts);
  }
}

void Embedding::write(norvik::kav::NorvikIStream& input, norvik::kav::NorvikIOStream& output,
                      const Report& report) {
  copySpliced(input, film_.movie().fileLength(), output, layout_->map(), *layout_, report);
}

void Embedding::verify(norvik::kav::IStreamPtr written, const Report& report) {
  verifyFilm(film_, pictures_, plan_, std::move(written), report);
}

}  // namespace quarrypack::embed
