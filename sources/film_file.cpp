#include "sources/film_file.h"

#include <algorithm>
#include <array>
#include <utility>

#include "kav/big_endian.h"
#include "kav/box_view.h"
#include "kav/exception.h"
#include "sources/caption_pairs.h"
#include "sources/child_boxes.h"

namespace quarrypack::sources {
namespace {

namespace kav = norvik::kav;
using captions::bounded;
using captions::Time;
using captions::timeOfCount;
using captions::timeOfUnits;
using kav::BoxView;
using kav::fourCc;

constexpr std::uint32_t kTrackIsEnabled = 1;  // of tkhd

// The duration in mdhd, whose numbers have 4 bytes in version 0 and 8 in version 1.
Time mediaDurationOf(const BoxView& mdhd, std::uint32_t timescale) {
  constexpr std::size_t kPlaceIn0 = 16;
  constexpr std::size_t kPlaceIn1 = 24;
  const auto payload = mdhd.payload();
  if (payload.size() < kPlaceIn0 + 4) return Time{0};
  if (payload[0] != 1) return timeOfCount(kav::loadU32(payload.data() + kPlaceIn0), timescale);
  if (payload.size() < kPlaceIn1 + 8) return Time{0};
  return timeOfCount(kav::loadU64(payload.data() + kPlaceIn1), timescale);
}

}  // namespace

bool FilmTrack::hasPictures() const {
  return handler == fourCc("vide") &&
         std::any_of(codings.begin(), codings.end(),
                     [](const auto& coding) { return coding.has_value(); });
}

bool FilmTrack::isCaptions() const { return handler == fourCc("clcp"); }

FilmFile::FilmFile(kav::IStreamPtr stream)
    : movie_(std::move(stream)), budget_(movie_.plausibleCost()) {
  readTracks();
}

void FilmFile::readTracks() {
  duration_ = bounded(timeOfCount(movie_.info().duration, movie_.info().timescale));
  for (const kav::Track& track : movie_.tracks()) {
    FilmTrack result;
    result.index = track.index;
    result.id = track.info.trackId;
    result.handler = track.handlerType;
    result.isEnabled = (track.info.tkhdFlags & kTrackIsEnabled) != 0;
    for (const kav::SampleDescription& description : track.descriptions) {
      result.codings.push_back(pictureCodingOf(description));
    }
    tracks_.push_back(std::move(result));
  }
  for (const kav::BoxPlace& moov : movie_.topLevelBoxes()) {
    if (moov.type != fourCc("moov")) continue;
    std::size_t index = 0;
    for (const kav::BoxPlace& box : childBoxes(movie_, moov)) {
      if (box.type == fourCc("trak") && index < tracks_.size()) readTrack(box, tracks_[index++]);
    }
    return;
  }
}

const FilmTrack* FilmFile::pictureTrack() const {
  const auto rank = [](const FilmTrack& track) {
    return (track.isEnabled ? 0 : 2) + (track.sampleCount == 1 ? 1 : 0);
  };
  const FilmTrack* best = nullptr;
  for (const FilmTrack& track : tracks_) {
    if (!track.hasPictures()) continue;
    if (best == nullptr || rank(track) < rank(*best)) best = &track;
  }
  return best;
}

std::optional<kav::BoxPlace> FilmFile::childOf(const kav::BoxPlace& container, kav::FourCc type) {
  for (const kav::BoxPlace& box : childBoxes(movie_, container)) {
    if (box.type == type) return box;
  }
  return std::nullopt;
}

std::vector<std::uint8_t> FilmFile::readSmall(const kav::BoxPlace& box) {
  constexpr std::uint64_t kLargest = 16u << 20;
  return movie_.readBox(box, kLargest);
}

// Reads what the library does not provide for a track. Skips its tables, which may be large.
void FilmFile::readTrack(const kav::BoxPlace& trak, FilmTrack& track) {
  for (const kav::BoxPlace& box : childBoxes(movie_, trak)) {
    if (box.type == fourCc("mdia")) readMedia(box, track);
    if (box.type != fourCc("edts")) continue;
    const std::vector<std::uint8_t> bytes = readSmall(box);
    if (const auto edts = BoxView::at(bytes)) {
      track.edits = EditList::of(*edts, movie_.info().timescale,
                                 movie_.tracks()[track.index].info.mediaTimescale);
    }
  }
}

void FilmFile::readMedia(const kav::BoxPlace& mdia, FilmTrack& track) {
  track.sampleCount = sampleCountOf(mdia);
  const auto place = childOf(mdia, fourCc("mdhd"));
  if (!place) return;
  const std::vector<std::uint8_t> bytes = readSmall(*place);
  const std::uint32_t timescale = movie_.tracks()[track.index].info.mediaTimescale;
  if (const auto mdhd = BoxView::at(bytes)) {
    track.mediaDuration = bounded(mediaDurationOf(*mdhd, timescale));
  }
}

// The count in stsz or stz2, after version and flags and a field of 4 bytes.
std::uint32_t FilmFile::sampleCountOf(const kav::BoxPlace& mdia) {
  constexpr std::uint64_t kCountEnd = 20;
  const auto minf = childOf(mdia, fourCc("minf"));
  const auto stbl = minf ? childOf(*minf, fourCc("stbl")) : std::nullopt;
  if (!stbl) return 0;
  for (const kav::BoxPlace& box : childBoxes(movie_, *stbl)) {
    if (box.type != fourCc("stsz") && box.type != fourCc("stz2")) continue;
    if (box.size < kCountEnd) return 0;
    std::array<std::uint8_t, kCountEnd> fields{};
    movie_.readAt(box.start, fields);
    return kav::loadU32(fields.data() + kCountEnd - 4);
  }
  return 0;
}

void FilmFile::forEachSample(const FilmTrack& track, const Visit& visit) {
  kav::SampleRange samples = movie_.samples({.trackIndex = track.index, .applyEdits = false});
  // The duration of a sample is known when the next one comes.
  StoredSample sample;
  std::uint64_t decodingTime = 0;
  Time lasting{0};
  bool isPending = false;
  while (const kav::Sample* next = samples.next()) {
    if (next->isGap()) continue;
    const std::uint32_t timescale = next->info.timescale;
    if (isPending) {
      const std::uint64_t units =
          next->info.decodingTime - std::min(decodingTime, next->info.decodingTime);
      lasting = bounded(timeOfCount(units, timescale));
      sample.span.end = sample.span.start + lasting;
      visit(sample, false);
    }
    spend(kav::kSmallestSampleCost);
    decodingTime = next->info.decodingTime;
    const Time start = bounded(timeOfUnits(next->presentationTime(), timescale));
    sample = {next->fileOffset, next->info.size, next->descriptionIndex, {start, start, 0}};
    isPending = true;
  }
  if (!isPending) return;
  sample.span.end = std::max(sample.span.start + lasting, track.mediaDuration);
  visit(sample, true);
}

void FilmFile::readAt(std::uint64_t offset, std::span<std::uint8_t> destination) {
  spend(destination.size());
  movie_.readAt(offset, destination);
}

void FilmFile::peekAt(std::uint64_t offset, std::span<std::uint8_t> destination) {
  spend(destination.size());
  movie_.peekAt(offset, destination);
}

void FilmFile::spend(std::uint64_t bytes) {
  if (bytes > budget_) throw SourceError("its samples overlap too often for a real movie");
  budget_ -= bytes;
}

}  // namespace quarrypack::sources
