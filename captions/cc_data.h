#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "captions/cea608.h"

// The caption data of A/53:
//
//     flags, count (1 byte) | em_data (1) | count triplets (3 each) | marker bits (1)
namespace quarrypack::captions {

// The kind of a triplet's two bytes.
enum class CcType : std::uint8_t {
  field1 = 0,       // a CEA-608 pair of field 1
  field2 = 1,       // a CEA-608 pair of field 2
  packetData = 2,   // CEA-708
  packetStart = 3,  // CEA-708
};

constexpr CcType ccTypeOf(Field field) {
  return field == Field::one ? CcType::field1 : CcType::field2;
}

struct CcTriplet {
  bool valid = false;
  CcType type = CcType::field1;
  std::uint8_t byte1 = 0;
  std::uint8_t byte2 = 0;

  bool is608() const { return type == CcType::field1 || type == CcType::field2; }
  BytePair pair() const { return {byte1, byte2}; }

  friend bool operator==(const CcTriplet&, const CcTriplet&) = default;
};

// The count has 5 bits.
inline constexpr std::size_t kMostTriplets = 31;

// The size in bytes of caption data with this number of triplets.
constexpr std::size_t ccDataSize(std::size_t tripletCount) { return 3 * tripletCount + 3; }

// Writes caption data with all triplets and with the stated count, on which readers rely. Requires
// that neither number exceeds kMostTriplets, and that bytes has the size of the data.
void writeCcData(std::span<std::uint8_t> bytes, std::span<const CcTriplet> triplets,
                 std::size_t statedCount);

// Appends what writeCcData writes.
void appendCcData(std::vector<std::uint8_t>& bytes, std::span<const CcTriplet> triplets,
                  std::size_t statedCount);

struct CcData {
  bool process = false;         // process_cc_data_flag: if false, readers ignore the triplets
  std::size_t statedCount = 0;  // of triplets
  // The stated number of triplets, or fewer if the bytes end first. Includes invalid ones.
  std::vector<CcTriplet> triplets;

  bool whole() const { return triplets.size() == statedCount; }
};

// Reads caption data, beginning with its flags. Ignores bytes after the stated triplets, including
// the marker bits, in which writers differ. For data that ends early, whole() is false and the
// triplets are those that were read.
CcData parseCcData(std::span<const std::uint8_t> bytes);

}  // namespace quarrypack::captions
