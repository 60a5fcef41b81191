#include "kav/impl/descriptions/entry_records.h"

#include <gtest/gtest.h>

#include "tests/support/bytes.h"

namespace norvik::kav::impl {
namespace {

using namespace quarrypack::test;

TEST(PaspRecord, IsDecodedFromLiteralBytes) {
  const Bytes payload = {0, 0, 0, 40, 0, 0, 0, 33};
  const auto pasp = decodeRecord<PaspRecord>(payload);
  ASSERT_TRUE(pasp);
  EXPECT_EQ(pasp->horizontalSpacing, 40u);
  EXPECT_EQ(pasp->verticalSpacing, 33u);
  Bytes written(8);
  encodeRecord(*pasp, written);
  EXPECT_EQ(written, payload);
}

TEST(PaspRecord, IsNotThereInAShorterPayload) {
  const Bytes payload(8);
  for (std::size_t length = 0; length < payload.size(); ++length) {
    EXPECT_FALSE(decodeRecord<PaspRecord>(std::span(payload).first(length))) << length;
  }
}

}  // namespace
}  // namespace norvik::kav::impl
