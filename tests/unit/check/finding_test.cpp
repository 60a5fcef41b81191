#include "check/finding.h"

#include <gtest/gtest.h>

namespace quarrypack::check {
namespace {

using captions::Time;

constexpr Rule kFirst{"first", Severity::warning, "It is one.", ""};
constexpr Rule kSecond{"second", Severity::error, "It is another.", ""};

TEST(Findings, CountARuleOnceForEachDetail) {
  Findings findings;
  findings.note(kFirst, Time{30}, "track 1");
  findings.note(kFirst, Time{20}, "track 1", 4);
  findings.note(kFirst, Time{10}, "track 2");
  ASSERT_EQ(findings.all().size(), 2u);
  EXPECT_EQ(findings.all()[0].count, 5u);
  EXPECT_EQ(findings.all()[0].first, Time{20});
  EXPECT_EQ(findings.all()[0].places, (std::vector{Time{30}, Time{20}}));
  EXPECT_EQ(findings.all()[1].detail, "track 2");
}

TEST(Findings, KeepALimitedNumberOfPlaces) {
  Findings findings;
  for (std::int64_t i = 0; i < 1000; ++i) findings.note(kFirst, Time{i});
  EXPECT_EQ(findings.all()[0].count, 1000u);
  EXPECT_EQ(findings.all()[0].places.size(), Finding::kMostPlaces);
}

TEST(Severities, HaveNames) {
  EXPECT_EQ(severityName(Severity::info), "info");
  EXPECT_EQ(severityName(Severity::warning), "warning");
  EXPECT_EQ(severityName(Severity::error), "error");
}

TEST(Findings, KnowTheirWorstSeverity) {
  Findings findings;
  EXPECT_FALSE(findings.has(Severity::info));
  findings.note(kFirst);
  EXPECT_TRUE(findings.has(Severity::warning));
  EXPECT_FALSE(findings.has(Severity::error));
}

TEST(Findings, AreSortedBySeverityAndThenByTime) {
  Findings findings;
  findings.note(kFirst, Time{5}, "late");
  findings.note(kFirst, std::nullopt, "whole film");
  findings.note(kFirst, Time{1}, "early");
  findings.note(kSecond, Time{9});
  const std::vector<Finding> sorted = std::move(findings).take();
  ASSERT_EQ(sorted.size(), 4u);
  EXPECT_EQ(sorted[0].rule, &kSecond);
  EXPECT_EQ(sorted[1].detail, "whole film");
  EXPECT_EQ(sorted[2].detail, "early");
  EXPECT_EQ(sorted[3].detail, "late");
}

}  // namespace
}  // namespace quarrypack::check
