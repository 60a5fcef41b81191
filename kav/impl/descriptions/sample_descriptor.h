#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "kav/four_cc.h"
#include "kav/impl/bytes/field_layout.h"
#include "kav/sample_desc_info.h"

namespace norvik::kav::impl {

// A sample description on its own: what the reader hands out and the writer takes. It holds its
// record and its own copy of the header bytes.
class SampleDescriptor {
 public:
  virtual ~SampleDescriptor() = default;

  virtual const NorvikKavSampleDescInfo& info() const = 0;
  virtual std::unique_ptr<SampleDescriptor> clone() const = 0;

  FourCc codecType() const { return info().codecType; }
  std::span<const std::uint8_t> headerBytes() const { return headerBytes_; }
  void setHeaderBytes(std::vector<std::uint8_t> bytes);
  void setDataReferenceIndex(std::uint16_t index) { mutableInfo().dataReferenceIndex = index; }

  // The UUID of an entry whose type is uuid.
  const ExtendedType& extendedType() const { return extendedType_; }
  void setExtendedType(const ExtendedType& type) { extendedType_ = type; }

 protected:
  // Throws missingArgument for a length without bytes.
  SampleDescriptor(const std::uint8_t* bytes, std::uint32_t length);
  SampleDescriptor(const SampleDescriptor&) = default;
  SampleDescriptor& operator=(const SampleDescriptor&) = default;

  virtual NorvikKavSampleDescInfo& mutableInfo() = 0;

 private:
  std::vector<std::uint8_t> headerBytes_;
  ExtendedType extendedType_{};
};

// The descriptor of one kind of record.
template <class Info>
class DescriptorOf final : public SampleDescriptor {
 public:
  // A new description: what is not given here is 0.
  DescriptorOf(std::uint32_t headerLength, FourCc codecType, FourCc handlerType,
               const std::uint8_t* bytes);

  // The description that a record and its header bytes make.
  DescriptorOf(const Info& info, const std::uint8_t* bytes);

  const Info& info() const override { return info_; }
  Info& record() { return info_; }
  std::unique_ptr<SampleDescriptor> clone() const override {
    return std::make_unique<DescriptorOf>(*this);
  }

 private:
  NorvikKavSampleDescInfo& mutableInfo() override { return info_; }

  Info info_;
};

using GenericSampleDescriptor = DescriptorOf<NorvikKavSampleDescInfo>;
using VideoSampleDescriptor = DescriptorOf<NorvikKavVideoSampleDescInfo>;
using AudioSampleDescriptor = DescriptorOf<NorvikKavAudioSampleDescInfo>;
using ZeltSampleDescriptor = DescriptorOf<NorvikKavZeltSampleDescInfo>;

// The descriptor that a public record makes with header bytes, whatever length the record states
// for them; the record's handler tells its kind. Throws unsupportedTrackType for a record that is
// not as long as its kind, implausibleCount for more header bytes than a record can count.
std::unique_ptr<SampleDescriptor> makeDescriptor(const NorvikKavSampleDescInfo& info,
                                                 std::span<const std::uint8_t> header);

}  // namespace norvik::kav::impl
