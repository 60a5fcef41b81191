#include "check/rehearsal.h"

#include <algorithm>
#include <limits>

#include "captions/caption_atoms.h"
#include "kav/exception.h"
#include "kav/rescale_time.h"
#include "src/caption_delay.h"
#include "src/conversion_pass.h"
#include "src/presentation_time.h"

namespace quarrypack::check {
namespace {

namespace kav = norvik::kav;
using captions::CaptionAtom;
using captions::CaptionAtoms;
using captions::Time;
using captions::timeOfUnits;

constexpr kav::FourCc kVideo = kav::fourCc("vide");
constexpr kav::FourCc kCaptions = kav::fourCc("clcp");

std::int64_t signedOffset(const PendingSample& sample) {
  return static_cast<std::int32_t>(sample.compositionOffset);
}

bool isGap(const PendingSample& sample) {
  constexpr std::uint32_t kKind = 0xFF;
  return (sample.flags & kKind) == kav::kSampleIsGap;
}

// A track whose shift cannot be read is not copied either.
std::uint64_t shiftOf(const kav::Movie& movie, const kav::Track& track) {
  try {
    return movie.editShift(track);
  } catch (const kav::Exception&) {
    return 0;
  }
}

// The shift of captions is that of the pictures, or their own where it is longer.
Time captionShiftOf(const kav::Movie& movie) {
  Time shift{0};
  bool isBeforeVideo = true;
  for (const kav::Track& track : movie.tracks()) {
    const bool isFirstVideo = track.handlerType == kVideo && isBeforeVideo;
    if (isFirstVideo) isBeforeVideo = false;
    if (!isFirstVideo && track.handlerType != kCaptions) continue;
    const auto ticks = static_cast<std::int64_t>(shiftOf(movie, track));
    shift = std::max(shift, timeOfUnits(ticks, track.info.mediaTimescale));
  }
  return shift;
}

Time clamped(Time time) { return std::clamp(time, -captions::kLatestTime, captions::kLatestTime); }

bool isPadding(const CaptionAtom& atom) {
  for (std::size_t i = 0; i < atom.pairCount(); ++i) {
    if (!atom.pair(i).isPadding()) return false;
  }
  return true;
}

}  // namespace

RehearsedTrack::RehearsedTrack(const kav::Movie& movie, const kav::Track& track)
    : track_(&track), shift_(shiftOf(movie, track)) {
  const std::uint32_t movieTimescale = movie.info().timescale;
  tickOfMovie_ = static_cast<std::uint32_t>(
      std::max<std::uint64_t>(1, kav::rescaleTime(1, movieTimescale, timescale())));
}

void RehearsedTrack::add(const PendingSample& sample) {
  if (isGap(sample)) return addGap(sample.decodingTime);
  if (inGap_) gapTime_ += sample.decodingTime - std::min(gapStart_, sample.decodingTime);
  lastDuration_ = inGap_ ? 0 : tickOfMovie_;
  inGap_ = false;
  if (samples_ == 0) firstTime_ = sample.decodingTime;
  lastTime_ = sample.decodingTime - std::min(gapTime_, sample.decodingTime);
  ++samples_;
  const bool isSync = (sample.flags & kav::kSampleIsSync) != 0;
  if (isSync) ++syncSamples_;
  if (syncSamples_ == 0) ++samplesBeforeSync_;
  if (signedOffset(sample) < 0) ++negativeOffsets_;
  noteLate(static_cast<std::int64_t>(lastTime_) + signedOffset(sample), lastTime_);
}

void RehearsedTrack::addGap(std::uint64_t time) {
  if (inGap_) return;
  if (samples_ == 0 && gaps_ == 0) beginsWithGap_ = true;
  inGap_ = true;
  gapStart_ = time;
  ++gaps_;
}

// Forgets the samples that are shown before the latest one is decoded.
void RehearsedTrack::noteLate(std::int64_t shown, std::uint64_t mediaTime) {
  const auto now = static_cast<std::int64_t>(mediaTime);
  if (shown > now) late_.push_back(shown);
  if (late_.size() < lateLimit_) return;
  std::erase_if(late_, [now](std::int64_t time) { return time <= now; });
  lateLimit_ = std::max(kSmallestLate, 2 * late_.size());
}

std::optional<Time> RehearsedTrack::firstGap() const {
  if (!beginsWithGap_ || samples_ == 0) return std::nullopt;
  return timeOfUnits(static_cast<std::int64_t>(firstTime_), timescale());
}

std::uint64_t RehearsedTrack::samplesAfterEnd() const {
  const auto end = static_cast<std::int64_t>(lastTime_ + lastDuration_);
  return static_cast<std::uint64_t>(std::count_if(
      late_.begin(), late_.end(), [end](std::int64_t shown) { return shown >= end; }));
}

bool RehearsedTrack::hasTooManyEdits() const {
  constexpr std::uint64_t kMostEdits = 255;
  // Each gap has an edit before it and one of its own, and the media after it has one.
  return 2 * gaps_ + (inGap_ ? 0 : 1) - (inGap_ ? 1 : 0) > kMostEdits;
}

Time RehearsedTrack::lastDuration() const { return timeOfUnits(lastDuration_, timescale()); }

Time RehearsedTrack::timeOf(const PendingSample& sample) const {
  return clamped(timeOfUnits(static_cast<std::int64_t>(sample.decodingTime), timescale()) +
                 timeOfUnits(signedOffset(sample), timescale()) -
                 timeOfUnits(static_cast<std::int64_t>(shift_), timescale()));
}

void Rehearsal::Occasions::add(Time time) {
  ++count;
  if (times.size() < Finding::kMostPlaces) times.push_back(time);
}

Rehearsal::Rehearsal(kav::Movie& movie)
    : movie_(movie), nextTrack_(movie.tracks().data()), captionShift_(captionShiftOf(movie)) {}

bool Rehearsal::run() {
  if (movie_.info().timescale == 0) throw kav::Exception(kav::ErrorCode::zeroTimescale);
  if (!rehearseConversion(movie_, *this, *this)) return false;
  if (std::any_of(tracks_.begin(), tracks_.end(),
                  [](const RehearsedTrack& track) { return track.hasTooManyEdits(); })) {
    throw kav::Exception(kav::ErrorCode::editListFull);
  }
  return true;
}

const RehearsedTrack* Rehearsal::video() const {
  const auto video = std::find_if(tracks_.begin(), tracks_.end(), [](const auto& track) {
    return track.track().handlerType == kVideo;
  });
  return video == tracks_.end() ? nullptr : &*video;
}

// The tracks come in the order of the movie, without those of captions.
std::uint32_t Rehearsal::addTrack(const kav::NorvikKavTrackConfiguration& configuration) {
  if (configuration.info.mediaTimescale == 0) {
    throw kav::Exception(kav::ErrorCode::zeroTimescale);
  }
  while (nextTrack_->handlerType == kCaptions) ++nextTrack_;
  tracks_.emplace_back(movie_, *nextTrack_++);
  hits_.emplace_back();
  return static_cast<std::uint32_t>(tracks_.size());
}

void Rehearsal::addSampleDescription(std::uint32_t /*trackNumber*/,
                                     const kav::SampleDescription& /*description*/) {}

void Rehearsal::finish() {}

// Captions come with the delay of the pictures, which the input does not have.
Time Rehearsal::timeOf(const CaptionSample& caption) const {
  const std::uint64_t due =
      presentationTime(caption.decodingTime, caption.compositionOffset, caption.timescale);
  return clamped(timeOfUnits(static_cast<std::int64_t>(due), caption.timescale) - captionShift_);
}

Rehearsal::Units Rehearsal::unitsOf(const CaptionSample& caption, Time time) {
  const bool isSingle = caption.bytes.size() <= kLargestSingleCaption;
  Units units{};
  for (const CaptionAtom& atom : CaptionAtoms(caption.bytes)) {
    if (atom.pairCount() != atom.wholePairCount()) events_.oddAtoms.add(time);
    if (!atom.field()) events_.unknownAtoms.add(time);
    if (isPadding(atom)) continue;
    auto& ofField = units.at(static_cast<std::size_t>(atom.field().value_or(captions::Field::one)));
    if (isSingle) {
      ofField = 1;
    } else {
      ofField +=
          static_cast<std::uint32_t>((atom.pairs.size() + kLargestPiece - 1) / kLargestPiece);
    }
  }
  return units;
}

void Rehearsal::captionAttaching(const CaptionSample& caption, std::size_t place) {
  attaching_ = timeOf(caption);
  const Units units = unitsOf(caption, attaching_);
  if (std::any_of(units.begin(), units.end(), [](std::uint32_t count) { return count > 1; })) {
    events_.inPieces.add(attaching_);
  }
  attached_.push_back({place, units, attaching_});
}

void Rehearsal::captionDropped(const CaptionSample& caption) {
  const Time time = timeOf(caption);
  const Units units = unitsOf(caption, time);
  if (units != Units{}) events_.dropped.add(time);
}

void Rehearsal::write(const SortedGroup& group, const SampleSlots& slots,
                      std::size_t /*captions*/) {
  for (std::size_t i = 0; i < group.length(); ++i) {
    const PendingSample& sample = group.record(i);
    tracks_[slots[sample.slot].trackNumber - 1].add(sample);
  }
  std::stable_sort(attached_.begin(), attached_.end(),
                   [](const Attached& a, const Attached& b) { return a.place < b.place; });
  for (std::span<const Attached> rest = attached_; !rest.empty();) {
    const auto end = std::find_if(rest.begin(), rest.end(), [&](const Attached& one) {
      return one.place != rest.front().place;
    });
    const auto count = static_cast<std::size_t>(end - rest.begin());
    settle(rest.first(count), group, slots);
    rest = rest.subspan(count);
  }
  attached_.clear();
}

// All captions of one sample.
void Rehearsal::settle(std::span<const Attached> captions, const SortedGroup& group,
                       const SampleSlots& slots) {
  const std::size_t place = captions.front().place;
  const PendingSample& sample = group.record(place);
  const std::size_t track = slots[sample.slot].trackNumber - 1;
  const SplicedSampleBytes* const spliced = group.splicedBytes(place);
  if (spliced == nullptr || !spliced->isChanged()) return;
  const Time time = tracks_[track].timeOf(sample);
  if (isGap(sample)) {
    for (const Attached& caption : captions) events_.inGaps.add(caption.time);
    return;
  }
  if (&tracks_[track] != video()) {
    hits_[track].add(time);
    return;
  }
  Units captionsOfField{};
  for (const Attached& caption : captions) {
    for (std::size_t i = 0; i < captionsOfField.size(); ++i) {
      if (caption.units.at(i) > 0) ++captionsOfField.at(i);
    }
  }
  if (std::any_of(captionsOfField.begin(), captionsOfField.end(),
                  [](std::uint32_t count) { return count > 1; })) {
    events_.sharedPictures.add(time);
  }
}

}  // namespace quarrypack::check
