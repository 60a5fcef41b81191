#include "kav/impl/boxes/stbl_box.h"

#include <array>
#include <utility>

#include "kav/exception.h"
#include "kav/impl/boxes/description_boxes.h"

namespace norvik::kav::impl {
namespace {

constexpr std::array kChunkOffsetTypes = {fourCc("stco"), fourCc("co64")};
constexpr std::array kSampleSizeTypes = {fourCc("stsz")};
constexpr std::array kRules = {
    ChildRule{fourCc("stsd"), ChildRule::Kind::exactlyOne},
    ChildRule{fourCc("stts"), ChildRule::Kind::exactlyOne},
    ChildRule{fourCc("stsc"), ChildRule::Kind::exactlyOne},
    ChildRule{0, ChildRule::Kind::exactlyOneOf, kChunkOffsetTypes},
    ChildRule{0, ChildRule::Kind::exactlyOneOf, kSampleSizeTypes},
};

// Whether the flags of a sample mark it as a sync sample and nothing else.
bool isSync(std::uint32_t flags) { return (flags & 0xFF) == 1; }

std::uint8_t dependenciesOf(std::uint32_t flags) {
  return static_cast<std::uint8_t>(flags >> 8 & 0xFF);
}

}  // namespace

StblBox::StblBox(BoxHeader header, NorvikKavStream& stream) : Box(std::move(header), stream) {
  setLengths(headerLength());
}

StblBox::StblBox(const TrackParameters& parameters, NorvikKavStream& stream)
    : Box(fourCc("stbl"), stream), capacity_(parameters.sampleCapacity) {
  addNewChild<StsdBox>(*this, parameters.handlerType, parameters.descriptionCount,
                       parameters.descriptionLength, stream);
  addNewChild<SttsBox>(*this, capacity_, parameters.lastSampleDuration, stream);
  addNewChild<StscBox>(*this, capacity_, stream);
  addNewChild<StszBox>(*this, capacity_, stream);
  addNewChild<Co64Box>(*this, capacity_, stream);
  addNewChild<CttsBox>(*this, capacity_, stream);
  addNewChild<StssBox>(*this, capacity_, stream);
  if (parameters.hasSampleDependencies) addNewChild<SdtpBox>(*this, capacity_, stream);
}

void StblBox::addChild(BoxPtr child) {
  remember(stsd_, *child);
  remember(stts_, *child);
  remember(ctts_, *child);
  remember(stsc_, *child);
  remember(stsz_, *child);
  remember(co64_, *child);
  remember(stco_, *child);
  remember(stss_, *child);
  remember(sdtp_, *child);
  Box::addChild(std::move(child));
}

std::span<const ChildRule> StblBox::getChildRules() const { return kRules; }

const IChunkOffsetBox* StblBox::chunkOffsets() const {
  if (co64_ != nullptr) return co64_;
  return stco_;
}

void StblBox::readChildren(RootBox& root, bool check) {
  for (const BoxPtr& child : children()) {
    if (child->type() != fourCc("sdtp")) child->readBody(root, check);
  }
  // Only the other tables give its length, and they may come after it.
  if (sdtp_ == nullptr || stsz_ == nullptr) return;
  sdtp_->setSampleCount(stsz_->sampleCount());
  sdtp_->readBody(root, check);
}

void StblBox::addSample(const Sample& sample) {
  if (samplesAdded_ >= capacity_) throw Exception(ErrorCode::sampleTableFull);
  ++samplesAdded_;
  const NorvikKavSampleInfo& info = sample.info;
  stts_->addSampleTime(info.decodingTime);
  ctts_->addCompositionOffset(info.compositionOffset);
  stsz_->addSampleSize(info.size);
  const auto closed = chunks_.add(sample.fileOffset, info.size, sample.descriptionIndex);
  if (closed) writeChunk(*closed);
  if (isSync(info.flags)) stss_->addSyncSample(stsz_->sampleCount());
  if (sdtp_ != nullptr) sdtp_->addSampleDependencies(dependenciesOf(info.flags));
}

void StblBox::writeChunk(const ChunkTableBuilder::Chunk& chunk) {
  const ChunkEntry& entry = chunk.entry;
  stsc_->addChunk(entry.firstChunk, entry.samplesPerChunk, entry.descriptionIndex);
  co64_->addChunkOffset(chunk.offset);
}

void StblBox::updateContent() {
  if (const auto chunk = chunks_.finish()) writeChunk(*chunk);
}

}  // namespace norvik::kav::impl
