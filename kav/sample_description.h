#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "kav/box_view.h"
#include "kav/four_cc.h"
#include "kav/sample_desc_info.h"

namespace norvik::kav {

namespace impl {
class SampleDescriptor;
}

// The shape of a pixel: its width and height in any common unit.
struct PixelAspect {
  std::uint32_t horizontalSpacing = 1;  // the width
  std::uint32_t verticalSpacing = 1;    // the height
};

// The coding of the samples of a track: an entry of stsd. Copies share the content, which never
// changes, and may outlive the movie that it was read from.
class SampleDescription {
 public:
  // A new description, for a movie to be written. info is the base of its handler's record, with
  // the length in info.structSize; header holds the bytes after the fixed fields and is copied.
  // info.headerLength is ignored. Throws unsupportedTrackType for a record whose length is not that
  // of its handler's.
  SampleDescription(const NorvikKavSampleDescInfo& info, std::span<const std::uint8_t> header);

  // A description that the library read; not for use outside it.
  explicit SampleDescription(std::shared_ptr<const impl::SampleDescriptor> descriptor);

  // The fields that every kind of description has.
  const NorvikKavSampleDescInfo& info() const;

  // The four-character code of the entry: avc1, mp4a, ...
  FourCc codecType() const { return info().codecType; }

  // The fields of a description of pictures; null for any other.
  const NorvikKavVideoSampleDescInfo* video() const;

  // The fields of a description of sound; null for any other.
  const NorvikKavAudioSampleDescInfo* audio() const;

  // The bytes after the fixed fields of the entry, kept and written unchanged.
  std::span<const std::uint8_t> headerBytes() const;

  // The boxes among the header bytes: avcC, pasp, colr, ... Skips the fields that a QuickTime sound
  // entry of version 1 or 2 has before them.
  BoxView::List boxes() const;

  // The first of these boxes that has the type; nothing if there is none.
  std::optional<BoxView> box(FourCc type) const;

  // The content of pasp; nothing if there is none.
  std::optional<PixelAspect> pixelAspect() const;

  // Whether the samples are encrypted, by the code of the entry (encv, enca, drmi, ...) or by a box
  // that describes the scheme (sinf).
  bool isEncrypted() const;

  // The form that the library uses internally.
  const impl::SampleDescriptor& descriptor() const { return *descriptor_; }

 private:
  std::shared_ptr<const impl::SampleDescriptor> descriptor_;
};

// The content of a plain handle of a description; see kav/reader.h.
struct NorvikKavSampleDescription {
  SampleDescription description;  // shares its content with all copies
};

}  // namespace norvik::kav
