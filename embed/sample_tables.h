#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "embed/box_pieces.h"
#include "embed/offset_map.h"
#include "kav/box_view.h"

namespace quarrypack::embed {

// A run of samples that lie next to each other.
struct Chunk {
  std::uint64_t offset = 0;
  std::uint32_t firstSample = 0;  // from 0
  std::uint32_t sampleCount = 0;
};

// The tables of a stbl that state where samples lie, read in place. A table that states more
// entries than it has bytes for is refused.
class SampleTables {
 public:
  // Throws Refusal for tables that are cut short; label names the track in its text. A stbl without
  // these tables has no samples.
  SampleTables(const norvik::kav::BoxView& stbl, const std::string& label);

  std::uint32_t sampleCount() const { return sampleCount_; }
  bool hasOneSize() const { return sizeBits_ == 0; }
  std::uint32_t size(std::uint32_t sample) const;

  // The bytes of all samples of a chunk together.
  std::uint64_t length(const Chunk& chunk) const;

  // The chunks in their order, as long as there are samples.
  class Chunks {
   public:
    explicit Chunks(const SampleTables& tables) : tables_(&tables) {}
    std::optional<Chunk> next();

   private:
    const SampleTables* tables_;
    std::uint32_t chunk_ = 0;
    std::uint32_t run_ = 0;
    std::uint32_t sample_ = 0;
  };
  Chunks chunks() const { return Chunks(*this); }

 private:
  void readSizes(const norvik::kav::BoxView& box, const std::string& label);
  std::uint64_t chunkOffset(std::uint32_t chunk) const;

  std::span<const std::uint8_t> sizes_;
  std::uint32_t sizeBits_ = 0;  // of an entry; 0: all samples have the same size
  std::uint32_t oneSize_ = 0;
  std::uint32_t sampleCount_ = 0;
  std::span<const std::uint8_t> runs_;
  std::span<const std::uint8_t> offsets_;
  bool wideOffsets_ = false;
};

// The offsets of samples, requested by ascending numbers from 0; none for a sample that is not
// there.
class SamplePlaces {
 public:
  explicit SamplePlaces(const SampleTables& tables);

  std::optional<std::uint64_t> offsetOf(std::uint32_t sample);

 private:
  void nextChunk();

  const SampleTables* tables_;
  SampleTables::Chunks chunks_;
  std::optional<Chunk> chunk_;
  std::uint32_t sample_ = 0;  // the one at offset_
  std::uint64_t offset_ = 0;
};

// The sample tables of one track after splices.
class SampleTableEditor {
 public:
  // The samples of a track of pictures may grow and shrink. Those of any other track must not.
  enum class Role { pictures, other };

  // label names the track in refusals.
  SampleTableEditor(const norvik::kav::BoxView& stbl, Role role, std::string label);

  // Finds the new sizes of the samples by a map. Throws Refusal if it changes bytes of a track that
  // holds no pictures, for a sample of more than 4 GiB, and for pictures that are in no chunk.
  void measure(const OffsetMap& map);

  // Appends the new form of one of the boxes stsz, stz2, stco, co64, saio and subs, with the same
  // map. A table that has needed 64-bit offsets keeps them, so that the size of the movie box
  // settles. The pieces refer to this editor and are valid until it measures again.
  void append(const norvik::kav::BoxView& box, const OffsetMap& map, BoxPieces& pieces);

 private:
  void resizeChunk(const Chunk& chunk, OffsetMap::Cursor& cursor);
  void writeOutSizes();
  void appendSizes(const norvik::kav::BoxView& box, BoxPieces& pieces) const;
  void appendOffsets(const norvik::kav::BoxView& box, const OffsetMap& map, BoxPieces& pieces);
  void appendParts(const norvik::kav::BoxView& subs, const OffsetMap& map, BoxPieces& pieces) const;

  SampleTables tables_;
  Role role_;
  std::string label_;
  std::vector<std::uint8_t> newSizes_;  // entries of stsz; empty if no size changes
  bool wideOffsets_ = false;
};

// Appends a saio whose offsets count from the start of the file, in version 1 if the new offsets
// need it.
void appendAuxiliaryOffsets(const norvik::kav::BoxView& saio, const OffsetMap& map,
                            BoxPieces& pieces);

}  // namespace quarrypack::embed
