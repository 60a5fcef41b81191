#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "captions/nal_units.h"
#include "captions/sei.h"
#include "sources/picture_coding.h"

namespace quarrypack::embed {

using sources::PictureCoding;
using sources::pictureCodingOf;

// A caption unit that a picture already has.
struct CaptionCut {
  std::uint32_t offset = 0;             // of its length field, in the sample
  std::uint32_t length = 0;             // with its length field
  std::vector<std::uint8_t> rest = {};  // what stays of it, with a length field; mostly empty
};

// The units at the beginning of a picture.
struct PictureUnits {
  // False for a sample that is damaged or holds no part of a picture: it must stay unchanged.
  bool takesCaptions = false;
  std::uint32_t place = 0;       // where captions go, in the sample
  std::uint8_t temporalId = 0;   // of the picture
  std::vector<CaptionCut> cuts;  // at ascending offsets
};

// Examines the units of pictures. It reads no more than it needs: the beginning of a sample up to
// its first slice, then the headers of the units that follow, because some films have captions
// there. Its memory is reused for the next picture.
class PictureReader {
 public:
  // Copies bytes of the current sample to a buffer; they lie inside the sample.
  using Read = std::function<void(std::uint64_t offset, std::span<std::uint8_t> bytes)>;

  // Examines a sample of that size in bytes. The result is valid until the next call. What read
  // throws passes through.
  const PictureUnits& look(std::uint32_t sampleSize, PictureCoding coding, const Read& read);

 private:
  enum class Step { done, needsBytes };
  Step walk(std::uint32_t sampleSize, PictureCoding coding, std::uint64_t& wanted);
  void walkOn(std::uint32_t sampleSize, PictureCoding coding, const Read& read);
  void takeSei(const captions::NalUnit& unit, PictureCoding coding);

  std::vector<std::uint8_t> head_;
  std::uint64_t firstSliceEnd_ = 0;  // in the sample
  PictureUnits units_;
};

}  // namespace quarrypack::embed
