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
  std::uint32_t horizontalSpacing = 1;
  std::uint32_t verticalSpacing = 1;
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
  explicit SampleDescription(std::shared_ptr<const impl::SampleDescriptor> descriptor);

  const NorvikKavSampleDescInfo& info() const;
  FourCc codecType() const { return info().codecType; }

  // The fields of this kind; null for a description of another kind.
  const NorvikKavVideoSampleDescInfo* video() const;
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

  const impl::SampleDescriptor& descriptor() const { return *descriptor_; }

 private:
  std::shared_ptr<const impl::SampleDescriptor> descriptor_;
};

// What a plain handle of a description holds; see kav/reader.h.
struct NorvikKavSampleDescription {
  SampleDescription description;
};

}  // namespace norvik::kav
