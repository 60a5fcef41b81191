#include "embed/film_pictures.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <utility>

#include "embed/refusal.h"
#include "sources/showings.h"

namespace quarrypack::embed {

using captions::bounded;
using captions::Time;
using norvik::kav::Sample;

namespace {

// Numbers the codings of a track: for each description the place of its coding in a list without
// repetitions.
class Codings {
 public:
  explicit Codings(const FilmTrack& track) {
    for (const std::optional<PictureCoding>& coding : track.facts->codings) {
      places_.push_back(coding ? std::optional(placeOf(*coding)) : std::nullopt);
    }
  }

  std::optional<std::uint16_t> of(const Sample& sample) const {
    const std::uint32_t number = sample.descriptionIndex;
    return number == 0 || number > places_.size() ? std::nullopt : places_[number - 1];
  }

  const PictureCoding& at(std::uint16_t place) const { return list_[place]; }
  std::vector<PictureCoding> take() { return std::move(list_); }

 private:
  std::uint16_t placeOf(const PictureCoding& coding) {
    const auto found = std::find(list_.begin(), list_.end(), coding);
    const auto place = static_cast<std::uint16_t>(found - list_.begin());
    if (found == list_.end()) list_.push_back(coding);
    return place;
  }

  std::vector<PictureCoding> list_;
  std::vector<std::optional<std::uint16_t>> places_;
};

// How long the last picture lasts: as long as the one decoded before it. The table of times is no
// better source, because some tables have times for more samples than there are.
Time lastLength(const std::vector<std::uint64_t>& lastTimes, std::uint32_t timescale) {
  if (lastTimes.size() < 2 || lastTimes[1] <= lastTimes[0]) return captions::kPairTime;
  const std::uint64_t ticks = lastTimes[1] - lastTimes[0];
  constexpr std::uint64_t kMost = std::numeric_limits<std::uint32_t>::max();
  return captions::timeOfUnits(static_cast<std::int64_t>(std::min(ticks, kMost)), timescale);
}

class PictureWalk {
 public:
  explicit PictureWalk(Film& film) : film_(film), track_(film.pictureTrack()), codings_(track_) {}

  FilmPictures read() {
    // The count in a damaged film may be any number.
    constexpr std::uint32_t kMostReserved = 1u << 20;
    const std::uint32_t expected = std::min(track_.facts->sampleCount, kMostReserved);
    spans_.reserve(expected);
    result_.all.reserve(expected);
    film_.forEachSample(track_, [this](const Sample& sample, std::uint32_t number) {
      result_.sampleCount = number + 1;
      take(sample, number);
    });
    arrange();
    result_.codings = codings_.take();
    return std::move(result_);
  }

 private:
  void take(const Sample& sample, std::uint32_t number) {
    const Time start =
        bounded(captions::timeOfUnits(sample.presentationTime(), track_.timescale()));
    spans_.push_back({start, start, number});
    lastTimes_.push_back(sample.info.decodingTime);
    if (lastTimes_.size() > 2) lastTimes_.erase(lastTimes_.begin());
    Picture picture{sample.fileOffset, sample.info.size};
    const std::optional<std::uint16_t> coding = codings_.of(sample);
    bool isClosed = !coding || sample.info.size == 0;
    if (!isClosed) isClosed = !look(sample, *coding, picture);
    result_.all.push_back(picture);
    isClosed_.push_back(isClosed);
  }

  // Whether captions can go into it.
  bool look(const Sample& sample, std::uint16_t coding, Picture& picture) {
    const PictureUnits& units =
        reader_.look(sample.info.size, codings_.at(coding),
                     [&](std::uint64_t offset, std::span<std::uint8_t> bytes) {
                       readHead(film_.movie(), sample, offset, bytes);
                     });
    if (!units.takesCaptions) return false;
    picture.place = units.place;
    picture.coding = coding;
    picture.temporalId = units.temporalId;
    if (!units.cuts.empty()) result_.captioned.push_back({picture.offset, units.cuts});
    return true;
  }

  void arrange() {
    sources::sortByStart(spans_);
    for (std::size_t i = 0; i + 1 < spans_.size(); ++i) spans_[i].end = spans_[i + 1].start;
    if (!spans_.empty()) {
      spans_.back().end = spans_.back().start + lastLength(lastTimes_, track_.timescale());
    }
    const sources::Showings showings = sources::showPicturesOnce(track_.facts->edits, spans_);
    std::vector<sources::MediaSpan>().swap(spans_);  // frees its memory
    result_.shown.reserve(showings.pictures.size());
    result_.starts.reserve(showings.pictures.size());
    for (const sources::Showing& showing : showings.pictures) {
      result_.shown.push_back(showing.sample);
      result_.starts.push_back(bounded(showing.start));
      result_.closed.push_back(isClosed_[showing.sample]);
    }
    result_.end = bounded(showings.end);
  }

  Film& film_;
  const FilmTrack& track_;
  Codings codings_;
  PictureReader reader_;
  std::vector<sources::MediaSpan> spans_;
  std::vector<std::uint64_t> lastTimes_;  // of decoding, of the last two samples
  std::vector<bool> isClosed_;            // by sample
  FilmPictures result_;
};

}  // namespace

void readHead(norvik::kav::Movie& movie, const Sample& sample, std::uint64_t offset,
              std::span<std::uint8_t> bytes) {
  constexpr std::uint32_t kSmall = 16 * 1024;
  const std::uint64_t place = sample.fileOffset + offset;
  sample.info.size < kSmall ? movie.readAt(place, bytes) : movie.peekAt(place, bytes);
}

FilmPictures readPictures(Film& film) {
  FilmPictures pictures = PictureWalk(film).read();
  if (pictures.shown.empty()) {
    throw Refusal(film.pictureTrack().label + ": the movie shows none of its pictures");
  }
  return pictures;
}

}  // namespace quarrypack::embed
