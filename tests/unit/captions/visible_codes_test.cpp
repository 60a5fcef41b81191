#include "captions/visible_codes.h"

#include <gtest/gtest.h>

#include <set>

namespace quarrypack::captions {
namespace {

const std::set<int> kCommandBytes{0x14, 0x15, 0x1C, 0x1D};
const std::set<int> kVisible{0x25, 0x26, 0x27, 0x29, 0x2C, 0x2D, 0x2F};

// Every pair without parity bits, then with both set.
TEST(VisibleCodes, AreFoundInAnyChannelWhateverTheParity) {
  for (int first = 0; first < 256; ++first) {
    for (int second = 0; second < 256; ++second) {
      const BytePair pair{static_cast<std::uint8_t>(first), static_cast<std::uint8_t>(second)};
      const bool isCommand = kCommandBytes.contains(first & 0x7F);
      const int code = second & 0x7F;
      ASSERT_EQ(isVisibleCode(pair), isCommand && kVisible.contains(code)) << first << ' ' << code;
      ASSERT_EQ(isEndOfCaption(pair), isCommand && code == 0x2F) << first << ' ' << code;
      const bool hasCode = isCommand && code >= 0x20 && code <= 0x2F;
      ASSERT_EQ(commandCode(pair), hasCode ? code : 0) << first << ' ' << code;
    }
  }
}

TEST(BytePairs, TellPaddingAndControlCodes) {
  EXPECT_TRUE(kPadding.isPadding());
  EXPECT_TRUE((BytePair{0x00, 0x00}).isPadding());
  EXPECT_FALSE((BytePair{0x80, 0x01}).isPadding());
  EXPECT_TRUE((BytePair{0x94, 0x20}).isControl());
  EXPECT_TRUE((BytePair{0x1F, 0x20}).isControl());
  EXPECT_FALSE((BytePair{0x20, 0x94}).isControl());
  EXPECT_FALSE((BytePair{0x0F, 0x0F}).isControl());
}

}  // namespace
}  // namespace quarrypack::captions
