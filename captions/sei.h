#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "captions/cc_data.h"
#include "captions/nal_units.h"

// Captions in SEI units. A unit is its header, messages and one byte 0x80; a message is
//
//     payload type | payload size | payload          type and size: ff for each 255, then the rest
//
// and one of captions has the type 4 (user data registered by ITU-T T.35) and the payload
//
//     b5 00 31 (ATSC) | "GA94" | 03 (caption data) | caption data, see cc_data.h
namespace quarrypack::captions {

// ---- Building.

struct CaptionUnitForm {
  const NalRules* rules = &kH264Rules;
  std::uint8_t nalLengthSize = 4;  // 1 to 4
  std::uint8_t temporalId = 0;     // that of the picture, see NalRules::temporalId()
};

// Makes unit an SEI unit with one message of captions, its length field included. What the buffer
// held is lost, its memory is used again. statedCount is the count that readers go by; it and the
// number of triplets are at most kMostTriplets.
void buildCaptionUnit(std::vector<std::uint8_t>& unit, const CaptionUnitForm& form,
                      std::span<const CcTriplet> triplets, std::size_t statedCount);

inline void buildCaptionUnit(std::vector<std::uint8_t>& unit, const CaptionUnitForm& form,
                             std::span<const CcTriplet> triplets) {
  buildCaptionUnit(unit, form, triplets, triplets.size());
}

// Inserts the number of bytes after a position at that position, in the form of an SEI payload
// size. Returns the number of bytes that it took. A size of exactly 255 becomes the single byte ff,
// which readers take for the first of two; no message of captions has that size.
std::size_t appendSeiPayloadSize(std::vector<std::uint8_t>& buffer, std::size_t position);

// ---- Reading.

// A message and where it lies in the content of its unit, in bytes.
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
  // Whether the messages fill the unit. False says that the unit breaks off, or holds what is no
  // message.
  bool whole = false;

  std::span<const std::uint8_t> payload(const SeiMessage& message) const {
    return std::span(content).subspan(message.payloadOffset, message.payloadSize);
  }
};

// Reads the messages of an SEI unit, given without its length field: all that lie in it as a whole.
// Any bytes may be given.
SeiUnit parseSeiUnit(std::span<const std::uint8_t> unit, const NalRules& rules);

// The type of the first message, for which the first bytes of a unit are enough. Nothing without a
// message, or when the bytes end before it is known.
std::optional<std::uint64_t> firstPayloadType(std::span<const std::uint8_t> unit,
                                              const NalRules& rules);

// Whether a message carries captions.
bool holdsCaptions(const SeiUnit& unit, const SeiMessage& message);

// The caption data of a message. Nothing for a message of anything else.
std::optional<CcData> captionData(const SeiUnit& unit, const SeiMessage& message);

// Whether captions are all that a unit holds, so that it can be removed as a whole. A unit that is
// not whole may hold anything.
bool holdsOnlyCaptions(const SeiUnit& unit);

// The unit with the messages of captions left out, escaped again and without a length field. All
// other messages keep their bytes. Requires a whole unit; empty when no message is left.
std::vector<std::uint8_t> withoutCaptions(const SeiUnit& unit, const NalRules& rules);

// ---- The place of captions in a picture.

// Where an SEI unit of captions goes in a sample: after the units that open an access unit and
// after SEI units that begin with a leading message, before everything else. In a sample of nothing
// but such units it is the end of the sample.
struct CaptionPlace {
  // known, or why the walk over the units ended before.
  enum class State { known, needsBytes, damaged };
  State state = State::known;
  // The place, or how far the walk came.
  std::uint64_t offset = 0;
};

// head is the beginning of a sample of sampleSize bytes. When it needs bytes, call again with a
// longer head.
CaptionPlace findCaptionPlace(std::span<const std::uint8_t> head, std::uint64_t sampleSize,
                              std::uint8_t nalLengthSize, const NalRules& rules);

}  // namespace quarrypack::captions
