#include "captions/cc_data.h"

#include "captions/byte_reader.h"

namespace quarrypack::captions {
namespace {

// process_em_data_flag, process_cc_data_flag, and no additional data.
constexpr std::uint8_t kFlags = 0xC0;
constexpr std::uint8_t kProcessCcData = 0x40;
constexpr std::uint8_t kCountMask = 0x1F;

constexpr std::uint8_t kEmData = 0xFF;
constexpr std::uint8_t kMarkerBits = 0xFF;

constexpr std::uint8_t kTripletMarkerBits = 0xF8;
constexpr std::uint8_t kValid = 0x04;
constexpr std::uint8_t kTypeMask = 0x03;

std::uint8_t firstByte(const CcTriplet& triplet) {
  return static_cast<std::uint8_t>(kTripletMarkerBits | (triplet.valid ? kValid : 0) |
                                   static_cast<std::uint8_t>(triplet.type));
}

}  // namespace

void writeCcData(std::span<std::uint8_t> bytes, std::span<const CcTriplet> triplets,
                 std::size_t statedCount) {
  std::uint8_t* next = bytes.data();
  *next++ = static_cast<std::uint8_t>(kFlags | statedCount);
  *next++ = kEmData;
  for (const CcTriplet& triplet : triplets) {
    *next++ = firstByte(triplet);
    *next++ = triplet.byte1;
    *next++ = triplet.byte2;
  }
  *next = kMarkerBits;
}

void appendCcData(std::vector<std::uint8_t>& bytes, std::span<const CcTriplet> triplets,
                  std::size_t statedCount) {
  const std::size_t start = bytes.size();
  bytes.resize(start + ccDataSize(triplets.size()));
  writeCcData(std::span(bytes).subspan(start), triplets, statedCount);
}

CcData parseCcData(std::span<const std::uint8_t> bytes) {
  ByteReader reader(bytes);
  CcData data;
  const std::uint8_t flags = reader.u8();
  data.process = (flags & kProcessCcData) != 0;
  data.statedCount = flags & kCountMask;
  reader.u8();  // em_data
  data.triplets.reserve(data.statedCount);
  while (data.triplets.size() < data.statedCount) {
    const auto triplet = reader.take(3);
    if (triplet.empty()) break;
    data.triplets.push_back(
        {(triplet[0] & kValid) != 0, CcType(triplet[0] & kTypeMask), triplet[1], triplet[2]});
  }
  return data;
}

}  // namespace quarrypack::captions
