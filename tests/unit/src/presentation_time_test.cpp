#include "src/presentation_time.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

namespace quarrypack {
namespace {

constexpr std::uint64_t kMax = std::numeric_limits<std::uint64_t>::max();

// The arithmetic in full: an offset goes to seconds and back in doubles, each operation on its own.
std::uint64_t offsetThroughSeconds(std::uint32_t offset, std::uint32_t timescale) {
  if (timescale == 0) return 0;
  const volatile double seconds = static_cast<double>(offset) / static_cast<double>(timescale);
  const volatile double units = static_cast<double>(timescale) * seconds;
  return static_cast<std::uint64_t>(units + 0.5);
}

TEST(TruncateToUnsigned, CutsOffWhatIsInRange) {
  EXPECT_EQ(truncateToUnsigned(0.0), 0u);
  EXPECT_EQ(truncateToUnsigned(0.999), 0u);
  EXPECT_EQ(truncateToUnsigned(1.5), 1u);
  EXPECT_EQ(truncateToUnsigned(9223372036854775808.0), std::uint64_t{1} << 63);
  EXPECT_EQ(truncateToUnsigned(13835058055282163712.0), std::uint64_t{3} << 62);
}

TEST(TruncateToUnsigned, SaturatesOutsideTheRange) {
  EXPECT_EQ(truncateToUnsigned(-0.5), 0u);
  EXPECT_EQ(truncateToUnsigned(-1e300), 0u);
  EXPECT_EQ(truncateToUnsigned(18446744073709551616.0), kMax);
  EXPECT_EQ(truncateToUnsigned(1e300), kMax);
  EXPECT_EQ(truncateToUnsigned(std::numeric_limits<double>::infinity()), kMax);
  EXPECT_EQ(truncateToUnsigned(std::nan("")), 0u);
}

TEST(PresentationTime, AddsTheOffset) {
  struct Case {
    std::uint64_t decodingTime;
    std::uint32_t offset, timescale;
    std::uint64_t want;
  };
  for (const Case& c :
       {Case{0, 1001, 30000, 1001}, Case{9, 1, 3, 10}, Case{5, 4294966295u, 30000, 4294966300},
        Case{4611686018427387904, 3, 7, 4611686018427387907}}) {
    EXPECT_EQ(presentationTime(c.decodingTime, c.offset, c.timescale), c.want);
  }
}

TEST(PresentationTime, LosesTheOffsetWithoutTimescale) {
  EXPECT_EQ(presentationTime(10, 0, 0), 10u);
  EXPECT_EQ(presentationTime(10, 7, 0), 10u);
}

TEST(PresentationTime, WrapsBeyondTheRange) { EXPECT_EQ(presentationTime(kMax, 3, 1), 2u); }

TEST(PresentationTime, AgreesWithTheWayThroughSeconds) {
  std::mt19937_64 random(1);
  const std::vector<std::uint32_t> edges{0, 1, 2, 3, 1001, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
  for (const std::uint32_t offset : edges) {
    for (const std::uint32_t timescale : edges) {
      EXPECT_EQ(presentationTime(0, offset, timescale), offsetThroughSeconds(offset, timescale));
    }
  }
  for (int i = 0; i < 200000; ++i) {
    const auto offset = static_cast<std::uint32_t>(random() >> (32 + random() % 32));
    const auto timescale = static_cast<std::uint32_t>(random() >> (32 + random() % 32));
    ASSERT_EQ(presentationTime(17, offset, timescale), 17 + offsetThroughSeconds(offset, timescale))
        << offset << " in " << timescale;
  }
}

TEST(ConvertTime, RoundsToTheNearest) {
  struct Case {
    std::uint64_t t;
    std::uint32_t from, to;
    std::uint64_t want;
  };
  for (const Case& c : {Case{90049, 90000, 1000, 1001}, Case{90044, 90000, 1000, 1000},
                        Case{90045, 90000, 1000, 1001}, Case{1001, 30000, 600, 20}}) {
    EXPECT_EQ(convertTime(c.t, c.from, c.to), c.want);
  }
}

TEST(ConvertTime, SkipsTheDivisionByTimescaleZero) {
  EXPECT_EQ(convertTime(5, 0, 3), 15u);
  EXPECT_EQ(convertTime(5, 3, 0), 0u);
  EXPECT_EQ(convertTime(5, 0, 0), 0u);
}

TEST(ConvertTime, KeepsTimesFrom2To63) {
  EXPECT_EQ(convertTime(std::uint64_t{1} << 63, 4, 4), std::uint64_t{1} << 63);
  EXPECT_EQ(convertTime(std::uint64_t{1} << 62, 1, 2), std::uint64_t{1} << 63);
  EXPECT_EQ(convertTime(std::uint64_t{1} << 63, 1, 2), kMax);
  EXPECT_EQ(convertTime(kMax, 1, 0xFFFFFFFF), kMax);
}

TEST(ConvertTime, TakesTheShortWayOnlyWhereItIsExact) {
  std::mt19937_64 random(2);
  const std::vector<std::uint32_t> timescales{
      1,     2,     3,     7,          600,        1000,       1001,       24000, 30000,
      44100, 48000, 90000, 0x7FFFFFFF, 0x80000001, 0xFFFFFFFE, 0xFFFFFFFF, 0};
  for (const std::uint32_t timescale : timescales) {
    for (std::uint64_t back = 0; back < 2000; ++back) {
      for (const std::uint64_t t : {kExactTimeLimit + 1000 - back, back}) {
        ASSERT_EQ(convertTime(t, timescale, timescale),
                  convertTimeInDoubles(t, timescale, timescale))
            << t << " in " << timescale;
      }
    }
  }
  for (int i = 0; i < 500000; ++i) {
    const std::uint64_t t = random() >> random() % 64;
    const auto timescale = static_cast<std::uint32_t>(random() >> (32 + random() % 32));
    ASSERT_EQ(convertTime(t, timescale, timescale), convertTimeInDoubles(t, timescale, timescale))
        << t << " in " << timescale;
  }
}

TEST(ConvertTime, IsTheSameBetweenAllTimescales) {
  std::mt19937_64 random(4);
  for (int i = 0; i < 500000; ++i) {
    const std::uint64_t t = random() >> random() % 64;
    const auto from = static_cast<std::uint32_t>(random() >> (32 + random() % 32));
    const auto to = static_cast<std::uint32_t>(random() >> (32 + random() % 32));
    ASSERT_EQ(convertTime(t, from, to), convertTimeInDoubles(t, from, to))
        << t << " in " << from << " to " << to;
  }
}

TEST(ConvertTime, NeverTurnsTimesRound) {
  std::mt19937_64 random(3);
  for (int i = 0; i < 200000; ++i) {
    const auto from = static_cast<std::uint32_t>(random() >> (32 + random() % 32));
    const auto to = static_cast<std::uint32_t>(random() >> (32 + random() % 32));
    const std::uint64_t early = random() >> random() % 64;
    const std::uint64_t late = early + std::min(random() >> random() % 64, kMax - early);
    ASSERT_LE(convertTime(early, from, to), convertTime(late, from, to));
  }
}

}  // namespace
}  // namespace quarrypack
