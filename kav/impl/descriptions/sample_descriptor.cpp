#include "kav/impl/descriptions/sample_descriptor.h"

#include <limits>
#include <utility>

#include "kav/exception.h"

namespace norvik::kav::impl {
namespace {

template <class Info>
std::unique_ptr<SampleDescriptor> descriptorFrom(const NorvikKavSampleDescInfo& info,
                                                 std::span<const std::uint8_t> header) {
  // A record of another length lacks the fields of this kind.
  if (info.structSize != sizeof(Info)) throw Exception(ErrorCode::unsupportedTrackType);
  Info record = static_cast<const Info&>(info);
  record.headerLength = static_cast<std::uint32_t>(header.size());
  return std::make_unique<DescriptorOf<Info>>(record, header.data());
}

}  // namespace

SampleDescriptor::SampleDescriptor(const std::uint8_t* bytes, std::uint32_t length) {
  if (length == 0) return;
  if (bytes == nullptr) throw Exception(ErrorCode::missingArgument);
  headerBytes_.assign(bytes, bytes + length);
}

void SampleDescriptor::setHeaderBytes(std::vector<std::uint8_t> bytes) {
  headerBytes_ = std::move(bytes);
  mutableInfo().headerLength = static_cast<std::uint32_t>(headerBytes_.size());
}

template <class Info>
DescriptorOf<Info>::DescriptorOf(std::uint32_t headerLength, FourCc codecType, FourCc handlerType,
                                 const std::uint8_t* bytes)
    : SampleDescriptor(bytes, headerLength) {
  info_.structSize = sizeof(Info);
  info_.headerLength = headerLength;
  info_.codecType = codecType;
  info_.handlerType = handlerType;
  info_.dataReferenceIndex = 0;
  info_.reserved = 0;
}

template <class Info>
DescriptorOf<Info>::DescriptorOf(const Info& info, const std::uint8_t* bytes)
    : SampleDescriptor(bytes, info.headerLength), info_(info) {
  info_.structSize = sizeof(Info);
}

template class DescriptorOf<NorvikKavSampleDescInfo>;
template class DescriptorOf<NorvikKavVideoSampleDescInfo>;
template class DescriptorOf<NorvikKavAudioSampleDescInfo>;
template class DescriptorOf<NorvikKavZeltSampleDescInfo>;

std::unique_ptr<SampleDescriptor> makeDescriptor(const NorvikKavSampleDescInfo& info,
                                                 std::span<const std::uint8_t> header) {
  if (header.size() > std::numeric_limits<std::uint32_t>::max()) {
    throw Exception(ErrorCode::implausibleCount);
  }
  switch (info.handlerType) {
    case fourCc("vide"):
      return descriptorFrom<NorvikKavVideoSampleDescInfo>(info, header);
    case fourCc("soun"):
      return descriptorFrom<NorvikKavAudioSampleDescInfo>(info, header);
    case fourCc("hint"):
      return descriptorFrom<NorvikKavZeltSampleDescInfo>(info, header);
    default:
      return descriptorFrom<NorvikKavSampleDescInfo>(info, header);
  }
}

}  // namespace norvik::kav::impl
