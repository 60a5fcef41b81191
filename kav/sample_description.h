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

// How the samples of a track are coded: an entry of stsd. A copy shares its content, which nothing
// changes, and may outlive the movie that it was read from.
class SampleDescription {
 public:
  // A description that was not read, for a movie to be written. info is the base of the record of
  // its handler, as long as info.structSize says; header holds the bytes after the fixed fields and
  // is copied. info.headerLength is not looked at. Throws unsupportedTrackType for a record of
  // another length than its handler's.
  SampleDescription(const NorvikKavSampleDescInfo& info, std::span<const std::uint8_t> header);
  explicit SampleDescription(std::shared_ptr<const impl::SampleDescriptor> descriptor);

  const NorvikKavSampleDescInfo& info() const;
  FourCc codecType() const { return info().codecType; }

  // The fields of the kind; null for a description of another kind.
  const NorvikKavVideoSampleDescInfo* video() const;
  const NorvikKavAudioSampleDescInfo* audio() const;

  // The bytes after the fixed fields of the entry, kept and written unchanged.
  std::span<const std::uint8_t> headerBytes() const;

  // The boxes among the header bytes: avcC, pasp, colr, ... The fields that a QuickTime sound entry
  // of version 1 or 2 puts before them are skipped.
  BoxView::List boxes() const;

  // The first of these boxes with a type.
  std::optional<BoxView> box(FourCc type) const;

  // The content of pasp; none without one.
  std::optional<PixelAspect> pixelAspect() const;

  const impl::SampleDescriptor& descriptor() const { return *descriptor_; }

 private:
  std::shared_ptr<const impl::SampleDescriptor> descriptor_;
};

}  // namespace norvik::kav
