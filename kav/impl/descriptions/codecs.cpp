#include "kav/impl/descriptions/codecs.h"

#include <algorithm>
#include <array>

namespace norvik::kav::impl {
namespace {

constexpr std::array kCodecs = {
    Codec{fourCc("avc1"), fourCc("vide"), "AVC Coding", fourCc("avcC")},
    Codec{fourCc("H264"), fourCc("vide"), "AVC Coding", fourCc("avcC")},
    Codec{fourCc("h264"), fourCc("vide"), "AVC Coding", fourCc("avcC")},
    Codec{fourCc("VP6A"), fourCc("vide"), "VP6 Coding", 0},
    Codec{fourCc("VP6F"), fourCc("vide"), "VP6 Coding", 0},
    Codec{fourCc("mp4a"), fourCc("soun"), "", fourCc("esds")},
};

}  // namespace

const Codec* findCodec(FourCc code) {
  const auto* const found = std::find_if(kCodecs.begin(), kCodecs.end(),
                                         [code](const Codec& codec) { return codec.code == code; });
  return found == kCodecs.end() ? nullptr : found;
}

}  // namespace norvik::kav::impl
