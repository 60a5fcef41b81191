#include "src/caption_delay.h"

#include <gtest/gtest.h>

namespace quarrypack {
namespace {

TEST(CaptionDelay, IsTheShiftOfTheVideoInTicksOfTheCaptions) {
  EXPECT_EQ(captionDelay({20, 1000}, {0, 500}), 10u);
  EXPECT_EQ(captionDelay({2002, 30000}, {0, 90000}), 6006u);
  EXPECT_EQ(captionDelay({20, 1000}, {0, 1000}), 20u);
  EXPECT_EQ(captionDelay({0, 1000}, {0, 500}), 0u);
}

TEST(CaptionDelay, IsRoundedWithAnExactHalfDropped) {
  EXPECT_EQ(captionDelay({3, 2}, {0, 3}), 4u);
  EXPECT_EQ(captionDelay({1, 2}, {0, 3}), 1u);
}

TEST(CaptionDelay, IsLessWhatTheCaptionsWereMovedBy) {
  EXPECT_EQ(captionDelay({20, 1000}, {4, 500}), 6u);
  EXPECT_EQ(captionDelay({20, 1000}, {10, 500}), 0u);
}

TEST(CaptionDelay, IsNothingForCaptionsThatWereMovedFurther) {
  EXPECT_EQ(captionDelay({20, 1000}, {30, 500}), 0u);
  EXPECT_EQ(captionDelay({0, 1000}, {30, 500}), 0u);
}

TEST(CaptionDelay, IsNothingWithoutATimescale) {
  EXPECT_EQ(captionDelay({20, 0}, {0, 500}), 0u);
  EXPECT_EQ(captionDelay({20, 1000}, {0, 0}), 0u);
}

}  // namespace
}  // namespace quarrypack
