#include "kav/impl/boxes/media_boxes.h"

#include <algorithm>

#include "kav/big_endian.h"
#include "kav/exception.h"
#include "kav/impl/boxes/description_boxes.h"
#include "kav/impl/boxes/stbl_box.h"

namespace norvik::kav::impl {
namespace {

constexpr std::uint64_t kLongestName = 100000000;

// The offset of the handler type from the box's header: after version, flags and a word.
constexpr std::uint64_t kHandlerTypeOffset = 8;

constexpr std::array<ChildRule, 3> kMdiaRules = {{
    {fourCc("mdhd"), ChildRule::Kind::exactlyOne},
    {fourCc("hdlr"), ChildRule::Kind::exactlyOne},
    {fourCc("minf"), ChildRule::Kind::exactlyOne},
}};

constexpr std::array<ChildRule, 2> kMinfRules = {{
    {fourCc("dinf"), ChildRule::Kind::exactlyOne},
    {fourCc("stbl"), ChildRule::Kind::exactlyOne},
}};

constexpr std::array<FourCc, 2> kDataReferences = {fourCc("url "), fourCc("dref")};
constexpr std::array<ChildRule, 1> kDinfRules = {{
    {0, ChildRule::Kind::exactlyOneOf, kDataReferences},
}};

MdhdRecord recordFrom(const TrackParameters& parameters) {
  MdhdRecord record;
  record.creationTime = parameters.creationTime;
  record.modificationTime = parameters.modificationTime;
  record.timescale = parameters.timescale;
  record.duration = parameters.mediaDuration;
  record.language = packLanguage(parameters.language);
  return record;
}

bool isMediaHeader(FourCc type) {
  return type == fourCc("vmhd") || type == fourCc("smhd") || type == fourCc("hmhd") ||
         type == fourCc("nmhd");
}

BoxPtr makeMediaHeader(FourCc handlerType, NorvikKavStream& stream) {
  switch (handlerType) {
    case fourCc("vide"):
      return makeBox<VmhdBox>(stream);
    case fourCc("soun"):
      return makeBox<SmhdBox>(stream);
    case fourCc("hint"):
      return makeBox<HmhdBox>(stream);
    default:
      return makeBox<NmhdBox>(stream);
  }
}

}  // namespace

MdiaBox::MdiaBox(BoxHeader header, NorvikKavStream& stream) : Box(std::move(header), stream) {
  setLengths(headerLength());
}

MdiaBox::MdiaBox(const TrackParameters& parameters, NorvikKavStream& stream)
    : Box(fourCc("mdia"), stream) {
  addNewChild<MdhdBox>(*this, parameters, stream);
  addNewChild<HdlrBox>(*this, parameters, stream);
  addNewChild<MinfBox>(*this, parameters, stream);
}

void MdiaBox::addChild(BoxPtr child) {
  remember(mdhd_, *child);
  remember(hdlr_, *child);
  remember(minf_, *child);
  Box::addChild(std::move(child));
}

std::span<const ChildRule> MdiaBox::getChildRules() const { return kMdiaRules; }

void MdiaBox::readChildren(RootBox& root, bool check) {
  StblBox* stbl = minf_ == nullptr ? nullptr : minf_->stbl();
  if (hdlr_ != nullptr && stbl != nullptr && stbl->stsd() != nullptr) {
    stbl->stsd()->setHandlerType(hdlr_->peekHandlerType());
  }
  Box::readChildren(root, check);
}

MdhdBox::MdhdBox(const TrackParameters& parameters, NorvikKavStream& stream)
    : RecordBox(fourCc("mdhd"), stream, 0, recordFrom(parameters)) {}

void MdhdBox::readContent() {
  if (version() > 1) throw Exception(ErrorCode::unsupportedVersion);
  RecordBox::readContent();
}

HdlrBox::HdlrBox(const TrackParameters& parameters, NorvikKavStream& stream)
    : FullBox(fourCc("hdlr"), stream, 0, 0),
      record_{parameters.handlerType},
      name_(parameters.handlerName) {
  grow(recordSize<HdlrRecord>(kVersion0) + name_.size());
}

FourCc HdlrBox::peekHandlerType() const {
  std::array<std::uint8_t, 4> bytes;
  if (end() < payloadStart() + kHandlerTypeOffset + bytes.size()) return 0;
  stream().seekTo(payloadStart() + kHandlerTypeOffset);
  stream().readFully(bytes.data(), bytes.size());
  return loadU32(bytes.data());
}

bool HdlrBox::takeWrittenForm() {
  const bool changed = FullBox::takeWrittenForm();
  const std::uint64_t length =
      headerLength() + 4 + recordSize<HdlrRecord>(kVersion0) + name_.size();
  if (length == ownLength()) return changed;
  setLengths(length);
  return true;
}

void HdlrBox::readContent() {
  std::array<std::uint8_t, recordSize<HdlrRecord>(kVersion0)> fixedPart;
  const std::uint64_t left = bytesLeft();
  if (left < fixedPart.size()) throw Exception(ErrorCode::truncatedBox);
  const std::uint64_t nameLength = left - fixedPart.size();
  if (nameLength > kLongestName) throw Exception(ErrorCode::implausibleCount);
  stream().readFully(fixedPart.data(), fixedPart.size());
  FieldReader reader(fixedPart, kVersion0);
  HdlrRecord::layout(reader, record_);
  name_.resize(static_cast<std::size_t>(nameLength));
  stream().readFully(name_.data(), name_.size());
  if (name_.empty() || name_.back() != 0) name_.push_back(0);
}

void HdlrBox::writeContent() {
  const std::size_t fixedPart = recordSize<HdlrRecord>(kVersion0);
  std::vector<std::uint8_t> bytes(fixedPart + name_.size());
  FieldWriter writer{std::span(bytes).first(fixedPart), kVersion0};
  HdlrRecord::layout(writer, record_);
  std::copy(name_.begin(), name_.end(), bytes.begin() + static_cast<std::ptrdiff_t>(fixedPart));
  writeAt(contentStart(), bytes);
}

MinfBox::MinfBox(BoxHeader header, NorvikKavStream& stream) : Box(std::move(header), stream) {
  setLengths(headerLength());
}

MinfBox::MinfBox(const TrackParameters& parameters, NorvikKavStream& stream)
    : Box(fourCc("minf"), stream) {
  MinfBox::addChild(makeMediaHeader(parameters.handlerType, stream));
  addNewChild<DinfBox>(*this, stream);
  addNewChild<StblBox>(*this, parameters, stream);
}

void MinfBox::addChild(BoxPtr child) {
  if (isMediaHeader(child->type())) mediaHeader_ = child.get();
  remember(dinf_, *child);
  remember(stbl_, *child);
  Box::addChild(std::move(child));
}

std::span<const ChildRule> MinfBox::getChildRules() const { return kMinfRules; }

// The flags of a vmhd box are always 1; the format defines no other value.
VmhdBox::VmhdBox(NorvikKavStream& stream) : RecordBox(fourCc("vmhd"), stream, 1, {}) {}

SmhdBox::SmhdBox(NorvikKavStream& stream) : RecordBox(fourCc("smhd"), stream, 0, {}) {}

void SmhdBox::readContent() {
  if (bytesLeft() >= recordSize<SmhdRecord>(kVersion0)) RecordBox::readContent();
}

HmhdBox::HmhdBox(NorvikKavStream& stream) : RecordBox(fourCc("hmhd"), stream, 0, {}) {}

NmhdBox::NmhdBox(BoxHeader header, NorvikKavStream& stream) : FullBox(std::move(header), stream) {
  setLengths(headerLength() + 4);
}

NmhdBox::NmhdBox(NorvikKavStream& stream) : FullBox(fourCc("nmhd"), stream, 0, 0) {}

DinfBox::DinfBox(BoxHeader header, NorvikKavStream& stream) : Box(std::move(header), stream) {
  setLengths(headerLength());
}

DinfBox::DinfBox(NorvikKavStream& stream) : Box(fourCc("dinf"), stream) {
  addNewChild<DrefBox>(*this, stream);
}

std::span<const ChildRule> DinfBox::getChildRules() const { return kDinfRules; }

DrefBox::DrefBox(BoxHeader header, NorvikKavStream& stream) : FullBox(std::move(header), stream) {
  setLengths(headerLength() + 8);
}

DrefBox::DrefBox(NorvikKavStream& stream) : FullBox(fourCc("dref"), stream, 0, 0) {
  grow(4);
  addNewChild<UrlBox>(*this, stream);
}

void DrefBox::readContent() {
  if (version() > 1) throw Exception(ErrorCode::unsupportedVersion);
}

void DrefBox::writeContent() {
  std::array<std::uint8_t, 4> count;
  storeU32(count.data(), static_cast<std::uint32_t>(children().size()));
  writeAt(contentStart(), count);
}

UrlBox::UrlBox(NorvikKavStream& stream) : FullBox(fourCc("url "), stream, 0, kInThisFile) {}

}  // namespace norvik::kav::impl
