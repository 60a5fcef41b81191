#include "kav/impl/boxes/file_boxes.h"

#include <algorithm>
#include <array>
#include <utility>

#include "kav/big_endian.h"
#include "kav/exception.h"
#include "kav/impl/model/box_headers.h"
#include "kav/memory_size.h"

namespace norvik::kav::impl {
namespace {

constexpr std::uint64_t kFtypFixedPart = 8;
constexpr std::uint64_t kLongestBrandList = 400000000;

}  // namespace

FtypBox::FtypBox(NorvikKavStream& stream)
    : Box(fourCc("ftyp"), stream), majorBrand_(fourCc("kav ")), minorVersion_(1) {
  grow(kFtypFixedPart);
}

void FtypBox::addCompatibleBrand(FourCc brand) {
  compatibleBrands_.push_back(brand);
  grow(4);
}

void FtypBox::readContent() {
  const std::uint64_t left = bytesLeft();
  if (left < kFtypFixedPart) throw Exception(ErrorCode::truncatedBox);
  std::array<std::uint8_t, kFtypFixedPart> fixedPart;
  stream().readFully(fixedPart.data(), fixedPart.size());
  majorBrand_ = loadU32(fixedPart.data());
  minorVersion_ = loadU32(fixedPart.data() + 4);

  const std::uint64_t listLength = left - kFtypFixedPart;
  if (listLength > kLongestBrandList || listLength > stream().size() - stream().tell()) {
    throw Exception(ErrorCode::truncatedBox);
  }
  if (listLength % 4 != 0) {
    askHandler(stream(), Problem::trailingBytes);
    return;
  }
  std::vector<std::uint8_t> list(static_cast<std::size_t>(listLength));
  stream().readFully(list.data(), list.size());
  compatibleBrands_.reserve(list.size() / 4);
  for (std::size_t i = 0; i < list.size(); i += 4) {
    compatibleBrands_.push_back(loadU32(list.data() + i));
  }
}

void FtypBox::writeContent() {
  std::vector<std::uint8_t> bytes(kFtypFixedPart + 4 * compatibleBrands_.size());
  storeU32(bytes.data(), majorBrand_);
  storeU32(bytes.data() + 4, minorVersion_);
  std::uint8_t* next = bytes.data() + kFtypFixedPart;
  for (const FourCc brand : compatibleBrands_) {
    storeU32(next, brand);
    next += 4;
  }
  writeAt(contentStart(), bytes);
}

MdatBox::MdatBox(NorvikKavStream& stream, Mode mode)
    : Box(fourCc("mdat"), stream, true), mode_(mode) {}

MdatBox::~MdatBox() {
  while (!pending_.empty()) pending_.pop_back();
}

std::uint64_t MdatBox::addSampleData(std::span<const std::uint8_t> bytes, SampleDataRelease release,
                                     void* context) {
  SampleData data(bytes, release, context);
  const std::uint64_t offset = start() + ownLength();
  if (mode_ == Mode::buffered) {
    pending_.push_back(std::move(data));
  } else if (!bytes.empty()) {
    writeAt(offset, bytes);
  }
  grow(bytes.size());
  return offset;
}

void MdatBox::writeContent() {
  if (pending_.empty()) return;
  stream().seekTo(payloadStart());
  for (const SampleData& data : pending_) {
    stream().writeFully(data.bytes().data(), data.bytes().size());
  }
}

SkipBox::SkipBox(std::uint64_t size, NorvikKavStream& stream, Fill fill, FourCc type)
    : Box(type, stream), fill_(fill) {
  setLengths(size);
}

void SkipBox::writeHeader() {
  if (ownLength() >= headerLength()) Box::writeHeader();
}

void SkipBox::writeContent() {
  if (contentWritten_ || fill_ == Fill::hole || ownLength() <= headerLength()) return;
  static constexpr std::array<std::uint8_t, 4096> kZeros{};
  stream().seekTo(payloadStart());
  for (std::uint64_t left = getContentSize(); left > 0;) {
    const std::size_t count = sizeWithin(left, kZeros.size());
    stream().writeFully(kZeros.data(), count);
    left -= count;
  }
  contentWritten_ = true;
}

void SkipBox::updateContent() {
  stream().seekTo(start());
  writeHeader();
}

UuidBox::UuidBox(BoxHeader header, NorvikKavStream& stream)
    : Box(std::move(header), stream), inFile_(Range{payloadStart(), getContentSize()}) {}

UuidBox::UuidBox(NorvikKavStream& stream, bool largeSize) : Box(fourCc("uuid"), stream, largeSize) {
  setExtendedType(kXmpExtendedType);
  setLengths(headerLength());
}

const std::vector<std::uint8_t>& UuidBox::payload() {
  if (inFile_) {
    std::vector<std::uint8_t> bytes(memorySize(inFile_->length));
    copyPayload(bytes.data());
    payload_ = std::move(bytes);
    inFile_.reset();
  }
  return payload_;
}

void UuidBox::copyPayload(std::uint8_t* destination) const {
  if (inFile_) {
    stream().seekTo(inFile_->start);
    stream().readFully(destination, memorySize(inFile_->length));
  } else {
    std::copy(payload_.begin(), payload_.end(), destination);
  }
}

void UuidBox::setPayload(std::span<const std::uint8_t> bytes) {
  payload_.assign(bytes.begin(), bytes.end());
  inFile_.reset();
  setLengths(headerLength() + payload_.size());
}

bool UuidBox::takeWrittenForm() {
  payload();
  return Box::takeWrittenForm();
}

void UuidBox::writeHeader() {
  Box::writeHeader();
  if (extendedType()) stream().writeFully(extendedType()->data(), extendedType()->size());
}

void UuidBox::writeContent() {
  if (!payload_.empty()) writeAt(contentStart(), payload_);
}

}  // namespace norvik::kav::impl
