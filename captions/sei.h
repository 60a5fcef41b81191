#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "captions/cc_data.h"
#include "captions/nal_units.h"

// Captions in SEI units. A unit is its header, messages and one byte 0x80. A message is
//
//     payload type | payload size | payload          type and size: ff for each 255, then the rest
//
// A message of captions has the type 4 (user data registered by ITU-T T.35) and the payload
//
//     b5 00 31 (ATSC) | "GA94" | 03 (caption data) | caption data, see cc_data.h
namespace quarrypack::captions {

// ---- Building.

struct CaptionUnitForm {
  const NalRules* rules = &kH264Rules;
  std::uint8_t nalLengthSize = 4;  // 1 to 4
  std::uint8_t temporalId = 0;     // of the picture, see NalRules::temporalId()
};

// The size in bytes of an SEI unit with one message of captions, length field included.
std::size_t captionUnitSize(const CaptionUnitForm& form, std::size_t tripletCount);

// The size in bytes of the largest unit of captions, in any form.
inline constexpr std::size_t kLargestCaptionUnit = 128;

// Writes such a unit into bytes of that size. Readers rely on statedCount. It and the number of
// triplets are at most kMostTriplets.
void writeCaptionUnit(std::span<std::uint8_t> unit, const CaptionUnitForm& form,
                      std::span<const CcTriplet> triplets, std::size_t statedCount);

// Replaces the content of the buffer with what writeCaptionUnit writes; its memory is reused.
void buildCaptionUnit(std::vector<std::uint8_t>& unit, const CaptionUnitForm& form,
                      std::span<const CcTriplet> triplets, std::size_t statedCount);

inline void buildCaptionUnit(std::vector<std::uint8_t>& unit, const CaptionUnitForm& form,
                             std::span<const CcTriplet> triplets) {
  buildCaptionUnit(unit, form, triplets, triplets.size());
}

// Inserts the number of bytes after a position at that position, coded as an SEI payload size.
// Returns the number of bytes inserted. A size of exactly 255 becomes the single byte ff, which
// readers take for the first of two; no message of captions has that size.
std::size_t appendSeiPayloadSize(std::vector<std::uint8_t>& buffer, std::size_t position);

// ---- Reading.

// A message and its offsets in the content of its unit, in bytes.
struct SeiMessage {
  std::uint64_t payloadType = 0;
  std::size_t offset = 0;  // of its payload type
  std::size_t payloadOffset = 0;
  std::size_t payloadSize = 0;

  std::size_t end() const { return payloadOffset + payloadSize; }
};

struct SeiUnit {
  // The unit without emulation prevention, its header included.
  std::vector<std::uint8_t> content;
  std::vector<SeiMessage> messages;
  // Whether the messages fill the unit. If false, the unit ends early or contains something other
  // than messages.
  bool whole = false;

  std::span<const std::uint8_t> payload(const SeiMessage& message) const {
    return std::span(content).subspan(message.payloadOffset, message.payloadSize);
  }
};

// Reads all complete messages of an SEI unit, given without its length field. Accepts any bytes.
SeiUnit parseSeiUnit(std::span<const std::uint8_t> unit, const NalRules& rules);

// The type of the first message. The first bytes of a unit are enough. Returns nothing if there is
// no message, or if the bytes end before its type does.
std::optional<std::uint64_t> firstPayloadType(std::span<const std::uint8_t> unit,
                                              const NalRules& rules);

// Whether a message carries captions.
bool holdsCaptions(const SeiUnit& unit, const SeiMessage& message);

// The caption data of a message; nothing for any other message.
std::optional<CcData> captionData(const SeiUnit& unit, const SeiMessage& message);

// Whether a unit contains only captions, so that it can be removed as a whole. False for a unit
// that is not whole, which may contain anything.
bool holdsOnlyCaptions(const SeiUnit& unit);

// The unit without its messages of captions, escaped again and without a length field. All other
// messages keep their bytes. Requires a whole unit; returns an empty buffer if no message is left.
std::vector<std::uint8_t> withoutCaptions(const SeiUnit& unit, const NalRules& rules);

// ---- The place of captions in a picture.

// Where an SEI unit of captions is inserted in a sample: after the units that open an access unit
// and after SEI units that begin with a leading message, before all other units. In a sample that
// has only such units, the place is its end.
struct CaptionPlace {
  // known, or why the walk over the units ended early.
  enum class State { known, needsBytes, damaged };
  State state = State::known;
  // The place, or how far the walk got.
  std::uint64_t offset = 0;
};

// head is the beginning of a sample of sampleSize bytes. On needsBytes, call again with a longer
// head.
CaptionPlace findCaptionPlace(std::span<const std::uint8_t> head, std::uint64_t sampleSize,
                              std::uint8_t nalLengthSize, const NalRules& rules);

}  // namespace quarrypack::captions
