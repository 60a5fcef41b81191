#pragma once

#include <cstdint>
#include <span>

#include "kav/impl/boxes/table_boxes.h"
#include "kav/impl/model/box.h"
#include "kav/impl/model/build_parameters.h"
#include "kav/impl/tables/chunk_table.h"
#include "kav/sample.h"

namespace norvik::kav::impl {

class StsdBox;

// The sample table of a track. It is read with the movie, or built. Order of calls to build it:
// construct with room for the announced samples, add each sample in decoding order, call
// updateContent, then complete its tables.
class StblBox final : public Box {
 public:
  StblBox(BoxHeader header, NorvikKavStream& stream);

  // With all its tables, empty. Throws implausibleCount or implausibleSampleCount for a number of
  // samples that no real file has.
  StblBox(const TrackParameters& parameters, NorvikKavStream& stream);

  void addChild(BoxPtr child) override;
  void updateContent() override;
  std::span<const ChildRule> getChildRules() const override;
  void readChildren(RootBox& root, bool check) override;

  // Adds a sample that was written to the file: its size, times and flags, its description, and the
  // offset of its bytes. A low byte of 1 in the flags means a sync sample. Throws sampleTableFull
  // for more samples than were announced.
  void addSample(const Sample& sample);

  // The children, null if absent.
  StsdBox* stsd() const { return stsd_; }
  SttsBox* stts() const { return stts_; }
  CttsBox* ctts() const { return ctts_; }
  StscBox* stsc() const { return stsc_; }
  StszBox* stsz() const { return stsz_; }
  Co64Box* co64() const { return co64_; }
  StcoBox* stco() const { return stco_; }
  StssBox* stss() const { return stss_; }
  SdtpBox* sdtp() const { return sdtp_; }

  // The chunk offsets of either width, null if the track has none.
  const IChunkOffsetBox* chunkOffsets() const;

 private:
  // Chunks are written when they are complete.
  void writeChunk(const ChunkTableBuilder::Chunk& chunk);

  StsdBox* stsd_ = nullptr;
  SttsBox* stts_ = nullptr;
  CttsBox* ctts_ = nullptr;
  StscBox* stsc_ = nullptr;
  StszBox* stsz_ = nullptr;
  Co64Box* co64_ = nullptr;
  StcoBox* stco_ = nullptr;
  StssBox* stss_ = nullptr;
  SdtpBox* sdtp_ = nullptr;

  std::uint32_t capacity_ = 0;
  std::uint32_t samplesAdded_ = 0;
  ChunkTableBuilder chunks_;
};

}  // namespace norvik::kav::impl
