#include "companions/texts.h"

#include <gtest/gtest.h>

#include <chrono>

namespace quarrypack::companions {
namespace {

TEST(Counted, NamesOneThingAndMany) {
  EXPECT_EQ(counted(0, "caption"), "0 captions");
  EXPECT_EQ(counted(1, "caption"), "1 caption");
  EXPECT_EQ(counted(12, "caption"), "12 captions");
}

TEST(TimeText, IsThatOfAClock) {
  using std::chrono::milliseconds;
  EXPECT_EQ(timeText(milliseconds(3'723'004)), "01:02:03.004");
  EXPECT_EQ(timeText(milliseconds(-5)), "00:00:00.000");
}

}  // namespace
}  // namespace quarrypack::companions
