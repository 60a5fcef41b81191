#pragma once

#include <cstddef>
#include <cstdint>

#include "kav/impl/bytes/field_layout.h"

namespace norvik::kav::impl {

// The bytes of an entry, its box header included, before its header bytes.
inline constexpr std::size_t kVideoEntrySize = 86;
inline constexpr std::size_t kAudioEntrySize = 36;
inline constexpr std::size_t kGenericEntrySize = 16;

// The fixed fields of an entry, as they follow its box header.

// Every kind of entry begins with these fields; an entry of an unknown kind has no others.
struct GenericEntryRecord {
  std::uint16_t dataReferenceIndex = 0;

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.reserved(6);
    fields.u16(self.dataReferenceIndex);
  }
};
static_assert(plainBoxSize<GenericEntryRecord>() == kGenericEntrySize);

struct VideoEntryRecord {
  static constexpr std::size_t kCompressorName = 42;  // where the name begins

  std::uint16_t dataReferenceIndex = 0;
  std::uint16_t width = 0;
  std::uint16_t height = 0;
  std::uint32_t horizontalResolution = 0;
  std::uint32_t verticalResolution = 0;
  std::uint16_t frameCount = 0;
  std::uint16_t depth = 0;
  std::uint16_t preDefined = 0;

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.reserved(6);
    fields.u16(self.dataReferenceIndex);
    fields.reserved(16);
    fields.u16(self.width);
    fields.u16(self.height);
    fields.u32(self.horizontalResolution);
    fields.u32(self.verticalResolution);
    fields.reserved(4);
    fields.u16(self.frameCount);
    fields.reserved(32);  // the compressor name follows from the coding
    fields.u16(self.depth);
    fields.u16(self.preDefined);
  }
};
static_assert(plainBoxSize<VideoEntryRecord>() == kVideoEntrySize);

// Where the base format has reserved words, QuickTime has a version and the values that belong to
// it. Sound in a QuickTime coding makes no sense without them.
struct AudioEntryRecord {
  std::uint16_t dataReferenceIndex = 0;
  std::uint16_t version = 0;
  std::uint16_t revision = 0;
  std::uint32_t vendor = 0;
  std::uint16_t channelCount = 0;
  std::uint16_t sampleSize = 0;
  std::uint16_t compressionId = 0;
  std::uint16_t packetSize = 0;
  std::uint32_t sampleRate = 0;

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.reserved(6);
    fields.u16(self.dataReferenceIndex);
    fields.u16(self.version);
    fields.u16(self.revision);
    fields.u32(self.vendor);
    fields.u16(self.channelCount);
    fields.u16(self.sampleSize);
    fields.u16(self.compressionId);
    fields.u16(self.packetSize);
    fields.u32(self.sampleRate);
  }
};
static_assert(plainBoxSize<AudioEntryRecord>() == kAudioEntrySize);

// The boxes among the header bytes of an entry. They stay bytes; decodeRecord looks into one.

// The shape of a pixel: its width and height in any common unit.
struct PaspRecord {
  std::uint32_t horizontalSpacing = 1;
  std::uint32_t verticalSpacing = 1;

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.u32(self.horizontalSpacing);
    fields.u32(self.verticalSpacing);
  }
};
static_assert(plainBoxSize<PaspRecord>() == 16);

}  // namespace norvik::kav::impl
