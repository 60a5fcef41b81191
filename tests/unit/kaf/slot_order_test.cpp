#include <gtest/gtest.h>

#include "kaf/orx_exception.h"
#include "kaf/streams.h"
#include "tests/support/virtual_slots.h"

namespace quell::kaf {
namespace {

using quarrypack::test::slotsFrom;
using quarrypack::test::slotsOf;

TEST(SlotOrder, OfTheStreamsBelowTheLibrary) {
  EXPECT_EQ(
      slotsOf(&IStream::open, &IStream::close, &IStream::read, &IStream::seek, &IStream::tell),
      slotsFrom(1, 5));
  EXPECT_EQ(slotsOf(&IOStream::write, &IOStream::setSize), slotsFrom(6, 2));
}

// The third operation, after the destructor and what().
TEST(SlotOrder, OfAnExceptionWithAMessage) {
  EXPECT_EQ(slotsOf(&orx::OrxException::getMessage), slotsFrom(2, 1));
}

}  // namespace
}  // namespace quell::kaf
