#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <iosfwd>
#include <stdexcept>

#include "kav/error_code.h"
#include "kav/exception.h"

// Expectations about the library's error codes, which name the code and print names:
//
//     EXPECT_CODE(truncatedBox, box.readContent());   the expression throws
//     EXPECT_CODE(success, box.readContent());        it throws nothing
//     EXPECT_RESULT(noMovie, openReader(...));        an outward function returns its code

namespace norvik::kav {

// How GoogleTest prints a code.
void PrintTo(ErrorCode code, std::ostream* out);

}  // namespace norvik::kav

namespace quarrypack::test {

// The code that the call throws, or success if it throws nothing. Passes on exceptions of other
// types.
template <class Call>
norvik::kav::ErrorCode thrownCode(Call&& call) {
  using norvik::kav::ErrorCode;
  try {
    call();
  } catch (const norvik::kav::Exception& exception) {
    const auto code = static_cast<ErrorCode>(exception.code());
    if (code == ErrorCode::success) throw std::logic_error("a failure was thrown as success");
    return code;
  }
  return ErrorCode::success;
}

}  // namespace quarrypack::test

#define EXPECT_CODE(name, ...)                                                       \
  EXPECT_EQ(::quarrypack::test::thrownCode([&] { static_cast<void>(__VA_ARGS__); }), \
            ::norvik::kav::ErrorCode::name)

#define EXPECT_RESULT(name, ...) \
  EXPECT_EQ(static_cast<::norvik::kav::ErrorCode>(__VA_ARGS__), ::norvik::kav::ErrorCode::name)

#define ASSERT_RESULT(name, ...) \
  ASSERT_EQ(static_cast<::norvik::kav::ErrorCode>(__VA_ARGS__), ::norvik::kav::ErrorCode::name)
