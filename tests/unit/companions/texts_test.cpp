#include "companions/texts.h"

#include <gtest/gtest.h>

namespace quarrypack::companions {
namespace {

TEST(Counted, NamesOneThingAndMany) {
  EXPECT_EQ(counted(0, "caption"), "0 captions");
  EXPECT_EQ(counted(1, "caption"), "1 caption");
  EXPECT_EQ(counted(12, "caption"), "12 captions");
}

}  // namespace
}  // namespace quarrypack::companions
