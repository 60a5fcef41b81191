#include "src/sample_groups.h"

#include "src/presentation_time.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <random>
#include <span>
#include <vector>

namespace quarrypack {
namespace {

constexpr std::uint32_t kVideo = 0;
constexpr std::uint32_t kAudio = 1;

FlushDecision::Sample video(std::uint64_t time, bool isSync, std::uint32_t offset = 0) {
  return {isSync, true, time, offset, 1000};
}

FlushDecision::Sample audio(std::uint64_t time, bool isSync = true) {
  return {isSync, false, time, 0, 500};
}

TEST(FlushDecision, DoesNotArmOnTheFirstSyncSample) {
  FlushDecision decision;
  EXPECT_FALSE(decision.flushesBefore(video(0, true), 0));
  for (std::size_t i = 1; i < 10; ++i) {
    EXPECT_FALSE(decision.flushesBefore(video(i * 40, false), i));
  }
}

TEST(FlushDecision, FlushesWhatStoodBeforeTheSecondSyncSample) {
  FlushDecision decision;
  EXPECT_FALSE(decision.flushesBefore(video(0, true), 0));
  EXPECT_FALSE(decision.flushesBefore(video(40, false), 1));
  EXPECT_FALSE(decision.flushesBefore(video(80, true), 2));  // never by itself
  EXPECT_TRUE(decision.flushesBefore(video(120, false), 3));
  EXPECT_EQ(decision.groupLength(), 2u);
  EXPECT_FALSE(decision.flushesBefore(video(160, false), 2));
}

TEST(FlushDecision, ArmsOnTheFirstVideoSyncSampleAfterAnAudioSyncSample) {
  FlushDecision decision;
  EXPECT_FALSE(decision.flushesBefore(audio(0), 0));
  EXPECT_FALSE(decision.flushesBefore(video(0, true), 1));
  EXPECT_TRUE(decision.flushesBefore(video(40, false), 2));
  EXPECT_EQ(decision.groupLength(), 1u);
}

TEST(FlushDecision, ArmsOnlyOnTheVideoTrack) {
  FlushDecision decision;
  for (std::size_t i = 0; i < 10; ++i) EXPECT_FALSE(decision.flushesBefore(audio(i), i));
}

TEST(FlushDecision, DoesNotArmOnAnAudioSyncSampleAfterTheFirstKeyFrame) {
  FlushDecision decision;
  EXPECT_FALSE(decision.flushesBefore(video(0, true), 0));
  EXPECT_FALSE(decision.flushesBefore(audio(0), 1));
  EXPECT_FALSE(decision.flushesBefore(video(40, false), 2));
  EXPECT_FALSE(decision.flushesBefore(video(80, true), 3));
  EXPECT_TRUE(decision.flushesBefore(video(120, false), 4));
  EXPECT_EQ(decision.groupLength(), 3u);
}

TEST(FlushDecision, GrowsWithSyncSamplesOfAnyTrackWhileArmed) {
  FlushDecision decision;
  EXPECT_FALSE(decision.flushesBefore(video(0, true), 0));
  EXPECT_FALSE(decision.flushesBefore(video(40, true), 1));
  EXPECT_FALSE(decision.flushesBefore(audio(30), 2));  // 60 ms: the flush point from now on
  EXPECT_FALSE(decision.flushesBefore(video(60, false), 3));
  EXPECT_TRUE(decision.flushesBefore(video(62, false), 4));
  EXPECT_EQ(decision.groupLength(), 2u);
}

TEST(FlushDecision, ComparesInTheTimescaleOfTheArmingSample) {
  FlushDecision decision;
  EXPECT_FALSE(decision.flushesBefore(audio(0), 0));
  EXPECT_FALSE(decision.flushesBefore(video(41, true), 1));
  EXPECT_FALSE(decision.flushesBefore(audio(20, false), 2));  // 40
  EXPECT_TRUE(decision.flushesBefore(audio(21, false), 3));   // 42
}

TEST(FlushDecision, WaitsForTheTimeTheKeyFrameIsShown) {
  FlushDecision decision;
  EXPECT_FALSE(decision.flushesBefore(audio(0), 0));
  EXPECT_FALSE(decision.flushesBefore(video(40, true, 80), 1));
  EXPECT_FALSE(decision.flushesBefore(video(80, false), 2));
  EXPECT_FALSE(decision.flushesBefore(video(120, false), 3));
  EXPECT_TRUE(decision.flushesBefore(video(160, false), 4));
  EXPECT_EQ(decision.groupLength(), 1u);
}

TEST(FlushDecision, ArmsAgainAfterAFlush) {
  FlushDecision decision;
  decision.flushesBefore(video(0, true), 0);
  decision.flushesBefore(video(40, true), 1);
  EXPECT_TRUE(decision.flushesBefore(video(80, false), 2));
  EXPECT_FALSE(decision.flushesBefore(audio(60), 2));  // disarmed: audio does not arm
  EXPECT_FALSE(decision.flushesBefore(video(200, false), 3));
  EXPECT_FALSE(decision.flushesBefore(video(240, true), 4));
  EXPECT_TRUE(decision.flushesBefore(video(280, false), 5));
  EXPECT_EQ(decision.groupLength(), 4u);
}

TEST(FlushDecision, SurvivesTimescaleZero) {
  FlushDecision decision;
  EXPECT_FALSE(decision.flushesBefore({true, false, 5, 0, 0}, 0));
  EXPECT_FALSE(decision.flushesBefore({true, true, 5, 9, 0}, 1));
  EXPECT_FALSE(decision.flushesBefore({false, true, 1u << 31, 0, 0}, 2));
}

PendingSample shownAt(std::uint64_t time, std::uint32_t slot = kVideo, std::uint32_t offset = 0) {
  PendingSample sample;
  sample.decodingTime = time;
  sample.slot = slot;
  sample.compositionOffset = offset;
  return sample;
}

TEST(PendingSamples, AreTakenFromTheFront) {
  PendingSamples pending;
  for (std::uint64_t i = 0; i < 1000; ++i) {
    PendingSample sample;
    sample.decodingTime = i;
    pending.append(sample);
  }
  pending.dropFront(0);
  EXPECT_EQ(pending.size(), 1000u);
  pending.dropFront(999);
  ASSERT_EQ(pending.size(), 1u);
  EXPECT_EQ(pending[0].decodingTime, 999u);
  pending.dropFront(1);
  EXPECT_TRUE(pending.empty());
}

TEST(PendingSamples, KeepTheirOrderWhileTheListGrowsAndShrinks) {
  PendingSamples pending;
  std::uint64_t added = 0;
  std::uint64_t dropped = 0;
  for (std::size_t round = 0; round < 60; ++round) {
    for (std::size_t i = 0; i < 1 + round * 37; ++i) pending.append(shownAt(added++));
    const std::size_t drop = std::min(pending.size(), round * 83);
    pending.dropFront(drop);
    dropped += drop;
    ASSERT_EQ(pending.size(), added - dropped);
    for (std::size_t i = 0; i < pending.size(); ++i) {
      ASSERT_EQ(pending[i].decodingTime, dropped + i);
    }
  }
}

using Order = std::vector<std::uint32_t>;

Order placesInOrder(const PendingSamples& pending, std::size_t count,
                    const std::vector<std::uint32_t>& timescales) {
  Order places;
  for (const ShownSample& sample : presentationOrder(pending, count, timescales)) {
    places.push_back(sample.place);
  }
  return places;
}

TEST(PresentationOrder, SortsByPresentationTime) {
  const PendingSamples pending{shownAt(0, kVideo, 100), shownAt(100, kVideo, 300),
                               shownAt(200, kVideo, 0), shownAt(300, kVideo, 0)};
  EXPECT_EQ(placesInOrder(pending, 4, {1000}), (Order{0, 2, 3, 1}));
  EXPECT_EQ(placesInOrder(pending, 2, {1000}), (Order{0, 1}));
  EXPECT_EQ(placesInOrder(pending, 0, {1000}), Order{});
}

TEST(PresentationOrder, KeepsTheReadingOrderOfEqualTimes) {
  const PendingSamples pending{shownAt(5), shownAt(5), shownAt(10, kAudio), shownAt(4), shownAt(5)};
  EXPECT_EQ(placesInOrder(pending, 5, {1000, 2000}), (Order{3, 0, 1, 2, 4}));
}

TEST(PresentationOrder, ComparesAcrossTimescales) {
  const PendingSamples pending{shownAt(48000, kAudio), shownAt(500), shownAt(1000),
                               shownAt(24000, kAudio)};
  EXPECT_EQ(placesInOrder(pending, 4, {1000, 48000}), (Order{1, 3, 0, 2}));
}

// The sort in its plain form, on separate lists.
std::vector<std::uint32_t> plainSort(const PendingSamples& pending, Order list,
                                     std::span<const std::uint32_t> timescales) {
  if (list.size() < 2) return list;
  const auto middle = list.begin() + static_cast<std::ptrdiff_t>(list.size() / 2);
  const Order left = plainSort(pending, Order(list.begin(), middle), timescales);
  const Order right = plainSort(pending, Order(middle, list.end()), timescales);
  const auto shown = [&](std::uint32_t place) {
    const PendingSample& sample = pending[place];
    return presentationTime(sample.decodingTime, sample.compositionOffset, timescales[sample.slot]);
  };
  const auto before = [&](std::uint32_t a, std::uint32_t b) {
    return shown(a) <
           convertTimeInDoubles(shown(b), timescales[pending[b].slot], timescales[pending[a].slot]);
  };
  Order merged;
  std::size_t l = 0;
  std::size_t r = 0;
  while (l < left.size() || r < right.size()) {
    const bool takesRight = r < right.size() && (l == left.size() || before(right[r], left[l]));
    merged.push_back(takesRight ? right[r++] : left[l++]);
  }
  return merged;
}

// From 0 up to, but not including, the limit.
std::size_t below(std::size_t limit, std::mt19937_64& random) {
  return static_cast<std::size_t>(random() % limit);
}

struct Lists {
  const char* name;
  std::vector<std::uint32_t> timescales;
  std::uint64_t step;    // from one sample to the next, in units of the coarsest timescale
  std::uint64_t jitter;  // on top of it
};

TEST(PresentationOrder, EqualsThePlainSort) {
  std::mt19937_64 random(6);
  const std::vector<Lists> kinds{
      {"one timescale", {1000}, 40, 200},
      {"movie", {30000, 48000}, 500, 4000},
      {"coarse against fine", {3, 1000, 7}, 0, 2},
      {"rounding", {2, 3, 5, 7}, 1, 2},
      {"too many timescales", {2, 3, 5, 7, 11, 13}, 1, 3},
      {"one of them zero", {0, 10, 1000}, 3, 10},
      {"no order at all", {30000, 1001}, 0, 100000000},
      {"in order", {1000, 1000}, 10, 1},
      {"beyond doubles", {30000, 30001, 1}, std::uint64_t{1} << 55, std::uint64_t{1} << 58},
  };
  for (const Lists& kind : kinds) {
    for (int round = 0; round < 120; ++round) {
      const std::size_t count = below(round < 100 ? 80 : 3000, random);
      PendingSamples pending;
      std::uint64_t time = 0;
      // Timescales can turn up late in a list.
      const std::size_t early = 1 + below(kind.timescales.size(), random);
      for (std::size_t i = 0; i < count; ++i) {
        const std::size_t slots = i < count / 2 ? early : kind.timescales.size();
        const auto slot = static_cast<std::uint32_t>(random() % slots);
        time += kind.step;
        std::uint64_t shown = time + random() % kind.jitter;
        shown = convertTime(shown, kind.timescales[0], kind.timescales[slot]);
        pending.append(shownAt(shown, slot));
      }
      Order list(count);
      for (std::uint32_t i = 0; i < count; ++i) list[i] = i;
      ASSERT_EQ(placesInOrder(pending, count, kind.timescales),
                plainSort(pending, list, kind.timescales))
          << kind.name << ", round " << round;
    }
  }
}

class NoSource final : public ByteSource {
 public:
  void readAt(std::uint64_t, std::span<std::uint8_t>) override { FAIL() << "bytes were read"; }
};

TEST(SortedGroup, FindsTheSampleThatALinearSearchFinds) {
  std::mt19937_64 random(7);
  NoSource file;
  const std::vector<std::vector<std::uint32_t>> tables{
      {1000}, {30000, 48000}, {2, 3, 5, 7}, {0, 10, 1000}};
  for (int round = 0; round < 300; ++round) {
    const std::vector<std::uint32_t>& timescales = tables[below(tables.size(), random)];
    const std::size_t count = below(400, random);
    PendingSamples pending;
    for (std::size_t i = 0; i < count; ++i) {
      const auto slot = static_cast<std::uint32_t>(random() % timescales.size());
      pending.append(shownAt(i * timescales[slot] / 10 + random() % 8, slot));
    }
    const std::size_t length = count - below(count / 4 + 1, random);
    const Order order = placesInOrder(pending, length, timescales);
    SortedGroup group(pending, length, timescales, file);
    for (int search = 0; search < 50; ++search) {
      const std::uint32_t timescale = std::vector<std::uint32_t>{1000, 7, 0, 90000}[random() % 4];
      const std::uint64_t time = random() % (count * timescale / 10 + 10);
      std::optional<std::size_t> want;
      for (std::size_t i = 0; i < length && !want; ++i) {
        const PendingSample& sample = pending[order[i]];
        const std::uint32_t own = timescales[sample.slot];
        if (convertTime(presentationTime(sample.decodingTime, 0, own), own, timescale) >= time) {
          want = order[i];
        }
      }
      ASSERT_EQ(group.firstShownAt(time, timescale), want) << "round " << round;
    }
  }
}

TEST(SortedGroup, FindsTimesFrom2To63) {
  NoSource file;
  PendingSamples pending{shownAt(5), shownAt(std::uint64_t{1} << 63)};
  const std::vector<std::uint32_t> timescales{1000};
  SortedGroup group(pending, 2, timescales, file);
  EXPECT_EQ(group.firstShownAt(6, 1000), 1u);
  EXPECT_EQ(group.firstShownAt(std::uint64_t{1} << 63, 1000), 1u);
  EXPECT_EQ(group.firstShownAt((std::uint64_t{1} << 63) + 1, 1000), std::nullopt);
}

TEST(SortedGroup, KeepsBytesOnlyOfSamplesAskedFor) {
  NoSource file;
  PendingSamples pending{shownAt(0), shownAt(1)};
  pending[1].size = 9;
  const std::vector<std::uint32_t> timescales{1000};
  SortedGroup group(pending, 2, timescales, file);
  EXPECT_EQ(group.splicedBytes(1), nullptr);
  EXPECT_EQ(group.bytes(1).size(), 9u);
  EXPECT_EQ(group.splicedBytes(1), &group.bytes(1));
  EXPECT_EQ(group.splicedBytes(0), nullptr);
}

TEST(SortedGroup, UsesReleasedBytesAgain) {
  NoSource file;
  PendingSamples pending{shownAt(0), shownAt(1), shownAt(2)};
  for (std::size_t i = 0; i < 3; ++i) pending[i].size = static_cast<std::uint32_t>(10 + i);
  const std::vector<std::uint32_t> timescales{1000};
  SortedGroup group(pending, 3, timescales, file);
  group.releaseBytes(0);
  group.bytes(0).insert(0, std::vector<std::uint8_t>{1, 2});
  SampleBytes& kept = group.bytes(1);
  const SampleBytes* const released = &group.bytes(0);
  group.releaseBytes(0);
  EXPECT_EQ(group.splicedBytes(0), nullptr);
  EXPECT_EQ(&group.bytes(2), released);
  EXPECT_EQ(group.bytes(2).size(), 12u);
  EXPECT_EQ(group.splicedBytes(1), &kept);
}

TEST(SortedGroup, SearchesAMillionSamplesAndQuarterOfAMillionCaptions) {
  NoSource file;
  PendingSamples pending;
  const std::vector<std::uint32_t> timescales{30000, 48000};
  constexpr std::uint64_t kFrames = 500000;
  for (std::uint64_t i = 0; i < kFrames; ++i) {
    const std::uint32_t offset = i % 3 == 0 ? 3000 : 0;
    pending.append(shownAt(i * 1000, kVideo, offset));
    pending.append(shownAt(i * 1600, kAudio));
  }
  SortedGroup group(pending, pending.size(), timescales, file);
  for (std::uint64_t i = 0; i < kFrames / 2; ++i) {
    ASSERT_TRUE(group.firstShownAt(i * 2000, 30000).has_value());
  }
  EXPECT_FALSE(group.firstShownAt(kFrames * 1000 + 3000, 30000).has_value());
}

}  // namespace
}  // namespace quarrypack
