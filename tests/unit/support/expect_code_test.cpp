#include "tests/support/expect_code.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace quarrypack::test {
namespace {

using norvik::kav::ErrorCode;
using norvik::kav::Exception;

void fail(ErrorCode code) { throw Exception(code); }

TEST(ExpectCode, HoldsForTheCodeThatIsThrown) {
  EXPECT_CODE(noMovie, fail(ErrorCode::noMovie));
  EXPECT_CODE(success, Exception(ErrorCode::noMovie)) << "made, not thrown";
}

TEST(ExpectCode, FailsWithTheNamesOfBothCodes) {
  EXPECT_NONFATAL_FAILURE(EXPECT_CODE(noMovie, fail(ErrorCode::shortRead)), "shortRead");
  EXPECT_NONFATAL_FAILURE(EXPECT_CODE(noMovie, fail(ErrorCode::shortRead)), "noMovie");
  EXPECT_NONFATAL_FAILURE(EXPECT_CODE(noMovie, 1 + 1), "success");
}

TEST(ExpectCode, LeavesOtherExceptionsAlone) {
  EXPECT_THROW(EXPECT_CODE(noMovie, throw std::runtime_error("another")), std::runtime_error);
}

TEST(ExpectCode, DoesNotTakeAThrownZeroForSuccess) {
  EXPECT_THROW(EXPECT_CODE(success, fail(ErrorCode::success)), std::logic_error);
}

TEST(ExpectResult, ComparesTheCodeThatAFunctionReturns) {
  EXPECT_RESULT(success, 0u);
  EXPECT_NONFATAL_FAILURE(EXPECT_RESULT(success, 27u), "truncatedBox");
}

}  // namespace
}  // namespace quarrypack::test
