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

constexpr std::size_t captionPayloadSize(std::size_t tripletCount) {
  return kCaptionHead.size() + ccDataSize(tripletCount);
}
static_assert(captionPayloadSize(kMostTriplets) < kFull);

// Payload type, payload size and trailing bits are a byte each.
std::size_t nalUnitSize(const CaptionUnitForm& form, std::size_t payloadSize) {
  return form.rules->headerSize + payloadSize + 3;
}
static_assert(4 + 2 + captionPayloadSize(kMostTriplets) + 3 <= kLargestCaptionUnit);

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

std::size_t captionUnitSize(const CaptionUnitForm& form, std::size_t tripletCount) {
  return form.nalLengthSize + nalUnitSize(form, captionPayloadSize(tripletCount));
}

// Nothing in the unit needs escaping: its head has one zero, a triplet has at most two in a row,
// and each triplet begins with a large byte. The size is known and fits into one byte.
void writeCaptionUnit(std::span<std::uint8_t> unit, const CaptionUnitForm& form,
                      std::span<const CcTriplet> triplets, std::size_t statedCount) {
  const std::size_t payloadSize = captionPayloadSize(triplets.size());
  const std::size_t size = nalUnitSize(form, payloadSize);

  std::uint8_t* next = unit.data();
  for (unsigned i = form.nalLengthSize; i > 0; --i) {
    *next++ = static_cast<std::uint8_t>(size >> 8 * (i - 1));
  }
  next = form.rules->writeSeiHeader(next, form.temporalId);
  *next++ = kUserDataRegistered;
  *next++ = static_cast<std::uint8_t>(payloadSize);
  next = std::copy(kCaptionHead.begin(), kCaptionHead.end(), next);
  const std::size_t dataSize = ccDataSize(triplets.size());
  writeCcData({next, dataSize}, triplets, statedCount);
  next[dataSize] = kTrailingBits;
}

void buildCaptionUnit(std::vector<std::uint8_t>& unit, const CaptionUnitForm& form,
                      std::span<const CcTriplet> triplets, std::size_t statedCount) {
  unit.resize(captionUnitSize(form, triplets.size()));
  writeCaptionUnit(unit, form, triplets, statedCount);
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
    const std::uint64_t statedSize = takeNumber(reader);
    message.payloadOffset = position();
    message.payloadSize = reader.take(statedSize).size();
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
  // The bytes that are read contain no emulation prevention: a type has at most one zero, its last
  // byte.
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
