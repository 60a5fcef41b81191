#include "kav/impl/boxes/movie_boxes.h"

#include <array>

#include "kav/impl/boxes/track_boxes.h"

namespace norvik::kav::impl {
namespace {

constexpr std::array<ChildRule, 2> kMoovRules = {{
    {fourCc("mvhd"), ChildRule::Kind::exactlyOne},
    {fourCc("trak"), ChildRule::Kind::atLeastOne},
}};

MvhdRecord recordFrom(const MovieParameters& parameters) {
  MvhdRecord record;
  record.creationTime = parameters.creationTime;
  record.modificationTime = parameters.modificationTime;
  record.timescale = parameters.timescale;
  record.duration = parameters.duration;
  record.rate = parameters.rate;
  record.volume = parameters.volume;
  return record;
}

// Up to this number of tracks it is cheap to move them all for every new one.
constexpr std::size_t kFewTracks = 16;

TrexRecord trexRecordOf(std::uint32_t trackId) {
  TrexRecord record;
  record.trackId = trackId;
  return record;
}

}  // namespace

MoovBox::MoovBox(BoxHeader header, NorvikKavStream& stream) : Box(std::move(header), stream) {
  setLengths(headerLength());
}

MoovBox::MoovBox(NorvikKavStream& stream) : Box(fourCc("moov"), stream) {}

void MoovBox::addChild(BoxPtr child) {
  remember(mvhd_, *child);
  remember(mvex_, *child);
  if (auto* track = childAs<TrakBox>(*child)) tracks_.push_back(track);
  Box::addChild(std::move(child));
}

std::span<const ChildRule> MoovBox::getChildRules() const { return kMoovRules; }

MvhdBox::MvhdBox(const MovieParameters& parameters, NorvikKavStream& stream)
    : RecordBox(fourCc("mvhd"), stream, 0, recordFrom(parameters)) {}

bool MoovBox::addTrackDefaults(std::uint32_t trackId) {
  const std::uint64_t before = mvex_->extent();
  mvex_->addDefaults(trackId);
  const std::uint64_t grown = mvex_->extent() - before;
  if (grown == 0) return false;
  setExtent(extent() + grown);
  place(start());
  return true;
}

MehdBox::MehdBox(std::uint64_t fragmentDuration, NorvikKavStream& stream)
    : RecordBox(fourCc("mehd"), stream, 0, MehdRecord{fragmentDuration}) {}

TrexBox::TrexBox(std::uint32_t trackId, NorvikKavStream& stream)
    : RecordBox(fourCc("trex"), stream, 0, trexRecordOf(trackId)) {}

MvexBox::MvexBox(BoxHeader header, NorvikKavStream& stream) : Box(std::move(header), stream) {
  setLengths(headerLength());
}

MvexBox::MvexBox(std::uint64_t fragmentDuration, NorvikKavStream& stream)
    : Box(fourCc("mvex"), stream) {
  addNewChild<MehdBox>(*this, fragmentDuration, stream);
}

void MvexBox::addChild(BoxPtr child) {
  remember(mehd_, *child);
  // The track of a box from a file is unknown before the box is read.
  if (!child->isFromFile()) indexTrex(*child);
  Box::addChild(std::move(child));
}

void MvexBox::addDefaults(std::uint32_t trackId) {
  const std::uint64_t room = extent();
  setExtent(filledSize());
  addNewChild<TrexBox>(*this, trackId, stream());
  const std::uint64_t filled = extent();
  if (filled <= room) {
    setExtent(room);
  } else if (trexById_.size() > kFewTracks) {
    setExtent(filled + trexById_.size() * fullBoxSize<TrexRecord>(kVersion0));
  }
}

std::uint64_t MvexBox::filledSize() const {
  if (children().empty()) return ownLength();
  const Box& last = *children().back();
  return last.start() + last.extent() - start();
}

void MvexBox::readChildren(RootBox& root, bool check) {
  Box::readChildren(root, check);
  for (const BoxPtr& child : children()) indexTrex(*child);
}

void MvexBox::indexTrex(Box& child) {
  if (auto* trex = childAs<TrexBox>(child)) trexById_.emplace(trex->record().trackId, trex);
}

TrexBox& MvexBox::findTrex(std::uint32_t trackId) const {
  TrexBox* found = lookUpTrex(trackId);
  if (found == nullptr) throw Exception(ErrorCode::noTrackDefaults);
  return *found;
}

TrexBox* MvexBox::lookUpTrex(std::uint32_t trackId) const {
  const auto found = trexById_.find(trackId);
  return found == trexById_.end() ? nullptr : found->second;
}

}  // namespace norvik::kav::impl
