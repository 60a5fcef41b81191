#include "kav/exception.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <exception>

#include "tests/support/expect_code.h"

namespace norvik::kav {
namespace {

TEST(Exception, CarriesANumberAndNoText) {
  const Exception named(ErrorCode::noMovie);
  EXPECT_RESULT(noMovie, named.code());
  EXPECT_STREQ(named.what(), "");
  const Exception numbered(std::uint32_t{77});
  EXPECT_EQ(numbered.code(), 77u);
}

TEST(Exception, IsAStandardException) {
  bool caught = false;
  try {
    throw Exception(ErrorCode::shortRead);
  } catch (const std::exception& exception) {
    caught = true;
    EXPECT_STREQ(exception.what(), "");
  }
  EXPECT_TRUE(caught);
}

}  // namespace
}  // namespace norvik::kav
