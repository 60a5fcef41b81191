#include "kav/sample_description.h"

#include <algorithm>
#include <array>
#include <utility>

#include "kav/impl/descriptions/entry_records.h"
#include "kav/impl/descriptions/portable_sound.h"
#include "kav/impl/descriptions/sample_descriptor.h"

namespace norvik::kav {
namespace {

template <class Info>
const Info* recordOf(const impl::SampleDescriptor& descriptor) {
  const auto* kind = dynamic_cast<const impl::DescriptorOf<Info>*>(&descriptor);
  return kind == nullptr ? nullptr : &kind->info();
}

}  // namespace

SampleDescription::SampleDescription(const NorvikKavSampleDescInfo& info,
                                     std::span<const std::uint8_t> header)
    : descriptor_(impl::makeDescriptor(info, header)) {}

SampleDescription::SampleDescription(std::shared_ptr<const impl::SampleDescriptor> descriptor)
    : descriptor_(std::move(descriptor)) {}

const NorvikKavSampleDescInfo& SampleDescription::info() const { return descriptor_->info(); }

const NorvikKavVideoSampleDescInfo* SampleDescription::video() const {
  return recordOf<NorvikKavVideoSampleDescInfo>(*descriptor_);
}

const NorvikKavAudioSampleDescInfo* SampleDescription::audio() const {
  return recordOf<NorvikKavAudioSampleDescInfo>(*descriptor_);
}

std::span<const std::uint8_t> SampleDescription::headerBytes() const {
  return descriptor_->headerBytes();
}

BoxView::List SampleDescription::boxes() const {
  const std::span<const std::uint8_t> boxes = impl::boxesOf(*descriptor_);
  return BoxView::listOf(boxes, headerBytes().size() - boxes.size());
}

std::optional<BoxView> SampleDescription::box(FourCc type) const {
  const BoxView::List all = boxes();
  const auto found = std::find_if(all.begin(), all.end(),
                                  [type](const BoxView& box) { return box.type() == type; });
  if (found == all.end()) return std::nullopt;
  return *found;
}

std::optional<PixelAspect> SampleDescription::pixelAspect() const {
  const std::optional<BoxView> pasp = box(fourCc("pasp"));
  if (!pasp) return std::nullopt;
  const auto record = impl::decodeRecord<impl::PaspRecord>(pasp->payload());
  if (!record) return std::nullopt;
  return PixelAspect{record->horizontalSpacing, record->verticalSpacing};
}

bool SampleDescription::isEncrypted() const {
  constexpr std::array kCodecs{fourCc("encv"), fourCc("enca"), fourCc("enct"), fourCc("encs"),
                               fourCc("encm"), fourCc("drmi"), fourCc("drms")};
  return std::find(kCodecs.begin(), kCodecs.end(), codecType()) != kCodecs.end() ||
         box(fourCc("sinf")).has_value();
}

}  // namespace norvik::kav
