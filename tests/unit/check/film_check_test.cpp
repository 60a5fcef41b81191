#include "check/film_check.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>

#include "check/caption_rule_table.h"
#include "check/conversion_rule_table.h"
#include "check/film_rule_table.h"
#include "sources/scc_source.h"
#include "tests/support/media_samples.h"
#include "tests/support/memory_stream.h"
#include "tests/support/movie_builder.h"

namespace quarrypack::check {
namespace {

using namespace test;
using captions::timeOfUnits;

// "Hi" from the fifth caption sample on, and nothing from the last one on; every code twice.
MovieTrack captionsOfOneFrame() {
  const auto pair = [](std::uint8_t first, std::uint8_t second) { return cdat({first, second}); };
  return captionTrack(
      {.samples = {pair(0x94, 0x20), pair(0x94, 0x20), pair(0x94, 0xD0), pair(0x94, 0xD0),
                   pair(0xC8, 0xE9), pair(0x94, 0x2F), pair(0x94, 0x2F), pair(0x80, 0x80),
                   pair(0x94, 0x2C), pair(0x94, 0x2C)},
       .duration = 1001});
}

CheckReport checked(const MovieBuilder& movie) {
  sources::FilmFile film(MemoryStream::create(movie.build()));
  return checkFilm(film);
}

bool has(const CheckReport& report, const Rule& rule) {
  return std::any_of(report.findings.begin(), report.findings.end(),
                     [&rule](const Finding& finding) { return finding.rule == &rule; });
}

TEST(FilmCheck, ReportsCaptionsAndForecast) {
  MovieBuilder movie({videoTrack({.count = 30}), soundTrack(), captionsOfOneFrame()});
  movie.tracks[1].edits = {{60, kEmptyEdit}, {278, 0}};
  const CheckReport report = checked(movie);
  EXPECT_EQ(report.source, "track");
  EXPECT_EQ(report.pictures, 30u);
  EXPECT_EQ(report.duration, timeOfUnits(30 * 1001, 30000));
  ASSERT_EQ(report.channels.size(), 1u);
  ASSERT_EQ(report.channels[0].cues.size(), 1u);
  EXPECT_EQ(captions::textOf(report.channels[0].cues[0]), "Hi");
  EXPECT_EQ(report.coverage.firstCaption, report.channels[0].cues[0].start);
  EXPECT_TRUE(has(report, kCueTooBrief));
  EXPECT_TRUE(has(report, kFirstEditOfNoLength));
}

TEST(FilmCheck, SortsErrorsFirst) {
  const CheckReport report =
      checked(MovieBuilder({videoTrack({.count = 30}), captionsOfOneFrame()}));
  ASSERT_GE(report.findings.size(), 2u);
  EXPECT_TRUE(std::is_sorted(
      report.findings.begin(), report.findings.end(),
      [](const Finding& a, const Finding& b) { return a.rule->severity > b.rule->severity; }));
  EXPECT_EQ(report.findings.front().rule->severity, Severity::error);
}

TEST(FilmCheck, NamesNoSourceWhereNothingIsShown) {
  const CheckReport report = checked(MovieBuilder({videoTrack()}));
  EXPECT_EQ(report.source, "");
  EXPECT_TRUE(has(report, kNoCaptions));
  EXPECT_TRUE(has(report, kNoCaptionTrack));
}

TEST(FilmCheck, ReportsWhatIsIrregularInACaptionTrack) {
  MovieBuilder movie({videoTrack({.count = 30}), captionsOfOneFrame()});
  movie.tracks[1].samples[7].bytes = captionAtom("abcd", {0x80, 0x80});
  EXPECT_TRUE(has(checked(movie), kIrregularSource));
}

TEST(FilmCheck, ReportsWhatIsIrregularInACaptionFile) {
  const CheckReport report =
      checkScc(sources::readSccPairs("Scenarist_SCC V1.0\n\n00:00:01;00\t9420 9420\n"));
  EXPECT_TRUE(has(report, kIrregularFile));
  EXPECT_FALSE(has(report, kNoCaptionTrack));
  EXPECT_EQ(report.pictures, 0u);
}

}  // namespace
}  // namespace quarrypack::check
