#include "captions/caption_opening.h"

#include "tests/support/caption_pairs.h"

#include <gtest/gtest.h>

namespace quarrypack::captions {
namespace {

using namespace quarrypack::test;

constexpr Time kStart{1000};

// What is left of pairs before the start, which are followed by one at the start.
std::string keptOf(const std::string& before) {
  FieldPairs field;
  for (const BytePair pair : pairsOf(before)) field.push_back({Time{0}, pair});
  field.push_back({kStart, pairsOf("7f7f")[0]});
  dropBeforeStart(field, kStart);
  const std::string kept = hexOf(field);
  EXPECT_EQ(kept.substr(kept.size() - 4), "7f7f");
  return kept.size() > 4 ? kept.substr(0, kept.size() - 5) : "";
}

TEST(CaptionOpening, KeepsNothingWhereNothingIsShown) {
  EXPECT_EQ(keptOf(""), "");
  EXPECT_EQ(keptOf("c1c1 c2c2"), "");
  EXPECT_EQ(keptOf("9420 c1c1 942f 942c"), "");
  EXPECT_EQ(keptOf("9420 9420 94ae 94ae c1c1 942c 942c 942f 942f 942c 942c"), "");
}

TEST(CaptionOpening, KeepsWhatIsOnTheScreen) {
  EXPECT_EQ(keptOf("9420 c1c1 942f"), "9420 c1c1 942f");
  EXPECT_EQ(keptOf("9420 9420 c1c1 942f 942f"), "9420 9420 c1c1 942f 942f");
  // The one before it is gone: erased, or overwritten out of sight.
  EXPECT_EQ(keptOf("9420 c1c1 942f 942c 9420 c2c2 942f"), "9420 c2c2 942f");
  EXPECT_EQ(keptOf("9420 c1c1 942f 9420 94ae c2c2 942f 94ae"), "9420 94ae c2c2 942f 94ae");
}

TEST(CaptionOpening, KeepsWhatIsLoading) {
  EXPECT_EQ(keptOf("9420 c1c1 942f 942c 9420 c2c2"), "9420 c2c2");
  EXPECT_EQ(keptOf("9420 c1c1 942f 9420 c2c2"), "9420 c1c1 942f 9420 c2c2");
  // The screen is erased while the next caption loads.
  EXPECT_EQ(keptOf("9420 c1c1 942f 9420 c2c2 942c c4c4"), "9420 c2c2 942c c4c4");
  // Nothing is loaded, but later text will be: without the code it would be lost.
  EXPECT_EQ(keptOf("9420"), "9420");
  EXPECT_EQ(keptOf("9420 c1c1 942f 942c 9420 94ae"), "9420");
  EXPECT_EQ(keptOf("9420 c2c2 94ae"), "9420");
  // Twice: the second copy may be due later, where it would count as the first.
  EXPECT_EQ(keptOf("9420 9420"), "9420");
}

TEST(CaptionOpening, KeepsAnOlderCaptionThatWasNeverErasedOutOfSight) {
  // The memories change places, and without an erasure the older text is loaded again.
  EXPECT_EQ(keptOf("9420 c1c1 942f 9420 c2c2 942f 942c"), "9420 c1c1 942f 9420 c2c2 942f 942c");
}

TEST(CaptionOpening, CountsDoubledCodesOnce) {
  // Shown once, not twice: else the caption would be out of sight again.
  EXPECT_EQ(keptOf("9420 9420 c1c1 942f 942f 94ae 94ae"), "9420 9420 c1c1 942f 942f 94ae 94ae");
  // Two codes, not a copy: the shown text goes out of sight and is erased there.
  EXPECT_EQ(keptOf("9420 9420 c1c1 942f 942f 942f 94ae 94ae"), "");
  EXPECT_EQ(keptOf("9420 c1c1 942f 8080 942f 94ae"), "");
}

TEST(CaptionOpening, KeepsTheLinesOfRollUpThatAreVisible) {
  EXPECT_EQ(keptOf("9425 94ad 9470 c1c1 94ad c2c2"), "9425 94ad 9470 c1c1 94ad c2c2");
  // Of two rows the third line from the end is gone; the mode is still needed.
  EXPECT_EQ(keptOf("9425 94ad c1c1 94ad c2c2 94ad c4c4"), "9425 94ad c2c2 94ad c4c4");
  EXPECT_EQ(keptOf("9426 94ad c1c1 94ad c2c2 94ad c4c4"), "9426 94ad c1c1 94ad c2c2 94ad c4c4");
  EXPECT_EQ(keptOf("9425 94ad c1c1 9425 94ad c2c2 9425 94ad c4c4"),
            "9425 94ad c2c2 9425 94ad c4c4");
}

TEST(CaptionOpening, KeepsTheModeThatLaterTextGoesOnIn) {
  EXPECT_EQ(keptOf("9425 94ad c1c1 942c"), "9425");
  EXPECT_EQ(keptOf("9429 c1c1 942c"), "9429");
  EXPECT_EQ(keptOf("9429 c1c1"), "9429 c1c1");
  EXPECT_EQ(keptOf("9425 c1c1 942c 9420"), "9420");
}

TEST(CaptionOpening, ErasesThePopOnCaptionWhenRollUpBegins) {
  EXPECT_EQ(keptOf("9420 c1c1 942f 9425 94ad c2c2"), "9425 94ad c2c2");
}

TEST(CaptionOpening, KnowsTheChannelsApart) {
  // 1c is the second channel, whose caption is erased; the first one's is not.
  EXPECT_EQ(keptOf("9420 c1c1 942f 1c20 c2c2 1c2f 1c2c"), "9420 c1c1 942f 1c20 c2c2 1c2f 1c2c");
  EXPECT_EQ(keptOf("9420 c1c1 942f 1c20 c2c2 1c2f 942c"), "1c20 c2c2 1c2f 942c");
}

TEST(CaptionOpening, ForgetsTextServicesAndPackets) {
  EXPECT_EQ(keptOf("942a c1c1 c2c2"), "");
  EXPECT_EQ(keptOf("9420 0103 c1c1 8f1d"), "9420");
  EXPECT_EQ(keptOf("9420 0103 c1c1 8f1d c2c2"), "9420 0103 c1c1 8f1d c2c2");
}

TEST(CaptionOpening, LeavesAllThatIsDueLater) {
  FieldPairs field;
  for (const std::int64_t time : {500, 1000, 400, 2000}) {
    field.push_back({Time{time}, pairsOf("c1c1")[0]});
  }
  dropBeforeStart(field, kStart);
  EXPECT_EQ(timesOf(field), (std::vector<Time>{Time{1000}, Time{400}, Time{2000}}));
  FieldPairs none;
  dropBeforeStart(none, kStart);
  EXPECT_TRUE(none.empty());
}

}  // namespace
}  // namespace quarrypack::captions
