#include "embed/sample_tables.h"

#include "embed/box_rebuild.h"
#include "embed/refusal.h"
#include "embed/sample_parts.h"
#include "kav/big_endian.h"
#include "kav/four_cc.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace quarrypack::embed {

using norvik::kav::BoxView;
using norvik::kav::FourCc;
using norvik::kav::fourCc;
using norvik::kav::loadU16;
using norvik::kav::loadU32;
using norvik::kav::loadWide;
using norvik::kav::storeU32;
using norvik::kav::storeU64;

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kListFields = 8;   // version, flags, count
constexpr std::size_t kSizeFields = 12;  // version, flags, size of all or of an entry, count
constexpr std::size_t kRunEntry = 12;    // first chunk, samples in each chunk, description
constexpr std::uint32_t kMostBytes = std::numeric_limits<std::uint32_t>::max();

[[noreturn]] void refuseTable(const std::string& label, const char* table) {
  throw Refusal(label + ": the table '" + table + "' is cut short. The file is damaged");
}

// The entries of a list after its fields, exactly as many as it claims.
Bytes entriesOf(Bytes payload, std::size_t fieldsLength, std::uint64_t length,
                const std::string& label, const char* table) {
  if (payload.size() < fieldsLength || payload.size() - fieldsLength < length) {
    refuseTable(label, table);
  }
  return payload.subspan(fieldsLength, static_cast<std::size_t>(length));
}

Bytes listEntries(const std::optional<BoxView>& box, std::size_t entrySize,
                  const std::string& label, const char* table) {
  if (!box) return {};
  if (box->payload().size() < kListFields) refuseTable(label, table);
  const std::uint64_t count = loadU32(box->payload().data() + 4);
  return entriesOf(box->payload(), kListFields, count * entrySize, label, table);
}

std::uint32_t entryCount(Bytes entries, std::size_t entrySize) {
  return static_cast<std::uint32_t>(entries.size() / entrySize);
}

// One pass over the children of a stbl for the first box of each type.
struct TableBoxes {
  explicit TableBoxes(const BoxView& stbl) {
    forEachBox(stbl.payload(), [this](const BoxView& box) {
      const auto remember = [&box](std::optional<BoxView>& place) {
        if (!place) place = box;
      };
      if (box.type() == fourCc("stsz") || box.type() == fourCc("stz2")) remember(sizes);
      if (box.type() == fourCc("stsc")) remember(runs);
      if (box.type() == fourCc("stco") || box.type() == fourCc("co64")) remember(offsets);
    });
  }

  std::optional<BoxView> sizes;
  std::optional<BoxView> runs;
  std::optional<BoxView> offsets;
};

}  // namespace

SampleTables::SampleTables(const BoxView& stbl, const std::string& label) {
  const TableBoxes boxes(stbl);
  if (boxes.sizes) readSizes(*boxes.sizes, label);
  runs_ = listEntries(boxes.runs, kRunEntry, label, "stsc");
  wideOffsets_ = boxes.offsets && boxes.offsets->type() == fourCc("co64");
  offsets_ =
      listEntries(boxes.offsets, wideOffsets_ ? 8 : 4, label, wideOffsets_ ? "co64" : "stco");
}

void SampleTables::readSizes(const BoxView& box, const std::string& label) {
  const bool isCompact = box.type() == fourCc("stz2");
  const char* const table = isCompact ? "stz2" : "stsz";
  const Bytes payload = box.payload();
  if (payload.size() < kSizeFields) refuseTable(label, table);
  const std::uint32_t field = loadU32(payload.data() + 4);
  sampleCount_ = loadU32(payload.data() + 8);
  if (isCompact) {
    sizeBits_ = field & 0xFF;
    if (sizeBits_ != 4 && sizeBits_ != 8 && sizeBits_ != 16) refuseTable(label, table);
  } else {
    oneSize_ = field;
    sizeBits_ = field == 0 ? 32 : 0;
  }
  const std::uint64_t bits = std::uint64_t{sampleCount_} * sizeBits_;
  sizes_ = entriesOf(payload, kSizeFields, (bits + 7) / 8, label, table);
}

std::uint32_t SampleTables::size(std::uint32_t sample) const {
  switch (sizeBits_) {
    case 0:
      return oneSize_;
    case 4:
      return sample % 2 == 0 ? sizes_[sample / 2] >> 4u : sizes_[sample / 2] & 0x0Fu;
    case 8:
      return sizes_[sample];
    case 16:
      return loadU16(sizes_.data() + std::size_t{sample} * 2);
    default:
      return loadU32(sizes_.data() + std::size_t{sample} * 4);
  }
}

std::uint64_t SampleTables::length(const Chunk& chunk) const {
  if (hasOneSize()) return std::uint64_t{chunk.sampleCount} * oneSize_;
  std::uint64_t length = 0;
  for (std::uint32_t i = 0; i < chunk.sampleCount; ++i) length += size(chunk.firstSample + i);
  return length;
}

std::uint64_t SampleTables::chunkOffset(std::uint32_t chunk) const {
  const std::size_t width = wideOffsets_ ? 8 : 4;
  return loadWide(offsets_.data() + chunk * width, wideOffsets_);
}

std::optional<Chunk> SampleTables::Chunks::next() {
  const SampleTables& t = *tables_;
  const std::uint32_t runCount = entryCount(t.runs_, kRunEntry);
  const auto firstOfRun = [&t](std::uint32_t run) {
    return loadU32(t.runs_.data() + run * kRunEntry);
  };
  const std::uint32_t chunkCount = entryCount(t.offsets_, t.wideOffsets_ ? 8 : 4);
  if (chunk_ == chunkCount || runCount == 0 || sample_ == t.sampleCount_) return std::nullopt;
  // Runs count chunks from 1.
  while (run_ + 1 < runCount && firstOfRun(run_ + 1) <= chunk_ + 1) ++run_;
  const std::uint32_t perChunk = loadU32(t.runs_.data() + run_ * kRunEntry + 4);
  const Chunk chunk{t.chunkOffset(chunk_), sample_, std::min(perChunk, t.sampleCount_ - sample_)};
  ++chunk_;
  sample_ += chunk.sampleCount;
  return chunk;
}

SamplePlaces::SamplePlaces(const SampleTables& tables)
    : tables_(&tables), chunks_(tables.chunks()) {
  nextChunk();
}

void SamplePlaces::nextChunk() {
  chunk_ = chunks_.next();
  if (!chunk_) return;
  sample_ = chunk_->firstSample;
  offset_ = chunk_->offset;
}

std::optional<std::uint64_t> SamplePlaces::offsetOf(std::uint32_t sample) {
  while (chunk_ && sample - chunk_->firstSample >= chunk_->sampleCount) nextChunk();
  if (!chunk_ || sample < sample_) return std::nullopt;
  while (sample_ < sample) offset_ += tables_->size(sample_++);
  return offset_;
}

SampleTableEditor::SampleTableEditor(const BoxView& stbl, Role role, std::string label)
    : tables_(stbl, label), role_(role), label_(std::move(label)) {}

void SampleTableEditor::measure(const OffsetMap& map) {
  newSizes_.clear();
  OffsetMap::Cursor cursor(map);
  SampleTables::Chunks chunks = tables_.chunks();
  std::uint32_t placed = 0;
  while (const std::optional<Chunk> chunk = chunks.next()) {
    placed += chunk->sampleCount;
    if (!cursor.changes(chunk->offset, tables_.length(*chunk))) continue;
    if (role_ == Role::other) {
      throw Refusal(label_ +
                    ": its samples share bytes with pictures that captions go into, or with other "
                    "changes. Make a plain copy of the movie first");
    }
    resizeChunk(*chunk, cursor);
  }
  // Readers do not agree where the others are.
  if (role_ == Role::pictures && placed < tables_.sampleCount()) {
    throw Refusal(label_ + ": its chunks hold " + std::to_string(placed) + " of its " +
                  std::to_string(tables_.sampleCount()) +
                  " samples. Make a plain copy of the movie first");
  }
}

void SampleTableEditor::resizeChunk(const Chunk& chunk, OffsetMap::Cursor& cursor) {
  std::uint64_t offset = chunk.offset;
  for (std::uint32_t i = chunk.firstSample; i < chunk.firstSample + chunk.sampleCount; ++i) {
    const std::uint32_t oldSize = tables_.size(i);
    const std::uint64_t newSize = cursor.newLength(offset, oldSize);
    offset += oldSize;
    if (newSize == oldSize) continue;
    if (newSize > kMostBytes) {
      throw Refusal(label_ + ": sample " + std::to_string(i + 1) + " would be larger than 4 GiB");
    }
    if (newSizes_.empty()) writeOutSizes();
    storeU32(newSizes_.data() + std::size_t{i} * 4, static_cast<std::uint32_t>(newSize));
  }
}

void SampleTableEditor::writeOutSizes() {
  // If all samples have one size, a few bytes can claim any number of them.
  constexpr std::uint32_t kMostPictures = 1u << 26;
  const std::uint32_t count = tables_.sampleCount();
  if (tables_.hasOneSize() && count > kMostPictures) {
    throw Refusal(label_ + ": it claims " + std::to_string(count) +
                  " samples, more than any film has. The file is damaged");
  }
  newSizes_.resize(std::size_t{count} * 4);
  for (std::uint32_t i = 0; i < count; ++i) {
    storeU32(newSizes_.data() + std::size_t{i} * 4, tables_.size(i));
  }
}

void SampleTableEditor::append(const BoxView& box, const OffsetMap& map, BoxPieces& pieces) {
  switch (box.type()) {
    case fourCc("stsz"):
    case fourCc("stz2"):
      return appendSizes(box, pieces);
    case fourCc("stco"):
    case fourCc("co64"):
      return appendOffsets(box, map, pieces);
    case fourCc("subs"):
      return appendParts(box, map, pieces);
    default:
      return appendAuxiliaryOffsets(box, map, pieces);
  }
}

void SampleTableEditor::appendSizes(const BoxView& box, BoxPieces& pieces) const {
  if (newSizes_.empty()) return pieces.keep(box.bytes());
  const BoxPieces::Mark mark = pieces.open(fourCc("stsz"));
  pieces.addU32(0);  // version, flags
  pieces.addU32(0);  // no common size
  pieces.addU32(tables_.sampleCount());
  pieces.keep(newSizes_);
  pieces.close(mark);
}

void SampleTableEditor::appendOffsets(const BoxView& box, const OffsetMap& map, BoxPieces& pieces) {
  const std::size_t oldWidth = box.type() == fourCc("co64") ? 8 : 4;
  const Bytes entries = listEntries(box, oldWidth, label_, oldWidth == 8 ? "co64" : "stco");
  const std::uint32_t count = entryCount(entries, oldWidth);
  const auto oldOffset = [&](std::uint32_t i) {
    return loadWide(entries.data() + i * oldWidth, oldWidth == 8);
  };
  OffsetMap::Cursor cursor(map);
  wideOffsets_ = wideOffsets_ || oldWidth == 8;
  for (std::uint32_t i = 0; i < count && !wideOffsets_; ++i) {
    wideOffsets_ = cursor.newOffset(oldOffset(i)) > kMostBytes;
  }

  const std::size_t width = wideOffsets_ ? 8 : 4;
  std::vector<std::uint8_t> table(count * width);
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::uint64_t offset = cursor.newOffset(oldOffset(i));
    std::uint8_t* const entry = table.data() + i * width;
    wideOffsets_ ? storeU64(entry, offset) : storeU32(entry, static_cast<std::uint32_t>(offset));
  }
  const BoxPieces::Mark mark = pieces.open(wideOffsets_ ? fourCc("co64") : fourCc("stco"));
  pieces.addU32(0);  // version, flags
  pieces.addU32(count);
  pieces.add(std::move(table));
  pieces.close(mark);
}

void SampleTableEditor::appendParts(const BoxView& subs, const OffsetMap& map,
                                    BoxPieces& pieces) const {
  if (role_ == Role::other) return pieces.keep(subs.bytes());
  SamplePlaces places(tables_);
  appendSampleParts(
      subs, [&places](std::uint32_t sample) { return places.offsetOf(sample); },
      PartSizes::asNeeded, map, pieces);
}

void appendAuxiliaryOffsets(const BoxView& saio, const OffsetMap& map, BoxPieces& pieces) {
  const Bytes payload = saio.payload();
  const std::size_t typeLength = payload.size() >= 4 && (payload[3] & 1) != 0 ? 8 : 0;
  const std::size_t fieldsLength = kListFields + typeLength;
  if (payload.size() < fieldsLength) return pieces.keep(saio.bytes());
  const std::size_t oldWidth = payload[0] == 0 ? 4 : 8;
  const Bytes rest = payload.subspan(fieldsLength);
  const std::uint64_t count = loadU32(payload.data() + fieldsLength - 4);
  if (rest.size() / oldWidth < count) return pieces.keep(saio.bytes());

  std::vector<std::uint64_t> offsets(static_cast<std::size_t>(count));
  OffsetMap::Cursor cursor(map);
  bool wide = oldWidth == 8;
  for (std::size_t i = 0; i < offsets.size(); ++i) {
    offsets[i] = cursor.newOffset(loadWide(rest.data() + i * oldWidth, oldWidth == 8));
    wide = wide || offsets[i] > kMostBytes;
  }
  const std::uint8_t version = wide ? 1 : 0;
  const BoxPieces::Mark mark = pieces.open(saio.type());
  pieces.add(Bytes(&version, 1));
  pieces.keep(payload.first(fieldsLength).subspan(1));
  for (const std::uint64_t offset : offsets) pieces.addWide(offset, wide);
  pieces.close(mark);
}

}  // namespace quarrypack::embed
