#include "kav/impl/reading/track_record.h"

#include "kav/impl/boxes/movie_boxes.h"
#include "kav/impl/boxes/stbl_box.h"
#include "kav/impl/boxes/table_boxes.h"

namespace norvik::kav::impl {

const ElstBox* TrackRecord::edits() const {
  if (trak->edts() == nullptr || trak->edts()->elst() == nullptr) return nullptr;
  const ElstBox* elst = trak->edts()->elst();
  return elst->edits().empty() ? nullptr : elst;
}

bool TrackRecord::isFragmented() const {
  return root->movie() != nullptr && root->movie()->mvex() != nullptr;
}

bool TrackRecord::hasSamplesInTables() const {
  return stbl != nullptr && stbl->stsz() != nullptr && stbl->stsz()->sampleCount() != 0;
}

std::span<const std::uint32_t> hintedTracks(const TrackRecord& track) {
  const TrefBox* references = track.trak->tref();
  const HintBox* hint = references == nullptr ? nullptr : references->hint();
  if (hint == nullptr) return {};
  return hint->trackIds();
}

Sample blankSample(const TrackRecord& track, std::uint64_t context) {
  Sample sample;
  sample.info.timescale = track.info().mediaTimescale;
  sample.info.trackId = track.info().trackId;
  sample.track = track.track;
  sample.context = context;
  return sample;
}

Sample emptySample(const TrackRecord& track, std::uint64_t time, std::uint64_t context,
                   std::uint32_t fragmentSequence) {
  Sample sample = blankSample(track, context);
  sample.info.decodingTime = time;
  sample.info.flags = kSampleIsGap;
  sample.fragmentSequence = fragmentSequence;
  return sample;
}

}  // namespace norvik::kav::impl
