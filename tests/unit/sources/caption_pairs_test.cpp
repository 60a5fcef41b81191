#include "sources/caption_pairs.h"

#include <gtest/gtest.h>

namespace quarrypack::sources {
namespace {

TEST(CaptionPairs, AreNoMoreThanAnyFilmHas) {
  captions::FieldPairs field(kMostPairs - 1);
  addPair(field, {});
  EXPECT_EQ(field.size(), kMostPairs);
  EXPECT_THROW(addPair(field, {}), SourceError);
  EXPECT_EQ(field.size(), kMostPairs);
}

}  // namespace
}  // namespace quarrypack::sources
