#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "captions/nal_units.h"
#include "captions/sei.h"

namespace quarrypack::embed {

// How the samples of a description are coded.
struct PictureCoding {
  const captions::NalRules* rules = &captions::kH264Rules;
  std::uint8_t nalLengthSize = 4;  // 1 to 4
};

// A unit of captions that a picture already holds.
struct CaptionCut {
  std::uint32_t offset = 0;             // of its length field, in the sample
  std::uint32_t length = 0;             // with its length field
  std::vector<std::uint8_t> rest = {};  // what stays of it, with a length field; mostly nothing
};

// What a look at the beginning of a picture tells.
struct PictureUnits {
  // False for a sample that is damaged, or that holds no part of a picture: it must stay as it is.
  bool takesCaptions = false;
  std::uint32_t place = 0;       // where captions go, in the sample
  std::uint8_t temporalId = 0;   // of the picture
  std::vector<CaptionCut> cuts;  // at ascending offsets
};

// Looks at the units of pictures. It reads no more than it needs: the beginning of a sample up to
// its first slice, then the headers of the units that follow, because some films have captions
// there. Memory and buffers are used again for the next picture.
class PictureReader {
 public:
  // Copies bytes of the sample at hand, which lie inside it, to a buffer.
  using Read = std::function<void(std::uint64_t offset, std::span<std::uint8_t> bytes)>;

  // A sample of so many bytes. The result is valid until the next call. What read throws passes
  // through.
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
