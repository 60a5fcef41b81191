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
#include "sources/track_source.h"

namespace quarrypack::embed {

using captions::Field;
using captions::FieldPairs;
using captions::kBothFields;

namespace {

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

// The pairs of the caption tracks, and what is unusual about them.
sources::CaptionPairs readTracks(Film& film) {
  if (!sources::hasCaptionTrack(film.file())) {
    throw Refusal("the movie has no caption track. Give captions with '--captions FILE.scc'");
  }
  try {
    return sources::readTrackPairs(film.file());
  } catch (const sources::SourceError& error) {
    throw Refusal(std::string("its caption tracks cannot be read: ") + error.what());
  }
}

// Tracks are removed and changed by their ids.
void requireOwnIds(const Film& film) {
  std::vector<std::uint32_t> changed = captionTrackIds(film);
  changed.push_back(film.pictureTrack().id());
  for (const std::uint32_t id : changed) {
    const auto hasId = [id](const FilmTrack& track) { return track.id() == id; };
    if (std::count_if(film.tracks().begin(), film.tracks().end(), hasId) == 1) continue;
    throw Refusal("several tracks have the id " + std::to_string(id) +
                  ". Make a plain copy of the movie first");
  }
}

}  // namespace

Embedding::Embedding(Film& film, EmbedSettings settings)
    : film_(film), pictures_(readPictures(film)) {
  requireFreePictures(settings.replace);
  requireOwnIds(film_);
  requireNoHints();
  // Refuses samples that are not in the file, before any is read.
  std::vector<Splice> unusedBytes = captionBytes(film_);
  plan_ = planCaptions(pictures_.screening(), takeCaptions(settings), {settings.pad});
  splices_.emplace(pictures_.all, pictures_.shown, pictures_.codings, plan_);
  addCuts();
  fillResult(settings.listCaptions);
  // Nothing reads these again, and the layout takes much memory too.
  std::vector<FilmPictures::Captioned>().swap(pictures_.captioned);
  std::vector<captions::Time>().swap(pictures_.starts);
  layOut(splices_->splices(std::move(unusedBytes)));
}

void Embedding::layOut(std::vector<Splice> media) {
  movieBox_.emplace(film_.readMovieBox());
  MovieBoxChanges movie;
  movie.pictureTrack = film_.pictureTrack().id();
  movie.removedTracks = captionTrackIds(film_);
  if (film_.movie().info().isFragmented && !movie.removedTracks.empty()) {
    movie.fragmentedDuration = longestTrack(film_);
  }
  const auto read = [&movie = film_.movie()](std::uint64_t offset, std::span<std::uint8_t> bytes) {
    movie.readAt(offset, bytes);
  };
  OutputLayout::Changes changes{std::move(media), std::move(movie),
                                fragmentDefaults(movieBox_->box())};
  layout_.emplace(film_.boxes(), movieBox_->box(), read, std::move(changes), *splices_);
}

std::array<FieldPairs, kFields> Embedding::takeCaptions(EmbedSettings& settings) {
  if (settings.captions) return std::move(*settings.captions);
  sources::CaptionPairs pairs = readTracks(film_);
  result_.findings = std::move(pairs.findings);
  return std::move(pairs.fields);
}

void Embedding::fillResult(bool listCaptions) {
  std::vector<captions::ChannelCues> cues = cuesOf(plan_, pictures_.screening());
  for (const captions::ChannelCues& channel : cues) result_.captions += channel.cues.size();
  if (listCaptions) result_.cues = std::move(cues);
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
                " pictures already have captions. Remove these with '--replace'");
}

// Hints refer to bytes of samples by their positions.
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
  // The verification needs none of these, and memory for the tables of a second film.
  layout_.reset();
  movieBox_.reset();
  splices_.reset();
  std::vector<Picture>().swap(pictures_.all);
}

void Embedding::verify(norvik::kav::IStreamPtr written, const Report& report) {
  verifyFilm(film_, pictures_, plan_, std::move(written), report);
}

}  // namespace quarrypack::embed
