#include "embed/film.h"

#include <algorithm>
#include <array>
#include <functional>
#include <utility>

#include "embed/box_nesting.h"
#include "embed/box_rebuild.h"
#include "embed/refusal.h"
#include "embed/sample_tables.h"
#include "kav/big_endian.h"

namespace quarrypack::embed {

using norvik::kav::BoxPlace;
using norvik::kav::BoxView;
using norvik::kav::fourCc;
using norvik::kav::loadU16;
using norvik::kav::loadU32;
using norvik::kav::loadU64;
using norvik::kav::Sample;
using norvik::kav::SampleDescription;
using norvik::kav::textOf;

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::uint64_t kLargestMovieBox = std::uint64_t{1} << 30;
constexpr std::size_t kListFields = 8;  // version, flags, count

struct BoxHeader {
  std::optional<std::uint64_t> statedSize;  // none for a box that runs to the end of the file
  std::uint32_t length = 8;                 // bytes
};

BoxHeader headerOf(norvik::kav::Movie& movie, const BoxPlace& box) {
  constexpr std::uint32_t kRunsToEnd = 0;
  constexpr std::uint32_t kLargeSize = 1;
  std::array<std::uint8_t, 16> header{};
  if (!movie.holds(box.start, 8)) return {};
  movie.peekAt(box.start, std::span(header).first(8));
  const std::uint32_t size = loadU32(header.data());
  if (size == kRunsToEnd) return {};
  if (size != kLargeSize || !movie.holds(box.start, header.size())) return {size};
  movie.peekAt(box.start, header);
  return {loadU64(header.data() + 8), header.size()};
}

// Whether an entry of dref states that the media lies in another file.
bool isExternal(const BoxView& reference) {
  constexpr std::uint32_t kSameFile = 1;
  const Bytes payload = reference.payload();
  if (payload.size() < 4 || (loadU32(payload.data()) & kSameFile) != 0) return false;
  // A reference to nowhere comes from writers that forget the flag.
  return payload.size() > 4 && payload[4] != 0;
}

// Whether a description of a track names a data reference, by its number from 1, to another file.
bool usesOtherFile(const BoxView& trak) {
  constexpr std::size_t kReferenceIndex = 6;  // in the payload of a description
  const auto dref = trak.find("mdia/minf/dinf/dref");
  const auto stsd = trak.find("mdia/minf/stbl/stsd");
  if (!dref || !stsd) return false;
  const BoxView::List references = dref->children(kListFields);
  if (std::none_of(references.begin(), references.end(), isExternal)) return false;
  const BoxView::List entries = stsd->children(kListFields);
  return std::any_of(entries.begin(), entries.end(), [&references](const BoxView& entry) {
    if (entry.payload().size() < kReferenceIndex + 2) return false;
    const std::size_t index = loadU16(entry.payload().data() + kReferenceIndex);
    return index > 0 && index <= references.size() && isExternal(references[index - 1]);
  });
}

bool isPicture(const FilmTrack& track) { return track.track->handlerType == fourCc("vide"); }

bool isEncrypted(const FilmTrack& track) {
  const auto& descriptions = track.track->descriptions;
  return std::any_of(descriptions.begin(), descriptions.end(),
                     std::mem_fn(&SampleDescription::isEncrypted));
}

[[noreturn]] void refusePictures(std::span<const FilmTrack> tracks) {
  bool isDisabled = false;
  std::string codings;
  for (const FilmTrack& track : tracks) {
    if (!isPicture(track)) continue;
    isDisabled = isDisabled || track.facts->hasPictures();
    for (const SampleDescription& description : track.track->descriptions) {
      codings += (codings.empty() ? "'" : ", '") + textOf(description.codecType()) + "'";
    }
  }
  if (isDisabled) {
    throw Refusal(
        "no video track is suitable: those of H.264 or HEVC are disabled. Enable the one that "
        "captions are for");
  }
  if (codings.empty()) throw Refusal("the movie has no video track, and captions go into pictures");
  throw Refusal("no video track is suitable: the pictures are coded as " + codings +
                ", and captions go into H.264 and HEVC. Convert the pictures first");
}

}  // namespace

MovieBox::MovieBox(std::vector<std::uint8_t> bytes, std::size_t tracks)
    : bytes_(std::move(bytes)), box_(BoxView::at(bytes_)) {
  if (!box_) throw Refusal("the box 'moov' is damaged");
  forEachBox(box_->payload(), [this](const BoxView& box) {
    if (box.type() == fourCc("trak")) traks_.push_back(box);
  });
  if (traks_.size() != tracks) throw Refusal("the box 'moov' is damaged");
}

Film::Film(norvik::kav::IStreamPtr stream) : file_(std::move(stream)) {
  readBoxes();
  readTracks();
}

void Film::readBoxes() {
  for (const BoxPlace& place : movie().topLevelBoxes()) {
    const BoxHeader header = headerOf(movie(), place);
    if (header.statedSize && *header.statedSize > place.size) {
      throw Refusal("the file is cut short: its box '" + textOf(place.type) + "' at byte " +
                    std::to_string(place.start) + " says " + std::to_string(*header.statedSize) +
                    " bytes, and " + std::to_string(place.size) +
                    " are there. Get the whole file, or repair it with a plain copy first");
    }
    boxes_.push_back({place.type, place.start, place.size, header.length});
    if (place.type == fourCc("moov") && !moov_) moov_ = place;
  }
}

MovieBox Film::readMovieBox() {
  if (!moov_) throw Refusal("the box 'moov' is damaged");
  if (moov_->size > kLargestMovieBox) throw Refusal("the box 'moov' is too large");
  return {movie().readBox(*moov_, kLargestMovieBox), movie().tracks().size()};
}

void Film::readTracks() {
  for (const norvik::kav::Track& track : movie().tracks()) {
    tracks_.push_back(
        {&track, &file_.tracks()[track.index], "track " + std::to_string(track.info.trackId)});
  }
  const MovieBox moov = readMovieBox();
  if (moov.box().find("cmov")) {
    throw Refusal("the box 'moov' is compressed. Make a plain copy of the movie first");
  }
  if (moov.box().find("rmra")) {
    throw Refusal(
        "this is a reference movie, whose media lies in other files. Use these, or save "
        "the movie with its media");
  }
  for (const FilmTrack& track : tracks_) requireWholeBoxes(moov.of(track), track.label);
  requireWholeBoxes(moov.box(), "the movie");
  for (const FilmTrack& track : tracks_) {
    if (usesOtherFile(moov.of(track))) {
      throw Refusal(track.label +
                    ": its media lies in another file. Save the movie with its media first");
    }
  }
}

const FilmTrack& Film::pictureTrack() const {
  const sources::FilmTrack* const chosen = file_.pictureTrack();
  for (const FilmTrack& track : tracks_) {
    if (isPicture(track) && track.facts->isEnabled && isEncrypted(track)) {
      throw Refusal(track.label +
                    ": its pictures are encrypted, so that captions cannot go into them. Use the "
                    "movie as it was before encryption");
    }
    if (track.facts == chosen && chosen->isEnabled) return track;
  }
  refusePictures(tracks_);
}

// Whether bytes lie in more than one box, in a header, or in a box that is rewritten.
bool Film::overlapsTables(std::uint64_t offset, std::uint64_t length) const {
  const auto box =
      std::partition_point(boxes_.begin(), boxes_.end(),
                           [offset](const TopLevelBox& one) { return one.end() <= offset; });
  if (box == boxes_.end()) return false;
  constexpr std::array kTables{fourCc("ftyp"), fourCc("moov"), fourCc("moof"),
                               fourCc("sidx"), fourCc("ssix"), fourCc("mfra")};
  return box->end() - offset < length || offset < box->start + box->headerLength ||
         std::find(kTables.begin(), kTables.end(), box->type) != kTables.end();
}

void Film::requireInside(const FilmTrack& track, std::uint32_t number, std::uint64_t offset,
                         std::uint64_t length) const {
  if (length == 0) return;
  const auto sample = [&] { return track.label + ": sample " + std::to_string(number + 1); };
  if (!movie().holds(offset, length)) {
    throw Refusal(sample() + " lies at byte " + std::to_string(offset) +
                  ", beyond the end of the file at " + std::to_string(movie().fileLength()) +
                  ". Get the whole file, or repair it with a plain copy first");
  }
  if (overlapsTables(offset, length)) {
    throw Refusal(sample() + ", at byte " + std::to_string(offset) +
                  ", overlaps the film's own tables. Make a plain copy of the movie first");
  }
}

void Film::forEachSample(const FilmTrack& track, const VisitSample& visit) {
  // The samples of a real film do not overlap, and hardly any is shorter than its entries in the
  // tables.
  const std::uint64_t mostCost = movie().fileLength() * 8;
  std::uint64_t cost = 0;
  std::uint32_t number = 0;
  norvik::kav::SampleOptions options;
  options.trackIndex = track.track->index;
  options.applyEdits = false;
  for (const Sample& sample : movie().samples(options)) {
    if (sample.isGap()) continue;
    requireInside(track, number, sample.fileOffset, sample.info.size);
    cost += std::max<std::uint64_t>(sample.info.size, norvik::kav::kSmallestSampleCost);
    if (cost > mostCost) {
      throw Refusal(track.label + ": it has more samples than its file can hold");
    }
    visit(sample, number++);
  }
}

void Film::forEachRange(const MovieBox& moov, const FilmTrack& track, const VisitRange& visit) {
  if (movie().info().isFragmented) {
    return forEachSample(track, [&visit](const Sample& sample, std::uint32_t) {
      visit(sample.fileOffset, sample.info.size);
    });
  }
  const auto stbl = moov.of(track).find("mdia/minf/stbl");
  if (!stbl) return;
  const SampleTables tables(*stbl, track.label);
  SampleTables::Chunks chunks = tables.chunks();
  while (const auto chunk = chunks.next()) {
    const std::uint64_t length = tables.length(*chunk);
    requireInside(track, chunk->firstSample, chunk->offset, length);
    visit(chunk->offset, length);
  }
}

}  // namespace quarrypack::embed
