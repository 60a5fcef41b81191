#include "sources/film_file.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "captions/decoder_configuration.h"
#include "embed/caption_plan.h"
#include "kav/big_endian.h"
#include "kav/box_view.h"
#include "kav/exception.h"
#include "sources/caption_pairs.h"
#include "sources/child_boxes.h"

namespace quarrypack::sources {
namespace {

namespace kav = norvik::kav;
using captions::Time;
using captions::timeOfUnits;
using kav::BoxView;
using kav::fourCc;

constexpr std::uint32_t kTrackIsEnabled = 1;  // of tkhd

// Overlapping samples let a small file hold any number of them.
std::uint64_t budgetOf(std::uint64_t fileLength) {
  constexpr std::uint64_t kFactor = 16;
  constexpr std::uint64_t kAllowance = 8u << 20;
  constexpr std::uint64_t kLongest =
      (std::numeric_limits<std::uint64_t>::max() - kAllowance) / kFactor;
  return kFactor * std::min(fileLength, kLongest) + kAllowance;
}

std::optional<PictureCoding> codingOf(const kav::SampleDescription& description) {
  if (const auto box = description.box(fourCc("avcC"))) {
    const auto config = captions::parseAvcDecoderConfig(box->payload());
    if (config) return PictureCoding{&captions::kH264Rules, config->nalLengthSize};
  }
  if (const auto box = description.box(fourCc("hvcC"))) {
    const auto config = captions::parseHevcDecoderConfig(box->payload());
    if (config) return PictureCoding{&captions::kHevcRules, config->nalLengthSize};
  }
  return std::nullopt;
}

Time timeOf(std::uint64_t units, std::uint32_t timescale) {
  constexpr std::uint64_t kMost = std::numeric_limits<std::int64_t>::max();
  return timeOfUnits(static_cast<std::int64_t>(std::min(units, kMost)), timescale);
}

// The duration in mdhd, whose numbers have 4 bytes in version 0 and 8 in version 1.
Time mediaDurationOf(const BoxView& mdhd, std::uint32_t timescale) {
  constexpr std::size_t kPlaceIn0 = 16;
  constexpr std::size_t kPlaceIn1 = 24;
  const auto payload = mdhd.payload();
  if (payload.size() < kPlaceIn0 + 4) return Time{0};
  if (payload[0] != 1) return timeOf(kav::loadU32(payload.data() + kPlaceIn0), timescale);
  if (payload.size() < kPlaceIn1 + 8) return Time{0};
  return timeOf(kav::loadU64(payload.data() + kPlaceIn1), timescale);
}

// A trak box with only its edts box.
std::vector<std::uint8_t> trakAround(const std::vector<std::uint8_t>& edts) {
  std::vector<std::uint8_t> trak(8);
  trak.insert(trak.end(), edts.begin(), edts.end());
  kav::storeU32(trak.data(), static_cast<std::uint32_t>(trak.size()));
  kav::storeU32(trak.data() + 4, fourCc("trak"));
  return trak;
}

// Within these bounds, sums of a few times never overflow.
Time bounded(Time time) { return std::clamp(time, -embed::kLatestPicture, embed::kLatestPicture); }

}  // namespace

bool FilmTrack::hasPictures() const {
  return handler == fourCc("vide") &&
         std::any_of(codings.begin(), codings.end(),
                     [](const auto& coding) { return coding.has_value(); });
}

FilmFile::FilmFile(kav::IStreamPtr stream)
    : movie_(std::move(stream)), budget_(budgetOf(movie_.fileLength())) {
  readTracks();
}

void FilmFile::readTracks() {
  duration_ = bounded(timeOf(movie_.info().duration, movie_.info().timescale));
  for (const kav::Track& track : movie_.tracks()) {
    FilmTrack result;
    result.index = track.index;
    result.id = track.info.trackId;
    result.handler = track.handlerType;
    result.isEnabled = (track.info.tkhdFlags & kTrackIsEnabled) != 0;
    for (const kav::SampleDescription& description : track.descriptions) {
      result.codings.push_back(codingOf(description));
    }
    tracks_.push_back(std::move(result));
  }
  const std::vector<kav::BoxPlace> boxes = movie_.topLevelBoxes();
  const auto moov = std::find_if(boxes.begin(), boxes.end(), [](const kav::BoxPlace& box) {
    return box.type == fourCc("moov");
  });
  if (moov == boxes.end()) return;
  std::size_t index = 0;
  for (const kav::BoxPlace& box : childBoxes(movie_, *moov)) {
    if (box.type == fourCc("trak") && index < tracks_.size()) readTimes(box, tracks_[index++]);
  }
}

// Reads what the library does not provide for a track. Skips its tables, which may be large.
void FilmFile::readTimes(const kav::BoxPlace& trak, FilmTrack& track) {
  constexpr std::uint64_t kLargest = 16u << 20;
  const std::uint32_t timescale = movie_.tracks()[track.index].info.mediaTimescale;
  for (const kav::BoxPlace& box : childBoxes(movie_, trak)) {
    if (box.type == fourCc("edts")) {
      const std::vector<std::uint8_t> bytes = trakAround(movie_.readBox(box, kLargest));
      if (const auto alone = BoxView::at(bytes)) {
        track.edits = embed::EditList::of(*alone, movie_.info().timescale, timescale);
      }
    }
    if (box.type != fourCc("mdia")) continue;
    for (const kav::BoxPlace& inner : childBoxes(movie_, box)) {
      if (inner.type != fourCc("mdhd")) continue;
      const std::vector<std::uint8_t> bytes = movie_.readBox(inner, kLargest);
      if (const auto mdhd = BoxView::at(bytes)) {
        track.mediaDuration = bounded(mediaDurationOf(*mdhd, timescale));
      }
    }
  }
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
      lasting = bounded(timeOf(units, timescale));
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
