#include "companions/check/html/html_report.h"

#include <gtest/gtest.h>

#include <chrono>
#include <sstream>
#include <string>

#include "companions/check/html/cue_list.h"

namespace quarrypack::companions {
namespace {

using captions::CaptionMode;
using captions::Channel;
using captions::Color;
using captions::Cue;
using captions::CueRow;
using captions::Time;
using check::CheckReport;
using check::Finding;
using check::Rule;
using check::Severity;

constexpr Rule kError{"an-error", Severity::error, "It is <bad>.", "Do \"this\"."};
constexpr Rule kWarning{"a-warning", Severity::warning, "It is odd.", "Look at it."};
constexpr Rule kInfo{"an-info", Severity::info, "It is so.", ""};

Time seconds(std::int64_t count) { return std::chrono::seconds(count); }

Cue cueOf(Time start, Time end, std::vector<CueRow> rows) {
  return {start, end, CaptionMode::popOn, std::move(rows)};
}

Cue plainCue(std::int64_t start, const std::string& text) {
  return cueOf(seconds(start), seconds(start + 1), {{15, 0, {{text, Color::white, false, false}}}});
}

std::vector<Cue> plainCues(std::int64_t count) {
  std::vector<Cue> cues;
  for (std::int64_t i = 0; i < count; ++i) cues.push_back(plainCue(2 * i, "text"));
  return cues;
}

std::string written(const CheckReport& report) {
  std::ostringstream out;
  writeHtml(report, out);
  return out.str();
}

std::size_t countOf(const std::string& text, std::string_view part) {
  std::size_t count = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

bool has(const std::string& text, std::string_view part) { return countOf(text, part) != 0; }

TEST(HtmlReport, OfNothingIsAPageToo) {
  const std::string page = written({});
  EXPECT_TRUE(has(page, "Nothing wrong was found."));
  EXPECT_TRUE(has(page, "The film has no duration, so there is nothing to draw."));
  EXPECT_TRUE(has(page, "<h2>Findings</h2><p>There are none.</p>"));
  EXPECT_TRUE(has(page, "<p>There are no captions.</p>"));
  EXPECT_TRUE(page.ends_with("</html>\n"));
}

TEST(HtmlReport, SumsUp) {
  CheckReport report;
  report.file = "films/a.mov";
  report.source = "track";
  report.duration = seconds(61);
  report.pictures = 1464;
  report.channels = {{Channel::cc1, plainCues(2)}, {Channel::cc3, plainCues(1)}};
  report.coverage = {seconds(0), check::Stretch{seconds(3), seconds(61)}, 0.0494};
  report.hits = {{2, "sound", 3, {seconds(1)}}, {5, "'t<m>'", 1, {}}};
  report.findings = {{&kError, 1, seconds(1), {seconds(1)}, ""}, {&kInfo, 1, {}, {}, ""}};
  const std::string page = written(report);
  for (const std::string_view row :
       {"<title>a.mov: caption check</title>", "<h1>Captions of a.mov</h1>", "There are errors.",
        ">File</th><td>films/a.mov<", ">Source of the captions</th><td>the caption track<",
        ">Channels</th><td>CC1: pop-on, 2 cues<br/>CC3: pop-on, 1 cue<",
        ">Duration</th><td>00:01:01.000<", ">Pictures</th><td>1464<",
        ">First caption</th><td>00:00:00.000<",
        ">Longest time without captions</th><td>00:00:58.000, from 00:00:03.000 to 00:01:01.000<",
        ">Share of time with captions</th><td>4.9 %<",
        ">Damaged by a conversion</th>"
        "<td>3 samples of track 2, sound<br/>1 sample of track 5, &#39;t&lt;m&gt;&#39;<",
        ">Findings</th><td>1 error, 0 warnings, 1 info<"}) {
    EXPECT_TRUE(has(page, row)) << row;
  }
}

TEST(HtmlReport, NamesTheSourceOfTheCaptions) {
  const auto source = [](const std::string& name) {
    CheckReport report;
    report.source = name;
    const std::string page = written(report);
    const std::string before = ">Source of the captions</th><td>";
    const std::size_t start = page.find(before) + before.size();
    return page.substr(start, page.find('<', start) - start);
  };
  EXPECT_EQ(source(""), "none");
  EXPECT_EQ(source("track"), "the caption track");
  EXPECT_EQ(source("pictures"), "the pictures");
  EXPECT_EQ(source("scc"), "the SCC file");
  EXPECT_EQ(source("tape"), "tape");
}

TEST(HtmlReport, NamesTheFirstTwentyTracksThatAConversionDamages) {
  CheckReport report;
  for (std::uint32_t i = 1; i <= 20; ++i) report.hits.push_back({i, "sound", 1, {}});
  EXPECT_TRUE(has(written(report), "<br/>1 sample of track 20, sound</td>"));
  report.hits.push_back({21, "sound", 1, {}});
  EXPECT_TRUE(
      has(written(report), "<br/>1 sample of track 20, sound<br/>those of 1 more track</td>"));
  report.hits.push_back({22, "sound", 1, {}});
  EXPECT_TRUE(has(written(report), "<br/>those of 2 more tracks</td>"));
}

TEST(HtmlReport, JudgesByTheWorstFinding) {
  CheckReport report;
  report.findings = {{&kInfo, 1, {}, {}, ""}};
  EXPECT_TRUE(has(written(report), "Nothing wrong was found."));
  report.findings.insert(report.findings.begin(), {&kWarning, 1, {}, {}, ""});
  EXPECT_TRUE(has(written(report), "There are warnings."));
  report.findings.insert(report.findings.begin(), {&kError, 1, {}, {}, ""});
  EXPECT_TRUE(has(written(report), "There are errors."));
}

TEST(HtmlReport, ListsFindingsInTheirOrder) {
  CheckReport report;
  report.findings = {{&kError, 21, seconds(3), {}, "track <2>"}, {&kInfo, 1, {}, {}, ""}};
  const std::string page = written(report);
  EXPECT_TRUE(has(page,
                  "error</span>\n</td>\n<th scope=\"row\">an-error</th>"
                  "<td data-label=\"Count\">21</td>\n"
                  "<td data-label=\"First time\">00:00:03.000</td>\n"
                  "<td data-label=\"What it means\">It is &lt;bad&gt;.<br/>track &lt;2&gt;</td>\n"
                  "<td data-label=\"What to do\">Do &quot;this&quot;.</td>\n"));
  EXPECT_TRUE(has(page, "<td data-label=\"First time\">whole film</td>"));
  EXPECT_TRUE(has(page, "<td data-label=\"What to do\">nothing</td>"));
  EXPECT_LT(page.find(">an-error<"), page.find(">an-info<"));
}

TEST(HtmlReport, EscapesTheNameOfTheFile) {
  CheckReport report;
  report.file = "<script>\"a\"'b'&\x01\xFF.mov";
  const std::string page = written(report);
  EXPECT_FALSE(has(page, "<script"));
  EXPECT_TRUE(has(page, "<td>&lt;script&gt;&quot;a&quot;&#39;b&#39;&amp;\uFFFD\uFFFD.mov</td>"));
}

TEST(HtmlReport, ListsNoMoreFindingsThanAPageCanHold) {
  CheckReport report;
  for (int i = 0; i < 1002; ++i) report.findings.push_back({&kInfo, 1, {}, {}, std::to_string(i)});
  const std::string page = written(report);
  EXPECT_EQ(countOf(page, ">an-info<"), 1000u);
  EXPECT_TRUE(has(page, "This page has no room for 2 more findings."));
}

TEST(CueList, ListsTheCuesInAttributes) {
  CheckReport report;
  report.channels = {
      {Channel::cc2,
       {cueOf(seconds(1), seconds(3725) + Time{705'600},
              {{14, 3, {{"a \"b\" ", Color::white, false, false}, {"<c>", Color::red, true, true}}},
               {15, 0, {{"d", Color::white, false, false}}}})}}};
  const std::string page = written(report);
  EXPECT_TRUE(has(page,
                  "<li class=\"cue\" data-channel=\"CC2\" data-start=\"1.000\" "
                  "data-end=\"3725.001\" data-mode=\"pop-on\" "
                  "data-text=\"a &quot;b&quot; &lt;c&gt;&#10;d\">"
                  "<p>00:00:01.000 to 01:02:05.001</p>"));
  EXPECT_TRUE(has(page,
                  "<div class=\"row\" data-row=\"14\" data-column=\"3\">"
                  "<span class=\"white\">a &quot;b&quot; </span>"
                  "<span class=\"red italic underline\">&lt;c&gt;</span></div>"));
  EXPECT_TRUE(has(page, "<p class=\"note\">pop-on, 3724.001 s, red italic underline</p>"));
}

TEST(CueList, ClosesAllGroupsButTheFirst) {
  CheckReport report;
  report.channels = {{Channel::cc1, plainCues(121)}, {Channel::cc4, plainCues(1)}};
  const std::string page = written(report);
  EXPECT_EQ(countOf(page, "<details open=\"\">"), 2u);
  EXPECT_EQ(countOf(page, "<details>"), 2u);
  EXPECT_TRUE(has(page, "Cues 61 to 120, from 00:02:00.000 to 00:03:59.000"));
  EXPECT_TRUE(has(page, "<summary>Cue 121, from "));
}

TEST(CueList, OfAFilmOfTwoHoursStaysSmall) {
  CheckReport report;
  report.duration = seconds(7200);
  report.channels = {{Channel::cc1, plainCues(3600)}};
  const std::string page = written(report);
  EXPECT_EQ(countOf(page, "class=\"cue\""), 3600u);
  EXPECT_LT(page.size(), 2'000'000u);
}

TEST(CueList, CountsWhatThePageCannotHold) {
  const Cue richCue = cueOf(seconds(0), seconds(1), [] {
    std::vector<CueRow> rows;
    for (int row = 1; row <= captions::kRows; ++row) {
      rows.push_back({row, 0, {}});
      for (int column = 0; column < captions::kColumns; ++column) {
        rows.back().runs.push_back(
            {"x", column % 2 == 0 ? Color::white : Color::magenta, true, true});
      }
    }
    return rows;
  }());
  CheckReport report;
  report.channels = {{Channel::cc1, std::vector(500, richCue)}, {Channel::cc2, plainCues(3)}};
  const std::string page = written(report);
  const std::size_t fitting = kMostCueElements / 500;
  EXPECT_EQ(countOf(page, "class=\"cue\""), fitting);
  EXPECT_TRUE(has(
      page, "This page has no room for " + std::to_string(500 - fitting) + " more cues of CC1."));
  EXPECT_TRUE(has(page, "This page has no room for 3 more cues of CC2."));
}

TEST(TimeLine, DrawsCuesAtTheirPlaces) {
  CheckReport report;
  report.duration = seconds(100);
  report.pictures = 2400;
  report.channels = {{Channel::cc1, {plainCue(10, "a"), plainCue(50, "b")}}};
  const std::string page = written(report);
  EXPECT_TRUE(has(page, ">2400 pictures: 00:01:40.000</text>"));
  EXPECT_TRUE(has(page, "<rect class=\"cues\" x=\"10.00%\" width=\"1.00%\""));
  EXPECT_TRUE(has(page, "<rect class=\"cues\" x=\"50.00%\" width=\"1.00%\""));
  EXPECT_TRUE(has(page, "<title>1 cue, from 00:00:50.000 to 00:00:51.000</title>"));
}

TEST(TimeLine, ReachesToTheLatestTime) {
  CheckReport report;
  report.duration = seconds(50);
  report.channels = {{Channel::cc1, {plainCue(99, "late")}}};
  const std::string page = written(report);
  EXPECT_TRUE(has(page, "<rect class=\"pictures\" x=\"0.00%\" width=\"50.00%\""));
  EXPECT_TRUE(has(page, "<rect class=\"cues\" x=\"99.00%\" width=\"1.00%\""));
}

TEST(TimeLine, ClampsTimesBeforeTheFilm) {
  CheckReport report;
  report.duration = seconds(100);
  report.channels = {{Channel::cc1, {cueOf(seconds(-5), seconds(1), {})}}};
  report.findings = {{&kError, 1, seconds(-2), {seconds(-2)}, ""}};
  const std::string page = written(report);
  EXPECT_TRUE(has(page, "<rect class=\"cues\" x=\"0.00%\" width=\"1.00%\""));
  EXPECT_TRUE(has(page, "<use href=\"#mark-error\" x=\"0.00%\""));
}

TEST(TimeLine, OfAFilmWithoutDurationIsNotDrawn) {
  CheckReport report;
  report.findings = {{&kError, 1, Time{0}, {Time{0}}, ""}};
  report.hits = {{2, "sound", 1, {Time{0}}}};
  const std::string page = written(report);
  EXPECT_TRUE(has(page, "there is nothing to draw."));
  EXPECT_FALSE(has(page, "class=\"time-line\""));
}

TEST(TimeLine, MarksFindingsBySeverity) {
  CheckReport report;
  report.duration = seconds(100);
  report.findings = {{&kError, 2, seconds(25), {seconds(25), seconds(75)}, ""},
                     {&kWarning, 300, seconds(50), {seconds(50)}, ""},
                     {&kInfo, 1, {}, {}, ""}};
  const std::string page = written(report);
  EXPECT_TRUE(has(page, "<use href=\"#mark-error\" x=\"25.00%\""));
  EXPECT_TRUE(has(page, "<use href=\"#mark-error\" x=\"75.00%\""));
  EXPECT_TRUE(has(page, "<use href=\"#mark-warning\" x=\"50.00%\""));
  EXPECT_TRUE(has(page, "<title>an-error at 00:00:25.000</title>"));
  EXPECT_TRUE(has(page, ">Findings of severity error: 2 places</text>"));
  EXPECT_TRUE(has(page, ">Findings of severity warning: 300 places, 1 drawn</text>"));
  EXPECT_FALSE(has(page, "Findings of severity info"));
}

TEST(TimeLine, DrawsDamagedSamples) {
  CheckReport report;
  report.duration = seconds(100);
  report.hits = {{2, "sound", 2, {seconds(10), seconds(90)}}};
  const std::string page = written(report);
  EXPECT_TRUE(has(page, ">Damaged by a conversion: 2 samples</text>"));
  EXPECT_TRUE(has(page, "<rect class=\"hit\" x=\"10.00%\" width=\"3\""));
  EXPECT_TRUE(has(page, "<title>sound at 00:01:30.000</title>"));
}

TEST(TimeLine, JoinsWhatLiesTooClose) {
  CheckReport report;
  report.channels = {{Channel::cc1, {}}};
  Finding finding{&kError, 0, {}, {}, ""};
  for (std::int64_t i = 0; i < 10'000; ++i) {
    report.channels[0].cues.push_back(cueOf(Time{1000 * i}, Time{1000 * i + 1}, {}));
    finding.places.push_back(Time{1000 * i});
    ++finding.count;
  }
  report.findings = {std::move(finding)};
  const std::string page = written(report);
  EXPECT_LE(countOf(page, "<rect class=\"cues\""), 1000u);
  EXPECT_LE(countOf(page, "<use href=\"#mark-error\" x="), 201u);
}

}  // namespace
}  // namespace quarrypack::companions
