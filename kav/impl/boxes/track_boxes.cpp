#include "kav/impl/boxes/track_boxes.h"

#include <array>
#include <utility>

#include "kav/big_endian.h"
#include "kav/exception.h"
#include "kav/impl/boxes/media_boxes.h"
#include "kav/rescale_time.h"

namespace norvik::kav::impl {
namespace {

// More entries than any real file holds.
constexpr std::uint32_t kImplausibleCount = 100000001;

constexpr std::array<ChildRule, 2> kTrakRules = {{
    {fourCc("tkhd"), ChildRule::Kind::exactlyOne},
    {fourCc("mdia"), ChildRule::Kind::exactlyOne},
}};

TkhdRecord recordFrom(const TrackParameters& parameters) {
  TkhdRecord record;
  record.creationTime = parameters.creationTime;
  record.modificationTime = parameters.modificationTime;
  record.trackId = parameters.trackId;
  record.duration =
      rescaleTime(parameters.mediaDuration, parameters.timescale, parameters.movieTimescale);
  record.volume = parameters.volume;
  record.width = parameters.width;
  record.height = parameters.height;
  return record;
}

}  // namespace

TrakBox::TrakBox(BoxHeader header, NorvikKavStream& stream) : Box(std::move(header), stream) {
  setLengths(headerLength());
}

TrakBox::TrakBox(const TrackParameters& parameters, NorvikKavStream& stream)
    : Box(fourCc("trak"), stream) {
  addNewChild<TkhdBox>(*this, parameters, TkhdBox::kTrackEnabled, stream);
  if (parameters.handlerType == fourCc("hint")) {
    addNewChild<TrefBox>(*this, parameters.hintedTrackIds, stream);
  }
  addNewChild<MdiaBox>(*this, parameters, stream);
  addNewChild<EdtsBox>(*this, parameters.editCapacity, stream);
}

void TrakBox::addChild(BoxPtr child) {
  remember(tkhd_, *child);
  remember(tref_, *child);
  remember(mdia_, *child);
  remember(edts_, *child);
  Box::addChild(std::move(child));
}

std::span<const ChildRule> TrakBox::getChildRules() const { return kTrakRules; }

StblBox* TrakBox::findStbl() const {
  if (mdia_ == nullptr || mdia_->minf() == nullptr) return nullptr;
  return mdia_->minf()->stbl();
}

TkhdBox::TkhdBox(const TrackParameters& parameters, std::uint32_t flags, NorvikKavStream& stream)
    : RecordBox(fourCc("tkhd"), stream, flags, recordFrom(parameters)) {}

HintBox::HintBox(std::vector<std::uint32_t> trackIds, NorvikKavStream& stream)
    : Box(fourCc("hint"), stream), trackIds_(std::move(trackIds)) {
  grow(4 * trackIds_.size());
}

void HintBox::readContent() {
  if (bytesLeft() / 4 >= kImplausibleCount) throw Exception(ErrorCode::implausibleCount);
  const auto count = static_cast<std::size_t>(bytesLeft() / 4);
  std::vector<std::uint8_t> bytes(4 * count);
  stream().readFully(bytes.data(), bytes.size());
  trackIds_.resize(count);
  for (std::size_t i = 0; i < count; ++i) trackIds_[i] = loadU32(bytes.data() + 4 * i);
}

void HintBox::writeContent() {
  std::vector<std::uint8_t> bytes(4 * trackIds_.size());
  for (std::size_t i = 0; i < trackIds_.size(); ++i) storeU32(bytes.data() + 4 * i, trackIds_[i]);
  writeAt(contentStart(), bytes);
}

TrefBox::TrefBox(BoxHeader header, NorvikKavStream& stream) : Box(std::move(header), stream) {
  setLengths(headerLength());
}

TrefBox::TrefBox(const std::vector<std::uint32_t>& hintedTrackIds, NorvikKavStream& stream)
    : Box(fourCc("tref"), stream) {
  addNewChild<HintBox>(*this, hintedTrackIds, stream);
}

void TrefBox::addChild(BoxPtr child) {
  remember(hint_, *child);
  Box::addChild(std::move(child));
}

ElstBox::ElstBox(std::uint32_t gapCount, NorvikKavStream& stream)
    : FullBox(fourCc("elst"), stream, kVersion1.version, 0) {
  setLengths(kFullBoxHeaderSize + 4);
  reserve(gapCount);
}

std::uint64_t ElstBox::roomFor(std::uint32_t gapCount) {
  return recordSize<EditRecord>(kVersion1) * (2 * std::uint64_t{gapCount} + 1);
}

void ElstBox::reserve(std::uint32_t gapCount) { setExtent(ownLength() + roomFor(gapCount)); }

void ElstBox::addEdit(std::uint64_t segmentDuration, std::int64_t mediaTime) {
  const std::uint64_t grown = ownLength() + recordSize<EditRecord>(form());
  if (edits_.size() >= kMostWritten || grown > extent()) {
    throw Exception(ErrorCode::editListFull);
  }
  edits_.push_back({.segmentDuration = segmentDuration, .mediaTime = mediaTime});
  setOwnLength(grown);
}

void ElstBox::setLastSegmentDuration(std::uint64_t segmentDuration) {
  if (!edits_.empty()) edits_.back().segmentDuration = segmentDuration;
}

void ElstBox::readContent() {
  if (bytesLeft() < 4) throw Exception(ErrorCode::truncatedBox);
  std::array<std::uint8_t, 4> countBytes;
  stream().readFully(countBytes.data(), countBytes.size());
  const std::size_t count = loadU32(countBytes.data());
  if (count >= kImplausibleCount) throw Exception(ErrorCode::implausibleCount);
  const std::size_t editSize = recordSize<EditRecord>(form());
  if (bytesLeft() < count * editSize) throw Exception(ErrorCode::truncatedBox);

  std::vector<std::uint8_t> bytes(count * editSize);
  stream().readFully(bytes.data(), bytes.size());
  edits_.resize(count);
  FieldReader reader(bytes, form());
  for (EditRecord& edit : edits_) EditRecord::layout(reader, edit);
}

void ElstBox::writeContent() {
  if (edits_.size() > kMostWritten) throw Exception(ErrorCode::editListFull);
  std::vector<std::uint8_t> bytes(4 + edits_.size() * recordSize<EditRecord>(form()));
  storeU32(bytes.data(), static_cast<std::uint32_t>(edits_.size()));
  FieldWriter writer{std::span(bytes).subspan(4), form()};
  for (const EditRecord& edit : edits_) EditRecord::layout(writer, edit);
  writeAt(contentStart(), bytes);
}

void ElstBox::updateContent() {
  writeContent();
  // The room may have been released since the header was written.
  patchSize();
}

EdtsBox::EdtsBox(BoxHeader header, NorvikKavStream& stream) : Box(std::move(header), stream) {
  setLengths(headerLength());
}

EdtsBox::EdtsBox(std::uint32_t gapCount, NorvikKavStream& stream) : Box(fourCc("edts"), stream) {
  addNewChild<ElstBox>(*this, gapCount, stream);
}

void EdtsBox::addChild(BoxPtr child) {
  remember(elst_, *child);
  Box::addChild(std::move(child));
}

}  // namespace norvik::kav::impl
