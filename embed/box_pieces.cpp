#include "embed/box_pieces.h"

#include "embed/refusal.h"
#include "kav/big_endian.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

namespace quarrypack::embed {

using norvik::kav::storeU32;
using norvik::kav::storeU64;

void BoxPieces::keep(Bytes bytes) {
  if (bytes.empty()) return;
  size_ += bytes.size();
  if (!pieces_.empty()) {
    Piece& last = pieces_.back();
    if (last.kept != nullptr && last.kept + last.length == bytes.data()) {
      last.length += bytes.size();
      return;
    }
  }
  pieces_.push_back({bytes.data(), 0, bytes.size()});
}

void BoxPieces::add(Bytes bytes) {
  if (bytes.empty()) return;
  size_ += bytes.size();
  // New bytes that follow each other are one piece.
  if (!pieces_.empty() && pieces_.back().kept == nullptr) {
    pieces_.back().length += bytes.size();
  } else {
    pieces_.push_back({nullptr, new_.size(), bytes.size()});
  }
  new_.insert(new_.end(), bytes.begin(), bytes.end());
}

void BoxPieces::addU32(std::uint32_t value) {
  std::array<std::uint8_t, 4> bytes{};
  storeU32(bytes.data(), value);
  add(Bytes(bytes));
}

void BoxPieces::addU64(std::uint64_t value) {
  std::array<std::uint8_t, 8> bytes{};
  storeU64(bytes.data(), value);
  add(Bytes(bytes));
}

void BoxPieces::addWide(std::uint64_t value, bool isWide) {
  isWide ? addU64(value) : addU32(static_cast<std::uint32_t>(value));
}

void BoxPieces::add(std::vector<std::uint8_t> table) {
  // The bytes of a table stay in place when the list of tables grows.
  tables_.push_back(std::move(table));
  keep(tables_.back());
}

BoxPieces::Mark BoxPieces::open(norvik::kav::FourCc type) {
  const Mark mark{new_.size(), size_};
  addU32(0);
  addU32(type);
  return mark;
}

void BoxPieces::close(Mark mark) {
  const std::uint64_t size = size_ - mark.start;
  if (size > std::numeric_limits<std::uint32_t>::max()) {
    throw Refusal("the tables of the output would be larger than 4 GiB");
  }
  storeU32(new_.data() + mark.header, static_cast<std::uint32_t>(size));
}

bool BoxPieces::areEqual(Bytes bytes) const {
  if (bytes.size() != size_) return false;
  return std::all_of(pieces_.begin(), pieces_.end(), [&](const Piece& piece) {
    const Bytes part = bytesOf(piece);
    const bool isEqual = std::equal(part.begin(), part.end(), bytes.begin());
    bytes = bytes.subspan(part.size());
    return isEqual;
  });
}

std::vector<std::uint8_t> BoxPieces::joined() const {
  std::vector<std::uint8_t> bytes;
  bytes.reserve(static_cast<std::size_t>(size_));
  forEach([&bytes](Bytes part) { bytes.insert(bytes.end(), part.begin(), part.end()); });
  return bytes;
}

}  // namespace quarrypack::embed
