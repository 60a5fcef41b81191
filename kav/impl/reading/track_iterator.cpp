#include "kav/impl/reading/track_iterator.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "kav/exception.h"
#include "kav/impl/boxes/stbl_box.h"
#include "kav/impl/boxes/table_boxes.h"
#include "kav/rescale_time.h"
#include "kav/wrapping.h"

namespace norvik::kav::impl {
namespace {

constexpr std::uint64_t kToTheEnd = std::numeric_limits<std::uint64_t>::max();

// A range as the one segment that shows it; nothing for an empty range, since a segment without a
// duration would show all the rest of the media.
std::vector<EditSegment> segmentsOfRange(std::uint64_t start, std::uint64_t end) {
  if (end <= start) return {};
  return {EditSegment{end - start, start, start}};
}

}  // namespace

TrackIterator::TrackIterator(const TrackRecord& track, std::uint64_t context, std::uint64_t start,
                             std::uint64_t end)
    : TrackIterator(track, context, segmentsOfRange(start, end), track.info().mediaTimescale, end) {
}

TrackIterator::TrackIterator(const TrackRecord& track, std::uint64_t context,
                             std::vector<EditSegment> segments, std::uint32_t segmentTimescale,
                             std::uint64_t end)
    : track_(track),
      blank_(blankSample(track, context)),
      segments_(std::move(segments)),
      segmentTimescale_(segmentTimescale),
      end_(end),
      sizes_(std::make_unique<NullSampleSizeIterator>()),
      chunkOffsets_(std::make_unique<NullChunkOffsetIterator>()) {
  const StblBox* stbl = track_.stbl;
  if (stbl == nullptr || stbl->stts() == nullptr || stbl->stsc() == nullptr ||
      stbl->stsz() == nullptr || stbl->chunkOffsets() == nullptr) {
    throw Exception(ErrorCode::incompleteSampleTable);
  }
  openSegment();
}

void TrackIterator::openSegment() {
  valid_ = false;
  for (; segment_ < segments_.size(); ++segment_) {
    const EditSegment& segment = segments_[segment_];
    if (segment.isEmpty()) return;
    const std::uint32_t timescale = track_.info().mediaTimescale;
    const std::uint64_t start = rescaleTime(segment.mediaTime, segmentTimescale_, timescale);
    const std::uint64_t shown =
        rescaleTime(segment.presentationStart, segmentTimescale_, timescale);
    const std::uint64_t length = segment.duration == 0
                                     ? kToTheEnd
                                     : rescaleTime(segment.duration, segmentTimescale_, timescale);
    const std::uint64_t requested = end_ - std::min(end_, shown);
    const std::uint64_t room = kToTheEnd - start;
    position(start, start + std::min({length, requested, room}));
    if (valid_) return;
  }
}

void TrackIterator::position(std::uint64_t start, std::uint64_t end) {
  const StblBox& stbl = *track_.stbl;
  rangeEnd_ = end;
  times_ = stbl.stts()->getTimeCursor(start);
  if (!times_.isValid() || times_.decodingTime() >= rangeEnd_) return;
  const std::uint32_t number = times_.sampleNumber();
  chunks_ = stbl.stsc()->getChunkCursor(number);
  chunkOffsets_ = stbl.chunkOffsets()->getChunkOffsetIterator(chunks_.chunkNumber());
  if (!chunkOffsets_->isValid()) return;
  offset_ = chunkOffsets_->getOffset();
  if (!walkToSample(number)) return;
  describe();
  compositionOffsets_ =
      stbl.ctts() == nullptr ? CompositionCursor() : stbl.ctts()->getCompositionCursor(number);
  syncSamples_ =
      stbl.stss() == nullptr ? SyncSampleCursor() : stbl.stss()->getSyncSampleCursor(number);
  // The bytes begin with that of the first sample, wherever the range begins.
  dependencies_ = stbl.sdtp() == nullptr ? std::span<const std::uint8_t>() : stbl.sdtp()->bytes();
  valid_ = true;
}

bool TrackIterator::walkToSample(std::uint32_t number) {
  const StszBox& sizes = *track_.stbl->stsz();
  const std::uint32_t first = chunks_.sampleNumber();
  sizes_ = sizes.getSampleSizeIterator(number);
  if (!sizes_->isValid()) return false;
  const std::uint32_t passed = wrappingSubtract(number, first);
  offset_ = wrappingAdd(offset_, sizes.totalSize(first, passed));
  chunks_.advanceWithinChunk(passed);
  return true;
}

void TrackIterator::describe() {
  const std::uint32_t index = chunks_.descriptionIndex();
  blank_.description = track_.track->description(index);
  blank_.descriptionIndex = blank_.description == nullptr ? 0 : index;
}

// Goes on in the next chunk; false if there is none.
bool TrackIterator::enterChunk() {
  chunkOffsets_->next();
  if (chunkOffsets_->isValid()) offset_ = chunkOffsets_->getOffset();
  if (!chunks_.isValid()) return false;
  describe();
  return true;
}

void TrackIterator::advance(std::uint32_t size) {
  offset_ = wrappingAdd(offset_, size);
  times_.advance();
  if (times_.isValid()) {
    sizes_->next();
    if (sizes_->isValid() && times_.decodingTime() < rangeEnd_) {
      if (!dependencies_.empty()) dependencies_ = dependencies_.subspan(1);
      compositionOffsets_.advance();
      const std::uint32_t chunk = chunks_.chunkNumber();
      chunks_.advance();
      if (chunks_.chunkNumber() == chunk || enterChunk()) return;
    }
  }
  ++segment_;
  openSegment();
}

void TrackIterator::fill(Sample& sample) {
  sample = blank_;
  NorvikKavSampleInfo& info = sample.info;
  info.size = sizes_->getSampleSize();
  info.decodingTime = times_.decodingTime();
  info.compositionOffset = compositionOffsets_.compositionOffset();
  if (!dependencies_.empty()) {
    sample.dependencies = dependencies_.front();
    info.flags = std::uint32_t{sample.dependencies} << kSampleDependencyShift;
  }
  if (syncSamples_.isAt(times_.sampleNumber())) {
    info.flags |= kSampleIsSync;
    syncSamples_.next();
  }
  sample.fileOffset = offset_;
}

bool TrackIterator::hasNext() { return valid_ || segment_ < segments_.size(); }

bool TrackIterator::take(Sample& sample) {
  if (!hasNext()) return false;
  if (!valid_) {
    // An empty segment, at which openSegment has stopped.
    const std::uint64_t time =
        rescaleTime(segments_[segment_].duration, segmentTimescale_, track_.info().mediaTimescale);
    ++segment_;
    openSegment();
    sample = emptySample(track_, time, blank_.context, 0);
    return true;
  }
  fill(sample);
  if (sample.description == nullptr) {
    // Without its description, no sample after this one can be understood.
    valid_ = false;
    segment_ = segments_.size();
    return true;
  }
  advance(sample.info.size);
  return true;
}

}  // namespace norvik::kav::impl
