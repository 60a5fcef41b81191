#include "kav/impl/boxes/table_box.h"

#include <array>
#include <utility>

#include "kav/big_endian.h"

namespace norvik::kav::impl {

TableBox::TableBox(BoxHeader header, NorvikKavStream& stream)
    : FullBox(std::move(header), stream) {}

TableBox::TableBox(FourCc type, NorvikKavStream& stream, const TableShape& shape,
                   std::uint32_t capacity)
    : FullBox(type, stream, 0, 0), entryLength_(shape.entryLength) {
  setLengths(kFullBoxHeaderSize + shape.fixedLength);
  setExtent(ownLength() + std::uint64_t{capacity} * shape.entryLength);
}

void TableBox::takeBackFinal() {
  setOwnLength(ownLength() - std::uint64_t{finalCount_} * entryLength_);
  entryCount_ -= finalCount_;
  finalCount_ = 0;
}

void TableBox::appendToFile(std::span<const std::uint8_t> bytes) {
  const std::uint64_t filled = ownLength();
  if (extent() - filled < bytes.size()) throw Exception(ErrorCode::sampleTableFull);
  writeAt(start() + filled, bytes);
  setOwnLength(filled + bytes.size());
  ++entryCount_;
}

void TableBox::writeFixedNumber(std::uint32_t offset, std::uint32_t value) {
  std::array<std::uint8_t, 4> bytes;
  storeU32(bytes.data(), value);
  writeAt(contentStart() + offset, bytes);
}

std::uint32_t TableBox::readNumber() {
  std::array<std::uint8_t, 4> bytes;
  stream().readFully(bytes.data(), bytes.size());
  return loadU32(bytes.data());
}

std::uint32_t TableBox::readCount() {
  if (bytesLeft() < 4) throw Exception(ErrorCode::truncatedBox);
  return readNumber();
}

void TableBox::requireEntries(std::uint32_t count, std::uint32_t entryLength,
                              ErrorCode limitError) const {
  if (count > kMostEntries) throw Exception(limitError);
  if (bytesLeft() < std::uint64_t{count} * entryLength) throw Exception(ErrorCode::truncatedBox);
}

std::uint64_t TableBox::bytesToRead(std::uint64_t wanted) const {
  const std::uint64_t position = stream().tell();
  const std::uint64_t size = stream().size();
  return position < size ? std::min(wanted, size - position) : 0;
}

std::uint32_t plausibleCapacity(std::uint32_t capacity, ErrorCode limitError) {
  if (capacity > kMostEntries) throw Exception(limitError);
  return capacity;
}

}  // namespace norvik::kav::impl
