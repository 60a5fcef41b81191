#include "captions/sei.h"

#include "captions/byte_reader.h"

#include <algorithm>
#include <array>

namespace quarrypack::captions {
namespace {

constexpr std::uint8_t kUserDataRegistered = 4;
constexpr std::uint8_t kTrailingBits = 0x80;
constexpr std::uint8_t kFull = 255;  // another byte of a type or of a size follows

constexpr std::array<std::uint8_t, 8> kCaptionHead{
    0xB5, 0x00, 0x31,  // country and provider
    'G',  'A',  '9',  '4',
    0x03,  // caption data
};

bool startsWith(std::span<const std::uint8_t> bytes, std::span<const std::uint8_t> head) {
  return bytes.size() >= head.size() && std::equal(head.begin(), head.end(), bytes.begin());
}

// Reads a payload type or size. It cannot overflow: each byte of it is in memory.
std::uint64_t takeNumber(ByteReader& reader) {
  std::uint64_t number = 0;
  std::uint8_t byte = kFull;
  while (byte == kFull && !reader.failed()) {
    byte = reader.u8();
    number += byte;
  }
  return number;
}

// The offset of the byte of trailing bits, which zeros may follow. A unit without it ends with its
// last message.
std::size_t endOfMessages(std::span<const std::uint8_t> content) {
  std::size_t end = content.size();
  while (end > 0 && content[end - 1] == 0) --end;
  return end > 0 && content[end - 1] == kTrailingBits ? end - 1 : content.size();
}

// Whether captions go after a unit; undecided if the bytes end before that is known.
enum class Passing { no, yes, undecided };

Passing passingOf(const NalUnit& unit, const NalRules& rules) {
  if (unit.size == 0) return Passing::no;
  if (unit.bytes.empty()) return Passing::undecided;
  const std::uint8_t type = rules.type(unit.bytes);
  if (rules.beforeCaptions.contains(type)) return Passing::yes;
  if (type != rules.seiType) return Passing::no;

  const std::optional<std::uint64_t> message = firstPayloadType(unit.bytes, rules);
  if (!message) return unit.whole() ? Passing::no : Passing::undecided;
  const auto leading = rules.leadingMessages;
  return std::find(leading.begin(), leading.end(), *message) != leading.end() ? Passing::yes
                                                                              : Passing::no;
}

}  // namespace

// Nothing in the unit needs escaping: its head has one zero, a triplet at most two in a row, and
// each triplet begins with a large byte. The size is known and fits into one byte.
void buildCaptionUnit(std::vector<std::uint8_t>& unit, const CaptionUnitForm& form,
                      std::span<const CcTriplet> triplets, std::size_t statedCount) {
  static_assert(kCaptionHead.size() + ccDataSize(kMostTriplets) < kFull);
  const std::size_t payloadSize = kCaptionHead.size() + ccDataSize(triplets.size());
  const std::size_t size = form.rules->headerSize + payloadSize + 3;  // type, size, trailing bits

  unit.clear();
  unit.reserve(form.nalLengthSize + size);
  for (unsigned i = form.nalLengthSize; i > 0; --i) {
    unit.push_back(static_cast<std::uint8_t>(size >> 8 * (i - 1)));
  }
  form.rules->appendSeiHeader(unit, form.temporalId);
  unit.push_back(kUserDataRegistered);
  unit.push_back(static_cast<std::uint8_t>(payloadSize));
  unit.insert(unit.end(), kCaptionHead.begin(), kCaptionHead.end());
  appendCcData(unit, triplets, statedCount);
  unit.push_back(kTrailingBits);
}

std::size_t appendSeiPayloadSize(std::vector<std::uint8_t>& buffer, std::size_t position) {
  const std::size_t count = buffer.size() - position;
  const std::size_t fullBytes = count > kFull ? count / kFull : 0;
  const std::size_t lastByte = count > kFull ? count % kFull : count;
  buffer.insert(buffer.begin() + static_cast<std::ptrdiff_t>(position), fullBytes + 1, kFull);
  buffer[position + fullBytes] = static_cast<std::uint8_t>(lastByte);
  return fullBytes + 1;
}

SeiUnit parseSeiUnit(std::span<const std::uint8_t> unit, const NalRules& rules) {
  SeiUnit sei{.content = removeEmulationPrevention(unit), .messages = {}, .whole = false};
  const auto messages = std::span(sei.content).first(endOfMessages(sei.content));
  ByteReader reader(messages);
  const auto position = [&] { return messages.size() - reader.rest().size(); };
  reader.take(rules.headerSize);
  while (!reader.rest().empty()) {
    SeiMessage message;
    message.offset = position();
    message.payloadType = takeNumber(reader);
    message.payloadSize = takeNumber(reader);
    message.payloadOffset = position();
    reader.take(message.payloadSize);
    if (reader.failed()) return sei;
    sei.messages.push_back(message);
  }
  sei.whole = !reader.failed();
  return sei;
}

std::optional<std::uint64_t> firstPayloadType(std::span<const std::uint8_t> unit,
                                              const NalRules& rules) {
  ByteReader reader(unit);
  reader.take(rules.headerSize);
  // No emulation prevention occurs in what is read: a type has at most one zero, its last byte.
  const std::uint64_t type = takeNumber(reader);
  if (reader.failed()) return std::nullopt;
  return type;
}

bool holdsCaptions(const SeiUnit& unit, const SeiMessage& message) {
  return message.payloadType == kUserDataRegistered &&
         startsWith(unit.payload(message), kCaptionHead);
}

std::optional<CcData> captionData(const SeiUnit& unit, const SeiMessage& message) {
  if (!holdsCaptions(unit, message)) return std::nullopt;
  return parseCcData(unit.payload(message).subspan(kCaptionHead.size()));
}

bool holdsOnlyCaptions(const SeiUnit& unit) {
  return unit.whole && !unit.messages.empty() &&
         std::all_of(unit.messages.begin(), unit.messages.end(),
                     [&](const SeiMessage& message) { return holdsCaptions(unit, message); });
}

std::vector<std::uint8_t> withoutCaptions(const SeiUnit& unit, const NalRules& rules) {
  const auto at = [&](std::size_t position) {
    return unit.content.begin() + static_cast<std::ptrdiff_t>(position);
  };
  std::vector<std::uint8_t> rest(at(0), at(rules.headerSize));
  for (const SeiMessage& message : unit.messages) {
    if (!holdsCaptions(unit, message)) {
      rest.insert(rest.end(), at(message.offset), at(message.end()));
    }
  }
  if (rest.size() == rules.headerSize) return {};
  rest.push_back(kTrailingBits);
  escapeNalUnit(rest);
  return rest;
}

CaptionPlace findCaptionPlace(std::span<const std::uint8_t> head, std::uint64_t sampleSize,
                              std::uint8_t nalLengthSize, const NalRules& rules) {
  using enum CaptionPlace::State;
  NalWalk walk(head, sampleSize, nalLengthSize);
  while (const std::optional<NalUnit> unit = walk.next()) {
    const Passing passing = passingOf(*unit, rules);
    if (passing == Passing::undecided) return {needsBytes, unit->offset};
    if (passing == Passing::no) return {known, unit->offset};
  }
  switch (walk.stop()) {
    case NalWalk::Stop::needsBytes:
      return {needsBytes, walk.position()};
    case NalWalk::Stop::damaged:
      return {damaged, walk.position()};
    default:
      return {known, walk.position()};
  }
}

}  // namespace quarrypack::captions
