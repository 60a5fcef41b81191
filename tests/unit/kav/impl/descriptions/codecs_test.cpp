#include "kav/impl/descriptions/codecs.h"

#include <gtest/gtest.h>

namespace norvik::kav::impl {
namespace {

TEST(Codecs, KnowTheKindNameAndConfigurationOfACoding) {
  for (const FourCc code : {fourCc("avc1"), fourCc("H264"), fourCc("h264")}) {
    const Codec* const codec = findCodec(code);
    ASSERT_NE(codec, nullptr);
    EXPECT_EQ(codec->code, code);
    EXPECT_EQ(codec->handler, fourCc("vide"));
    EXPECT_EQ(codec->name, "AVC Coding");
    EXPECT_EQ(codec->configuration, fourCc("avcC"));
  }
  EXPECT_EQ(findCodec(fourCc("VP6F"))->name, "VP6 Coding");
  EXPECT_EQ(findCodec(fourCc("mp4a"))->configuration, fourCc("esds"));
}

TEST(Codecs, HaveNoRowForACodingThatIsOnlyCopied) { EXPECT_EQ(findCodec(fourCc("c608")), nullptr); }

}  // namespace
}  // namespace norvik::kav::impl
