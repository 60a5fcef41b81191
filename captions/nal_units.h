#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

// NAL units in the samples of a movie. Each follows a big-endian length field of 1 to 4 bytes; the
// decoder configuration states the size of the field.
namespace quarrypack::captions {

// A set of unit types, which are numbers below 64.
class NalTypes {
 public:
  template <class... Types>
  explicit constexpr NalTypes(Types... types) : bits_((std::uint64_t{0} | ... | bit(types))) {}

  constexpr bool contains(std::uint8_t type) const { return (bits_ & bit(type)) != 0; }

  // All types up to and including last, which is below 63.
  static constexpr NalTypes upTo(std::uint8_t last) {
    NalTypes types;
    types.bits_ = bit(last + 1) - 1;
    return types;
  }

 private:
  static constexpr std::uint64_t bit(int type) { return std::uint64_t{1} << type; }

  std::uint64_t bits_ = 0;
};

// The rules of a codec for its NAL units, as far as captions need them.
struct NalRules {
  std::uint8_t headerSize;  // bytes
  std::uint8_t typeShift;   // bits of the first byte after the type
  std::uint8_t typeMask;    // after the shift
  std::uint8_t seiType;     // of the SEI units that come before a picture

  // Units that come before captions: those that open an access unit.
  NalTypes beforeCaptions;
  // Units that belong to the coded picture itself.
  NalTypes picture;
  // SEI payload types that come before captions: an SEI unit that begins with one of them goes
  // first.
  std::span<const std::uint32_t> leadingMessages;

  // Requires one byte of the header.
  constexpr std::uint8_t type(std::span<const std::uint8_t> header) const {
    return static_cast<std::uint8_t>(header[0] >> typeShift & typeMask);
  }

  // The temporal sub-layer of a unit, which is also that of its SEI units; 0 for a codec without
  // sub-layers. Requires the whole header.
  constexpr std::uint8_t temporalId(std::span<const std::uint8_t> header) const {
    const unsigned plusOne = headerSize > 1 ? header[1] & 7u : 1u;
    return static_cast<std::uint8_t>(plusOne > 0 ? plusOne - 1 : 0);
  }

  // Writes the header of an SEI unit of the base layer. Returns the place after it.
  constexpr std::uint8_t* writeSeiHeader(std::uint8_t* bytes, std::uint8_t temporalId) const {
    *bytes++ = static_cast<std::uint8_t>(seiType << typeShift);
    if (headerSize > 1) *bytes++ = static_cast<std::uint8_t>(temporalId + 1);
    return bytes;
  }
};

namespace detail {
inline constexpr std::array<std::uint32_t, 1> kH264Leading{0};
inline constexpr std::array<std::uint32_t, 4> kHevcLeading{0, 1, 129, 130};
}  // namespace detail

// Parameter sets 7 and 8, their extension 13, access unit delimiter 9. A prefix unit (14) and a
// slice of an extension (20) belong to the slices 1 to 5. The buffering period precedes all other
// messages.
inline constexpr NalRules kH264Rules{.headerSize = 1,
                                     .typeShift = 0,
                                     .typeMask = 0x1F,
                                     .seiType = 6,
                                     .beforeCaptions = NalTypes(7, 8, 9, 13),
                                     .picture = NalTypes(1, 2, 3, 4, 5, 14, 20),
                                     .leadingMessages = detail::kH264Leading};

// Parameter sets 32 to 34, access unit delimiter 35; all types below 32 are parts of pictures.
// Buffering period, picture timing, active parameter sets and decoding unit come first.
inline constexpr NalRules kHevcRules{.headerSize = 2,
                                     .typeShift = 1,
                                     .typeMask = 0x3F,
                                     .seiType = 39,
                                     .beforeCaptions = NalTypes(32, 33, 34, 35),
                                     .picture = NalTypes::upTo(31),
                                     .leadingMessages = detail::kHevcLeading};

struct NalUnit {
  std::uint64_t offset = 0;             // of its length field, in the sample
  std::uint8_t lengthSize = 0;          // bytes of that field
  std::uint32_t size = 0;               // bytes of the unit as its length field states them
  std::span<const std::uint8_t> bytes;  // the first of them, or all

  std::uint64_t end() const { return offset + lengthSize + size; }
  bool whole() const { return bytes.size() == size; }
};

// Walks the NAL units of a sample. Only the first bytes of the sample must be in memory: the
// beginning of a unit identifies it, and the large units come last.
class NalWalk {
 public:
  // head is the beginning of a sample of sampleSize bytes and must outlive the units; lengthSize is
  // 1 to 4.
  NalWalk(std::span<const std::uint8_t> head, std::uint64_t sampleSize, std::uint8_t lengthSize)
      : head_(head), sampleSize_(sampleSize), lengthSize_(lengthSize) {}

  // For a sample that is completely in memory.
  NalWalk(std::span<const std::uint8_t> sample, std::uint8_t lengthSize)
      : NalWalk(sample, sample.size(), lengthSize) {}

  // Returns the next unit. Returns nothing at the end of the sample, or if the walk cannot
  // continue: see stop(). The bytes of a unit end where the head ends.
  std::optional<NalUnit> next();

  enum class Stop {
    none,         // next() returned a unit, or has not been called yet
    endOfSample,  // the units fill the sample
    needsBytes,   // the next length field, at position(), is beyond the head
    damaged,  // at position() is no length field, or a unit that runs past the end of the sample
  };
  Stop stop() const { return stop_; }

  // The offset of the next unit.
  std::uint64_t position() const { return position_; }

 private:
  std::span<const std::uint8_t> head_;
  std::uint64_t sampleSize_;
  std::uint8_t lengthSize_;
  std::uint64_t position_ = 0;
  Stop stop_ = Stop::none;
};

// Inserts the length of the buffer at its beginning, big-endian. Bits that do not fit into
// lengthSize bytes are lost.
void prependNalLength(std::vector<std::uint8_t>& buffer, std::uint8_t lengthSize);

// Escapes bytes 0, 1 and 2 after two zeros, in the form in which caption units have always been
// written: a byte 3 there is not escaped, and an escaped zero does not count towards the next two.
// Both are wrong for general content. Use it only for content without two zeros before a byte below
// 4.
void applyEmulationPrevention(std::vector<std::uint8_t>& buffer);

// Escapes any content so that a reader can restore it and finds no start code in it.
void escapeNalUnit(std::vector<std::uint8_t>& buffer);

// The content of a unit: its bytes without the escape bytes.
std::vector<std::uint8_t> removeEmulationPrevention(std::span<const std::uint8_t> unit);

}  // namespace quarrypack::captions
