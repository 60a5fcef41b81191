#include "kav/error_text.h"

#include <gtest/gtest.h>

#include "kav/error_code.h"

namespace norvik::kav {
namespace {

TEST(ErrorText, NamesACodeAndExplainsIt) {
  const auto code = static_cast<std::uint32_t>(ErrorCode::truncatedBox);
  EXPECT_EQ(errorName(code), "truncatedBox");
  EXPECT_EQ(errorText(code), "a box holds fewer bytes than its fields need");
}

TEST(ErrorText, KnowsTheFirstCodeAndTheLast) {
  EXPECT_EQ(errorName(0), "success");
  EXPECT_EQ(errorName(static_cast<std::uint32_t>(ErrorCode::metadataAfterFinish)),
            "metadataAfterFinish");
}

TEST(ErrorText, HasATextButNoNameForOtherNumbers) {
  for (const std::uint32_t code : {2u, 3073u, 0xFFFFFFFFu}) {
    EXPECT_EQ(errorName(code), "");
    EXPECT_EQ(errorText(code), "an unknown failure");
  }
}

}  // namespace
}  // namespace norvik::kav
