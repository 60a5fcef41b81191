#include "kav/impl/reading/presentation_iterator.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

#include "tests/unit/kav/impl/sample_columns.h"

namespace norvik::kav::impl {
namespace {

constexpr std::uint64_t kEnd = 1'000'000;

// Media whose samples are at given times; the size of each is its place, counted from 1.
class ListedMedia final : public SampleIterator {
 public:
  explicit ListedMedia(Column times) : times_(std::move(times)) {}

  bool hasNext() override { return next_ < times_.size(); }
  bool take(Sample& sample) override {
    if (!hasNext()) return false;
    sample = {};
    sample.info.decodingTime = times_[next_];
    sample.info.size = static_cast<std::uint32_t>(++next_);
    return true;
  }

 private:
  Column times_;
  std::size_t next_ = 0;
};

// Returns the same media again and again, and records the requested starts.
class ListedMediaCreator final : public IMediaIterCreator {
 public:
  ListedMediaCreator(Column times, Column& starts) : times_(std::move(times)), starts_(starts) {}

  std::unique_ptr<SampleIterator> createMediaIterator(std::uint64_t start) override {
    starts_.push_back(start);
    return std::make_unique<ListedMedia>(times_);
  }
  SamplePtr createEmptySample(std::uint64_t time) override {
    auto sample = std::make_unique<Sample>();
    sample->info.decodingTime = time;
    sample->info.flags = kSampleIsGap;
    return sample;
  }

 private:
  Column times_;
  Column& starts_;
};

struct Presentation {
  // The movie counts in hundredths, the media in thousandths.
  Presentation(const Column& times, std::vector<EditSegment> segments, std::uint64_t end = kEnd,
               std::uint64_t start = 0) {
    PresentationIter iterator(std::make_unique<ListedMediaCreator>(times, starts),
                              std::move(segments), 100, 1000, start, end);
    samples = drain(iterator);
  }

  Column starts;
  Samples samples;
};

TEST(PresentationIter, DeliversOneEmptySampleAndShiftsTheMediaAfterIt) {
  const Presentation shown({0, 10, 20}, {{6, kNoMedia, 0}, {3, 0, 6}});
  EXPECT_EQ(timesOf(shown.samples), (Column{0, 60, 70, 80}));
  EXPECT_EQ(flagsOf(shown.samples), (Column{2, 0, 0, 0}));
  EXPECT_EQ(sizesOf(shown.samples), (Column{0, 1, 2, 3}));
}

TEST(PresentationIter, AsksForTheMediaFromTheMediaTimeOfEachSegment) {
  const Presentation shown({0, 10, 20}, {{1, 15, 0}, {1, kNoMedia, 1}, {1, 5, 2}});
  EXPECT_EQ(shown.starts, (Column{15, 5}));
}

TEST(PresentationIter, DropsWhatLiesBeforeTheMediaTime) {
  const Presentation shown({0, 10, 20, 30}, {{10, 15, 0}});
  EXPECT_EQ(timesOf(shown.samples), (Column{5, 15}));
  EXPECT_EQ(sizesOf(shown.samples), (Column{3, 4}));
}

TEST(PresentationIter, EndsASegmentBeforeTheFirstSampleAtItsEnd) {
  EXPECT_EQ(timesOf(Presentation({0, 10, 20, 30}, {{2, 0, 0}}).samples), (Column{0, 10}));
  EXPECT_EQ(timesOf(Presentation({0, 10, 19, 30}, {{2, 0, 0}}).samples), (Column{0, 10, 19}));
}

TEST(PresentationIter, EndsASegmentLaterByTheDelayOfItsEnd) {
  EXPECT_EQ(timesOf(Presentation({0, 10, 20, 30, 40}, {{2, 0, 0, 15}}).samples),
            (Column{0, 10, 20, 30}));
  EXPECT_EQ(timesOf(Presentation({0, 10, 20, 30}, {{2, 0, 0, 10}}).samples), (Column{0, 10, 20}));
  EXPECT_EQ(timesOf(Presentation({0, 10}, {{2, 0, 0, ~std::uint64_t{0}}}).samples), (Column{0, 10}))
      << "the end stays within 64 bits";
}

TEST(PresentationIter, DeliversSamplesAgainThatTwoSegmentsShow) {
  const Presentation shown({0, 10, 20}, {{2, 0, 0}, {2, 10, 2}});
  EXPECT_EQ(timesOf(shown.samples), (Column{0, 10, 20, 30}));
  EXPECT_EQ(sizesOf(shown.samples), (Column{1, 2, 2, 3}));
}

TEST(PresentationIter, GoesOnWithTheNextSegmentWhereTheMediaRunsOut) {
  const Presentation shown({0, 10}, {{100, 0, 0}, {1, 10, 100}});
  EXPECT_EQ(timesOf(shown.samples), (Column{0, 10, 1000}));
}

TEST(PresentationIter, RunsToTheEndOfTheMediaInASegmentWithoutDuration) {
  const Presentation shown({0, 10, 20}, {{4, kNoMedia, 0}, {0, 10, 4}});
  EXPECT_EQ(timesOf(shown.samples), (Column{0, 40, 50}));
}

TEST(PresentationIter, DeliversEmptySegmentsInARow) {
  const Presentation shown({}, {{4, kNoMedia, 0}, {5, kNoMedia, 4}, {6, kNoMedia, 9}});
  EXPECT_EQ(timesOf(shown.samples), (Column{0, 40, 90}));
  EXPECT_EQ(flagsOf(shown.samples), (Column{2, 2, 2}));
}

TEST(PresentationIter, HasNothingWithoutSegmentsOrMedia) {
  EXPECT_EQ(timesOf(Presentation({0, 10}, {}).samples), Column());
  EXPECT_EQ(timesOf(Presentation({}, {{5, 0, 0}}).samples), Column());
}

TEST(PresentationIter, EndsWithTheRequestedRange) {
  EXPECT_EQ(timesOf(Presentation({0, 10, 20}, {{9, 0, 0}}, 20).samples), (Column{0, 10}));
  EXPECT_EQ(timesOf(Presentation({0, 10, 20}, {{9, 0, 0}}, 0).samples), Column());
}

TEST(PresentationIter, BeginsWithTheRequestedRange) {
  const std::vector<EditSegment> segments = {{2, 10, 0}, {3, kNoMedia, 2}, {3, 0, 5}};
  const auto from = [&](std::uint64_t start) {
    return timesOf(Presentation({0, 10, 20, 30}, segments, kEnd, start).samples);
  };
  EXPECT_EQ(from(0), (Column{0, 10, 20, 50, 60, 70}));
  EXPECT_EQ(from(10), (Column{10, 20, 50, 60, 70}));
  EXPECT_EQ(from(11), (Column{20, 50, 60, 70}));
  EXPECT_EQ(from(21), (Column{50, 60, 70}));
  EXPECT_EQ(from(70), (Column{70}));
  EXPECT_EQ(from(71), Column());
  EXPECT_EQ(from(~std::uint64_t{0}), Column());
}

TEST(PresentationIter, DoesNotWalkTheMediaBeforeTheRequestedRange) {
  const Presentation shown({0, 10, 20, 30}, {{2, 10, 0}, {3, 0, 2}}, kEnd, 30);
  EXPECT_EQ(shown.starts, (Column{10}));
  EXPECT_EQ(timesOf(shown.samples), (Column{30, 40}));
}

// The halves of (t * T + (M - 1) / 2) / M are dropped.
TEST(PresentationIter, RescalesItsTimesLikeTheRest) {
  Column starts;
  PresentationIter iterator(std::make_unique<ListedMediaCreator>(Column{0, 1}, starts),
                            {{1, kNoMedia, 0}, {3, 0, 1}}, 2, 3, 0, kEnd);
  // The segment begins at 1/2: 1.5 thirds, which count as 1; it ends at 4/2: 6 thirds.
  EXPECT_EQ(timesOf(drain(iterator)), (Column{0, 1, 2}));
}

TEST(PresentationIter, WalksTheMediaOfATrack) {
  const Film opened(MovieBuilder({countingTrack(5)}), ReaderOptions{});
  PresentationIter iterator(std::make_unique<MediaIterCreator>(opened.track(), 8, false),
                            {{1, kNoMedia, 0}, {2, 20, 1}}, 100, 1000, 0, kEnd);
  const auto samples = drain(iterator);
  EXPECT_EQ(timesOf(samples), (Column{0, 10, 20}));
  EXPECT_EQ(sizesOf(samples), (Column{0, 3, 4}));
  EXPECT_EQ(samples[0].context, 8u);
}

}  // namespace
}  // namespace norvik::kav::impl
