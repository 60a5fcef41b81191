#include "kav/impl/reading/track_record.h"

#include <memory>

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

SamplePtr makeEmptySample(const TrackRecord& track, std::uint64_t time, std::uint64_t context,
                          std::uint32_t fragmentSequence) {
  auto sample = std::make_unique<Sample>();
  sample->info.decodingTime = time;
  sample->info.timescale = track.info.mediaTimescale;
  sample->info.trackId = track.info.trackId;
  sample->info.flags = kSampleIsGap;
  sample->fragmentSequence = fragmentSequence;
  sample->track = &track;
  sample->context = context;
  return sample;
}

}  // namespace norvik::kav::impl
