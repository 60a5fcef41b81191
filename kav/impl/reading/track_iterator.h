#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "kav/impl/reading/edit_segments.h"
#include "kav/impl/reading/sample_iterator.h"
#include "kav/impl/reading/track_record.h"
#include "kav/impl/tables/chunk_table.h"
#include "kav/impl/tables/composition_table.h"
#include "kav/impl/tables/sync_table.h"
#include "kav/impl/tables/table_interfaces.h"
#include "kav/impl/tables/time_table.h"

namespace norvik::kav::impl {

// The samples of a track outside fragments, found through its sample tables, one segment of its
// media after another.
class TrackIterator final : public SampleIterator {
 public:
  // The samples from a decoding time on, ending before the first at or after another, both in the
  // media timescale.
  TrackIterator(const TrackRecord& track, std::uint64_t context, std::uint64_t start,
                std::uint64_t end);

  // The samples of several segments, whose times are in segmentTimescale, up to the end of the
  // requested range in the media timescale. Each empty segment gives one empty-edit sample. Throws
  // incompleteSampleTable for a track without the necessary tables.
  TrackIterator(const TrackRecord& track, std::uint64_t context, std::vector<EditSegment> segments,
                std::uint32_t segmentTimescale, std::uint64_t end);

  bool hasNext() override;
  bool take(Sample& sample) override;

 private:
  // Moves the iterator to the first sample of the first segment from segment_ on that has one.
  void openSegment();
  void position(std::uint64_t start, std::uint64_t end);
  bool walkToSample(std::uint32_t number);
  void describe();
  bool enterChunk();
  void advance(std::uint32_t size);  // of the current sample
  void fill(Sample& sample);

  const TrackRecord& track_;
  Sample blank_;  // the fields that all samples of the chunk share
  std::vector<EditSegment> segments_;
  std::uint32_t segmentTimescale_;
  std::uint64_t end_;
  std::size_t segment_ = 0;

  bool valid_ = false;          // there is a current sample
  std::uint64_t rangeEnd_ = 0;  // of the segment, in the media timescale
  std::uint64_t offset_ = 0;    // of the current sample in the file
  TimeCursor times_;
  std::unique_ptr<SampleSizeIterator> sizes_;
  std::unique_ptr<ChunkOffsetIterator> chunkOffsets_;
  ChunkCursor chunks_;
  CompositionCursor compositionOffsets_;
  SyncSampleCursor syncSamples_;
  std::span<const std::uint8_t> dependencies_;  // the sdtp bytes still to come
};

}  // namespace norvik::kav::impl
