#include "captions/nal_units.h"

#include "captions/byte_reader.h"
#include "kav/memory_size.h"

#include <algorithm>
#include <utility>

namespace quarrypack::captions {
namespace {

constexpr std::uint8_t kEscape = 0x03;

// Finds the bytes to escape, one byte after the other.
class EscapeRule {
 public:
  EscapeRule(std::uint8_t lastEscaped, unsigned zerosAfterEscapedZero)
      : lastEscaped_(lastEscaped), zerosAfterEscapedZero_(zerosAfterEscapedZero) {}

  bool escapes(std::uint8_t byte) {
    const bool escaped = zeros_ >= 2 && byte <= lastEscaped_;
    if (byte != 0) {
      zeros_ = 0;
    } else {
      zeros_ = escaped ? zerosAfterEscapedZero_ : zeros_ + 1;
    }
    return escaped;
  }

 private:
  std::uint8_t lastEscaped_;
  unsigned zerosAfterEscapedZero_;
  unsigned zeros_ = 0;  // directly before the next byte
};

// Whether two zeros are adjacent: one of them is at an odd position, so checking half the bytes is
// enough.
bool hasTwoZeros(std::span<const std::uint8_t> bytes) {
  for (std::size_t i = 1; i < bytes.size(); i += 2) {
    if (bytes[i] != 0) continue;
    if (bytes[i - 1] == 0 || (i + 1 < bytes.size() && bytes[i + 1] == 0)) return true;
  }
  return false;
}

void escape(std::vector<std::uint8_t>& buffer, const EscapeRule& rule) {
  if (!hasTwoZeros(buffer)) return;
  EscapeRule search = rule;
  const auto first = std::find_if(buffer.begin(), buffer.end(),
                                  [&](std::uint8_t byte) { return search.escapes(byte); });
  if (first == buffer.end()) return;

  std::vector<std::uint8_t> escaped(buffer.begin(), first);
  escaped.reserve(buffer.size() + buffer.size() / 2);
  escaped.insert(escaped.end(), {kEscape, *first});
  std::for_each(first + 1, buffer.end(), [&](std::uint8_t byte) {
    if (search.escapes(byte)) escaped.push_back(kEscape);
    escaped.push_back(byte);
  });
  buffer = std::move(escaped);
}

}  // namespace

std::optional<NalUnit> NalWalk::next() {
  stop_ = Stop::none;
  const auto stopHere = [&](Stop stop) {
    stop_ = stop;
    return std::nullopt;
  };
  const std::uint64_t rest = sampleSize_ - position_;
  if (rest == 0) return stopHere(Stop::endOfSample);
  if (rest < lengthSize_) return stopHere(Stop::damaged);
  if (position_ + lengthSize_ > head_.size()) return stopHere(Stop::needsBytes);

  ByteReader reader(head_.subspan(static_cast<std::size_t>(position_)));
  NalUnit unit;
  unit.offset = position_;
  unit.lengthSize = lengthSize_;
  unit.size = reader.number(lengthSize_);
  if (unit.size > rest - lengthSize_) return stopHere(Stop::damaged);
  unit.bytes = reader.rest().first(norvik::kav::sizeWithin(unit.size, reader.rest().size()));
  position_ = unit.end();
  return unit;
}

void prependNalLength(std::vector<std::uint8_t>& buffer, std::uint8_t lengthSize) {
  std::size_t length = buffer.size();
  buffer.insert(buffer.begin(), lengthSize, 0);
  for (std::size_t i = lengthSize; i > 0; length >>= 8) {
    buffer[--i] = static_cast<std::uint8_t>(length);
  }
}

void applyEmulationPrevention(std::vector<std::uint8_t>& buffer) {
  escape(buffer, EscapeRule(2, 0));
}

void escapeNalUnit(std::vector<std::uint8_t>& buffer) { escape(buffer, EscapeRule(3, 1)); }

std::vector<std::uint8_t> removeEmulationPrevention(std::span<const std::uint8_t> unit) {
  std::vector<std::uint8_t> content;
  content.reserve(unit.size());
  unsigned zeros = 0;
  for (const std::uint8_t byte : unit) {
    const bool isEscape = zeros >= 2 && byte == kEscape;
    zeros = byte == 0 ? zeros + 1 : 0;
    if (!isEscape) content.push_back(byte);
  }
  return content;
}

}  // namespace quarrypack::captions
