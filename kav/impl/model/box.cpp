#include "kav/impl/model/box.h"

#include <algorithm>
#include <limits>

#include "kav/big_endian.h"
#include "kav/exception.h"
#include "kav/impl/bytes/field_layout.h"

namespace norvik::kav::impl {
namespace {

// The types that a rule names.
bool ruleNames(const ChildRule& rule, FourCc type) {
  if (rule.kind != ChildRule::Kind::exactlyOneOf) return type == rule.type;
  return std::find(rule.list.begin(), rule.list.end(), type) != rule.list.end();
}

// While samples are still to come, the reserved room may be more than a compact header can state.
// The size in the file is then provisional in any case.
std::uint32_t compactSize(std::uint64_t size) {
  return static_cast<std::uint32_t>(
      std::min<std::uint64_t>(size, std::numeric_limits<std::uint32_t>::max()));
}

}  // namespace

void BoxDeleter::operator()(Box* box) const noexcept {
  BoxAllocator* allocator = box->allocator_;
  if (allocator == nullptr) {
    delete box;
    return;
  }
  // The block begins where the complete object begins.
  void* block = dynamic_cast<void*>(box);
  box->~Box();
  allocator->free(block);
}

Box::Box(BoxHeader header, NorvikKavStream& stream)
    : type_(header.type),
      declaredSize_(header.size),
      start_(header.start),
      end_(header.end),
      hasLargeSize_(header.hasLargeSize),
      extendsToEnd_(header.extendsToEnd),
      fromFile_(true),
      extendedType_(header.extendedType),
      stream_(stream),
      ownLength_(header.end - header.start),
      extent_(ownLength_) {}

Box::Box(FourCc type, NorvikKavStream& stream, bool largeSize)
    : type_(type),
      hasLargeSize_(largeSize),
      stream_(stream),
      ownLength_(largeSize ? 16 : 8),
      extent_(ownLength_) {}

void Box::writeHeader() {
  std::array<std::uint8_t, 16> bytes;
  storeU32(bytes.data(), hasLargeSize_ ? 1 : compactSize(extent_));
  storeU32(bytes.data() + 4, type_);
  storeU64(bytes.data() + 8, extent_);
  stream_.writeFully(bytes.data(), hasLargeSize_ ? 16 : 8);
}

std::uint64_t Box::getContentSize() const { return ownLength() - headerLength(); }

void Box::place(std::uint64_t start) {
  start_ = start;
  std::uint64_t position = start + ownLength();
  for (const BoxPtr& child : children_) {
    child->place(position);
    position += child->extent();
  }
  if (!fromFile_) return;
  extent_ = position - start_;
  end_ = position;
}

bool Box::wasReadWithin(const Box& parent) const {
  if (!fromFile_ || &stream_ != &parent.stream_) return false;
  // The file itself was not read as a box, but its boxes are adjacent.
  if (start_ == parent.start_ + parent.extent_) return true;
  return parent.fromFile_ && start_ >= parent.start_ && end_ <= parent.end_;
}

bool Box::dropUuidForm() {
  if (!extendedType_ || type_ == fourCc("uuid")) return false;
  extendedType_.reset();
  return true;
}

bool Box::takeWrittenForm() {
  if (!dropUuidForm()) return false;
  ownLength_ -= sizeof(ExtendedType);
  extent_ -= sizeof(ExtendedType);
  return true;
}

bool Box::takeWrittenFormWithChildren() {
  bool changed = takeWrittenForm();
  for (const BoxPtr& child : children_) {
    const std::uint64_t length = child->extent();
    if (!child->takeWrittenFormWithChildren()) continue;
    changed = true;
    extent_ += child->extent() - length;
  }
  return changed;
}

void Box::addChild(BoxPtr child) {
  // Placing a child again where it was read would lose the bytes between children that belong to no
  // box.
  if (!child->wasReadWithin(*this)) {
    child->takeWrittenFormWithChildren();
    child->place(start_ + extent_);
  }
  extent_ += child->fromFile_ ? child->end_ - child->start_ : child->extent();
  children_.push_back(std::move(child));
}

void Box::layOut() {
  if (children_.empty()) return;
  extent_ = ownLength();
  for (const BoxPtr& child : children_) {
    child->layOut();
    extent_ += child->extent();
  }
}

void Box::releaseReserve() {
  extent_ = ownLength();
  for (const BoxPtr& child : children_) {
    child->releaseReserve();
    extent_ += child->extent();
  }
}

void Box::forgetWritten() {
  written_ = false;
  for (const BoxPtr& child : children_) child->forgetWritten();
}

void Box::grow(std::uint64_t bytes) {
  ownLength_ += bytes;
  extent_ += bytes;
}

std::uint64_t Box::write() {
  if (written_) {
    updateContent();
  } else {
    if (takeWrittenFormWithChildren()) place(start_);
    stream_.seekTo(start_);
    writeHeader();
    writeContent();
    written_ = true;
  }
  for (const BoxPtr& child : children_) child->write();
  if (hasLargeSize_ || !children_.empty()) patchSize();
  return extent_;
}

void Box::patchSize() {
  std::array<std::uint8_t, 8> bytes;
  if (hasLargeSize_) {
    storeU64(bytes.data(), extent_);
    writeAt(start_ + 8, bytes);
    return;
  }
  storeU32(bytes.data(), compactSize(extent_));
  writeAt(start_, std::span(bytes).first(4));
}

bool Box::validate() const {
  for (const ChildRule& rule : getChildRules()) {
    const auto count = std::count_if(children_.begin(), children_.end(), [&](const BoxPtr& child) {
      return ruleNames(rule, child->type());
    });
    const bool holds = rule.kind == ChildRule::Kind::atLeastOne ? count >= 1 : count == 1;
    if (!holds) return false;
  }
  return true;
}

Box* Box::getChild(std::size_t index) {
  return index < children_.size() ? children_[index].get() : nullptr;
}

void Box::resetSize() {
  dropUuidForm();
  setLengths(hasLargeSize_ ? 16 : 8);
}

void Box::readChildren(RootBox& root, bool check) {
  for (const BoxPtr& child : children_) child->readBody(root, check);
}

void Box::readBody(RootBox& root, bool check) {
  if (check && !validate()) throw Exception(ErrorCode::childRuleBroken);
  stream_.seekTo(payloadStart());
  readVersionAndFlags();
  readContent();
  readChildren(root, check);
  stream_.seekTo(std::min(end_, stream_.size()));
}

std::uint64_t Box::bytesLeft() const {
  const std::uint64_t position = stream_.tell();
  return position < end_ ? end_ - position : 0;
}

FullBox::FullBox(BoxHeader header, NorvikKavStream& stream) : Box(std::move(header), stream) {
  FullBox::readVersionAndFlags();
}

FullBox::FullBox(FourCc type, NorvikKavStream& stream, std::uint8_t version, std::uint32_t flags)
    : Box(type, stream), version_(version), flags_(flags) {
  setLengths(kFullBoxHeaderSize);
}

void FullBox::writeHeader() {
  Box::writeHeader();
  std::array<std::uint8_t, 4> word;
  storeU32(word.data(), static_cast<std::uint32_t>(version_) << 24 | flags_);
  stream().writeFully(word.data(), word.size());
}

void FullBox::resetSize() {
  Box::resetSize();
  setLengths(kFullBoxHeaderSize);
}

void FullBox::readVersionAndFlags() {
  if (bytesLeft() < 4) throw Exception(ErrorCode::truncatedFullBoxHeader);
  std::array<std::uint8_t, 4> word;
  stream().readFully(word.data(), word.size());
  version_ = word[0];
  flags_ = static_cast<std::uint32_t>(loadBigEndian<3>(word.data() + 1));
}

}  // namespace norvik::kav::impl
