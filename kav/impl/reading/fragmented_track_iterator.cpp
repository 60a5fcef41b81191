#include "kav/impl/reading/fragmented_track_iterator.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "kav/exception.h"
#include "kav/impl/boxes/movie_boxes.h"
#include "kav/impl/boxes/stbl_box.h"
#include "kav/impl/boxes/table_boxes.h"
#include "kav/impl/reading/track_iterator.h"
#include "kav/impl/tree/fragment_layout.h"

namespace norvik::kav::impl {
namespace {

// Sample flags of a fragment: not a sync sample, and depending on others.
constexpr std::uint32_t kNotSyncFlags = 0x01010000;

// Eight of the flag bits are an sdtp byte.
constexpr unsigned kDependencyShift = 20;

}  // namespace

FragmentedTrackIterator::FragmentedTrackIterator(const TrackRecord& track, std::uint64_t context,
                                                 std::uint64_t start, std::uint64_t end,
                                                 std::shared_ptr<PassedRuns> passedRuns,
                                                 std::uint64_t movieBegin)
    : track_(track),
      blank_(blankSample(track, context)),
      start_(start),
      end_(end),
      movieBegin_(movieBegin),
      passedRuns_(std::move(passedRuns)) {
  openMovieSamples();
  if (movieSamples_ == nullptr) begin();
}

void FragmentedTrackIterator::begin() {
  jump();
  settle();
}

// If the samples of the movie ended at a missing description, all others end too.
void FragmentedTrackIterator::beginAfter(const Sample& lastOfMovie) {
  if (lastOfMovie.description == nullptr) {
    ended_ = true;
  } else {
    begin();
  }
}

void FragmentedTrackIterator::openMovieSamples() {
  if (!track_.hasSamplesInTables()) return;
  movieSamples_ = std::make_unique<TrackIterator>(track_, blank_.context, start_, end_);
  if (track_.stbl->stts() != nullptr) decodingTime_ = track_.stbl->stts()->endTime();
  if (!movieSamples_->hasNext()) movieSamples_.reset();
}

bool FragmentedTrackIterator::openNextFragment() {
  fragment_ = nullptr;
  RootBox& root = *track_.root;
  const FragmentDirectory::Place* place = root.fragmentOf(track_.info().trackId, nextFragment_);
  if (place == nullptr) {
    fragmentsPassed_ = root.fragmentCount();
    return false;
  }
  ++nextFragment_;
  fragment_ = place->fragment;
  fragmentsPassed_ = place->number;
  resolveFragment(*fragment_, *root.movie()->mvex());
  parts_ = fragment_->partsOf(track_.info().trackId);
  return true;
}

bool FragmentedTrackIterator::openNextPart() {
  if (fragment_ != nullptr && !parts_.empty()) {
    ++partsPassed_;
    parts_ = parts_.subspan(1);
  }
  while (fragment_ == nullptr || parts_.empty()) {
    if (!openNextFragment()) return false;
  }
  TrafBox& part = *parts_.front();
  if (!part.layout().hasMovieDefaults) throw Exception(ErrorCode::noTrackDefaults);
  const std::uint64_t inFile = part.decodeTime().value_or(wrappingAdd(decodingTime_, movieBegin_));
  decodingTime_ = inFile - std::min(inFile, movieBegin_);
  part.setStartTime(inFile);
  runBase_ = part.layout().dataBase;
  run_ = 0;
  samplesOfPart_ = 0;
  return true;
}

void FragmentedTrackIterator::leaveRun() {
  const TrunBox& run = *parts_.front()->runs()[run_ - 1];
  runBase_ = wrappingAdd(offsetFrom(runBase_, run.dataOffset()), run.totalSize());
  samplesOfPart_ += run.sampleCount();
  ++runsPassed_;
  samples_.reset();
}

bool FragmentedTrackIterator::openNextRun() {
  while (fragment_ == nullptr || parts_.empty() || run_ == parts_.front()->runs().size()) {
    if (!openNextPart()) return false;
  }
  const TrafBox& part = *parts_.front();
  const TrunBox& run = *part.runs()[run_++];
  if (run.has(TrunBox::kDataOffset)) runBase_ = part.layout().dataBase;
  samples_.emplace(run.cursor());
  noteRun();
  return true;
}

void FragmentedTrackIterator::noteRun() {
  if (passedRuns_ == nullptr) return;
  constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max();
  const std::uint64_t length = parts_.front()->runs()[run_ - 1]->totalDuration();
  const std::uint64_t end = length > kMost - decodingTime_ ? kMost : decodingTime_ + length;
  passedRuns_->note({.number = runsPassed_,
                     .fragmentsPassed = fragmentsPassed_,
                     .partsPassed = partsPassed_,
                     .nextFragment = nextFragment_,
                     .fragment = fragment_,
                     .parts = parts_,
                     .run = run_,
                     .runBase = runBase_,
                     .decodingTime = decodingTime_},
                    end);
}

// Skips to the first run that is needed, as far as another iterator has got.
void FragmentedTrackIterator::jump() {
  const PassedRuns::Place* place = passedRuns_ == nullptr ? nullptr : passedRuns_->find(start_);
  if (place == nullptr) return;
  runsPassed_ = place->number;
  fragmentsPassed_ = place->fragmentsPassed;
  partsPassed_ = place->partsPassed;
  nextFragment_ = place->nextFragment;
  fragment_ = place->fragment;
  parts_ = place->parts;
  run_ = place->run;
  runBase_ = place->runBase;
  decodingTime_ = place->decodingTime;
  samples_.emplace(parts_.front()->runs()[run_ - 1]->cursor());
}

void FragmentedTrackIterator::settle() {
  for (;;) {
    if (!samples_ && !openNextRun()) break;
    const TrunBox& run = *parts_.front()->runs()[run_ - 1];
    // A run that ends before the range is skipped as a whole.
    const std::uint64_t left = run.totalDuration();
    if (samples_->isValid() && samples_->index() == 0 && left < start_ &&
        decodingTime_ < start_ - left) {
      decodingTime_ = wrappingAdd(decodingTime_, left);
      leaveRun();
      continue;
    }
    while (samples_->isValid() && decodingTime_ < start_) {
      decodingTime_ = wrappingAdd(decodingTime_, samples_->skip(start_ - decodingTime_));
    }
    if (!samples_->isValid()) {
      leaveRun();
      continue;
    }
    if (decodingTime_ >= end_) break;
    return;
  }
  ended_ = true;
}

bool FragmentedTrackIterator::hasNext() { return movieSamples_ != nullptr || !ended_; }

std::uint8_t FragmentedTrackIterator::dependenciesOf(std::uint32_t sampleFlags) const {
  const std::span<const std::uint8_t> bytes = parts_.front()->dependencies();
  const std::size_t index = samplesOfPart_ + samples_->index();
  if (index < bytes.size()) return bytes[index];
  return static_cast<std::uint8_t>(sampleFlags >> kDependencyShift & 0xFF);
}

void FragmentedTrackIterator::fill(Sample& sample) const {
  const TrunBox::Sample& entry = samples_->current();
  const std::uint32_t descriptionIndex = parts_.front()->layout().descriptionIndex;
  sample = blank_;
  NorvikKavSampleInfo& info = sample.info;
  info.size = entry.size;
  info.decodingTime = decodingTime_;
  info.compositionOffset = entry.compositionOffset;
  info.flags = (entry.flags & kNotSyncFlags) == 0 ? kSampleIsSync : 0;
  sample.dependencies = dependenciesOf(entry.flags);
  sample.fileOffset = offsetFrom(runBase_, entry.dataOffset);
  sample.fragmentSequence = fragment_->sequenceNumber();
  sample.isOfFragment = true;
  sample.description = track_.track->description(descriptionIndex);
  if (sample.description != nullptr) sample.descriptionIndex = descriptionIndex;
}

bool FragmentedTrackIterator::takeOfMovie(Sample& sample) {
  const bool taken = movieSamples_->take(sample);
  if (!movieSamples_->hasNext()) {
    movieSamples_.reset();
    beginAfter(sample);
  }
  return taken;
}

bool FragmentedTrackIterator::take(Sample& sample) {
  if (movieSamples_ != nullptr) return takeOfMovie(sample);
  if (ended_) return false;
  fill(sample);
  if (sample.description == nullptr) {
    // Without its description, no sample after this one can be understood.
    ended_ = true;
    return true;
  }
  decodingTime_ = wrappingAdd(decodingTime_, samples_->current().duration);
  samples_->next();
  settle();
  return true;
}

}  // namespace norvik::kav::impl
