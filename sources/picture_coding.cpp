#include "sources/picture_coding.h"

#include "captions/decoder_configuration.h"
#include "kav/box_view.h"

namespace quarrypack::sources {

using norvik::kav::fourCc;

std::optional<PictureCoding> pictureCodingOf(const norvik::kav::SampleDescription& description) {
  if (const auto avcC = description.box(fourCc("avcC"))) {
    const auto config = captions::parseAvcDecoderConfig(avcC->payload());
    if (config) return PictureCoding{&captions::kH264Rules, config->nalLengthSize};
  }
  if (const auto hvcC = description.box(fourCc("hvcC"))) {
    const auto config = captions::parseHevcDecoderConfig(hvcC->payload());
    if (config) return PictureCoding{&captions::kHevcRules, config->nalLengthSize};
  }
  return std::nullopt;
}

}  // namespace quarrypack::sources
