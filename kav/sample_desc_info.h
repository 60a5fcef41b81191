#pragma once

#include <concepts>
#include <cstdint>

namespace norvik::kav {

// The fields of a sample description, apart from its header bytes. Those are the bytes after the
// fixed fields of the entry, mostly the configuration of the decoder. handlerType determines the
// record that this is the base of: vide, soun and hint have a record of their own, other handlers
// none. structSize states whether the rest of that record is present.
//
// A float cannot hold every 16.16 number, so a record with a float carries the stored number too.
// The stored number is written, unless the float was set to a different value.
struct NorvikKavSampleDescInfo {
  NorvikKavSampleDescInfo() = default;

  // A longer record is copied completely or not at all: its base alone would keep the structSize of
  // the longer record. getSampleDescriptionInfo returns the base with its own structSize.
  template <std::derived_from<NorvikKavSampleDescInfo> Longer>
  NorvikKavSampleDescInfo(const Longer& record) = delete;
  template <std::derived_from<NorvikKavSampleDescInfo> Longer>
  NorvikKavSampleDescInfo& operator=(const Longer& record) = delete;

  std::uint32_t structSize = 24;         // the length of this record, its derived part included
  std::uint32_t headerLength = 0;        // bytes
  std::uint32_t codecType = 0;           // the four-character code of the entry
  std::uint32_t handlerType = 0;         // the four-character code of the track's handler
  std::uint32_t dataReferenceIndex = 1;  // where the media is; 1 for media in the movie itself
  std::uint32_t reserved = 0;            // 0
};
static_assert(sizeof(NorvikKavSampleDescInfo) == 24);

// A description of pictures, handler vide. The header bytes begin 86 bytes into the entry.
struct NorvikKavVideoSampleDescInfo : NorvikKavSampleDescInfo {
  NorvikKavVideoSampleDescInfo() { structSize = sizeof(*this); }

  float horizontalResolution = 72;                      // pixels per inch
  float verticalResolution = 72;                        // pixels per inch
  std::uint32_t storedHorizontalResolution = 72 << 16;  // 16.16
  std::uint32_t storedVerticalResolution = 72 << 16;    // 16.16
  std::uint16_t width = 0;                              // pixels
  std::uint16_t height = 0;                             // pixels
  std::uint16_t frameCount = 1;                         // pictures in a sample
  std::uint16_t depth = 24;                             // bits of a pixel
  std::uint16_t preDefined = 0xFFFF;                    // the id of a colour table; none
  std::uint16_t padding = 0;                            // pads the record; 0
};
static_assert(sizeof(NorvikKavVideoSampleDescInfo) == 52);

// A description of sound, handler soun. The header bytes begin 36 bytes into the entry; in a
// QuickTime entry of version 1 or 2 they begin with the fields that the version adds.
struct NorvikKavAudioSampleDescInfo : NorvikKavSampleDescInfo {
  NorvikKavAudioSampleDescInfo() { structSize = sizeof(*this); }

  std::uint16_t version = 0;           // of the entry: 0, or 1 and 2 of QuickTime
  std::uint16_t revision = 0;          // of the encoder; 0 when unknown
  std::uint32_t vendor = 0;            // of the encoder, a four-character code; 0 when unknown
  std::uint16_t channelCount = 2;      // as stored; in version 2 always 3
  std::uint16_t sampleSize = 16;       // bits
  std::uint16_t compressionId = 0;     // of QuickTime; 0 in other files
  std::uint16_t packetSize = 0;        // of QuickTime; 0
  float sampleRate = 0;                // samples per second
  std::uint32_t storedSampleRate = 0;  // 16.16
};
static_assert(sizeof(NorvikKavAudioSampleDescInfo) == 48);

// A description of hints, handler hint. The header bytes begin 16 bytes into the entry, as in a
// record of any other handler.
struct NorvikKavZeltSampleDescInfo : NorvikKavSampleDescInfo {};
static_assert(sizeof(NorvikKavZeltSampleDescInfo) == 24);

}  // namespace norvik::kav
