#pragma once

#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <vector>

#include "tests/support/bytes.h"

// Bytes that look like media: H.264 access units, caption samples, and the sample entries that
// describe them.

namespace quarrypack::test {

enum NalType : unsigned {
  kSlice = 1,
  kKeySlice = 5,
  kSei = 6,
  kSequenceParameters = 7,
  kPictureParameters = 8,
  kAccessUnitDelimiter = 9,
  kFiller = 12,
};

// A NAL unit without a length before it.
Bytes nal(unsigned type, const Bytes& payload = {});
Bytes accessUnitDelimiter();
Bytes sequenceParameters();  // 320 x 240, baseline profile
Bytes pictureParameters();

Bytes lengthPrefixed(const Bytes& nalUnit, unsigned nalLengthSize = 4);
Bytes accessUnit(std::initializer_list<Bytes> nalUnits, unsigned nalLengthSize = 4);
Bytes accessUnit(const std::vector<Bytes>& nalUnits, unsigned nalLengthSize = 4);

// `count` bytes that identify their sample: "V#0003" and then a pattern of their own without zeros.
// So a sample in the wrong place can be recognised in a dump.
Bytes recognisable(std::string_view tag, std::size_t number, std::size_t count);

// A caption atom: its size, its type, and the unchanged byte pairs.
Bytes captionAtom(std::string_view type, const Bytes& pairs);
Bytes cdat(const Bytes& pairs);  // field 1
Bytes cdt2(const Bytes& pairs);  // field 2
// Pairs that are all different from each other and from those of other numbers.
Bytes captionPairs(std::size_t bytes, unsigned number = 0);

Bytes avcConfiguration(unsigned nalLengthSize = 4);  // the avcC box
Bytes avcEntry(unsigned nalLengthSize = 4, unsigned width = 320, unsigned height = 240);
Bytes videoEntry(std::string_view codec, const Bytes& configuration, unsigned width = 320,
                 unsigned height = 240);
Bytes elementaryStreamDescriptor();  // the esds box of AAC
Bytes mp4aEntry(unsigned sampleRate = 44100, unsigned channels = 2);
Bytes soundEntry(std::string_view codec, const Bytes& configuration, unsigned sampleRate = 44100,
                 unsigned channels = 2);
// The prefix that every entry has, followed by raw bytes.
Bytes genericEntry(std::string_view codec, const Bytes& rest = {});

}  // namespace quarrypack::test
