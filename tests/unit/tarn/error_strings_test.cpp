#include "tarn/error_strings.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <set>
#include <string>

namespace norvik::tarn {
namespace {

std::string textOf(std::int32_t code) { return getErrorString(static_cast<EErrorCode>(code)); }

TEST(ErrorStrings, HaveALineOfTheirOwnForEveryLibraryCode) {
  const std::int32_t codes[] = {0,    1,    3,    4,    5,    6,    7,    9,    10,   12,   14,
                                15,   16,   17,   20,   23,   25,   27,   28,   29,   30,   31,
                                32,   33,   36,   42,   48,   1028, 1029, 1280, 1282, 1287, 1288,
                                1289, 1536, 1542, 2052, 2053, 3073, 3074, 3075, 5210};
  std::set<std::string> texts;
  for (const std::int32_t code : codes) {
    const std::string text = textOf(code);
    EXPECT_FALSE(text.empty()) << code;
    EXPECT_NE(text, "Unknown error") << code;
    EXPECT_EQ(text.find('\n'), std::string::npos) << code;
    EXPECT_TRUE(texts.insert(text).second) << code << " shares the text " << text;
  }
}

TEST(ErrorStrings, HaveALineForEveryOtherCode) {
  for (const std::int32_t code : {-1, 2, 9999, std::numeric_limits<std::int32_t>::min(),
                                  std::numeric_limits<std::int32_t>::max()}) {
    EXPECT_EQ(textOf(code), "Unknown error") << code;
  }
}

}  // namespace
}  // namespace norvik::tarn
