#include "companions/check/html/time_line.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "companions/check/html/marks.h"
#include "companions/texts.h"

namespace quarrypack::companions {

const std::string_view kTimeLineStyle = R"(
.time-line { display: block; width: calc(100% - 1rem); margin: 0 0.5rem 1rem; overflow: clip;
  overflow-clip-margin: 0.5rem; }
.time-line text { fill: var(--ink); font-size: 0.75rem; paint-order: stroke;
  stroke: var(--paper); stroke-width: 4px; }
.time-line .axis text { fill: var(--soft); }
@media screen and (max-width: 44rem) { .time-line .minor { display: none; } }
.time-line .axis line { stroke: var(--line); }
.time-line .track { fill: var(--panel); stroke: var(--line); }
.time-line .pictures { fill: var(--soft); } .time-line .cues { fill: var(--cue); }
.time-line .hit { fill: var(--error); }
@media print { .time-line { print-color-adjust: exact; -webkit-print-color-adjust: exact; } }
)";

namespace {

using captions::ChannelCues;
using captions::Cue;
using captions::Time;
using check::CheckReport;
using check::Finding;
using check::HitSamples;
using check::Severity;

// Places are counted in hundredths of a percent of the width.
constexpr int kWhole = 10'000;
constexpr int kLeastGap = 5;     // smaller ones between cues are not drawn
constexpr int kLeastWidth = 8;   // of a cue
constexpr int kMarkRaster = 50;  // marks with less between them are drawn as one
constexpr int kHitRaster = 20;
constexpr std::string_view kHitWidth = "3";  // at any width of the page

constexpr int kLaneHeight = 44;
constexpr int kBarTop = 20;  // within a lane, below its label
constexpr int kBarHeight = 14;
constexpr int kAxisHeight = 24;

std::string percent(int hundredths) {
  const std::string decimals = std::to_string(hundredths % 100);
  return std::to_string(hundredths / 100) + '.' + std::string(2 - decimals.size(), '0') + decimals +
         '%';
}

std::string clock(Time time) { return captions::clockText(captions::milliseconds(time), '.'); }

// Without its decimals if they are all 0 for every multiple of the step.
std::string tickText(std::int64_t milliseconds, std::int64_t step) {
  const std::string text = captions::clockText(milliseconds, '.');
  return step % 1000 == 0 ? text.substr(0, text.find('.')) : text;
}

// A step of whole units of a clock that divides the duration into at most six parts.
std::int64_t tickStep(std::int64_t milliseconds) {
  constexpr std::array<std::int64_t, 21> kSteps = {
      1,     2,      5,      10,     20,     50,      100,     200,     500,     1'000,    2'000,
      5'000, 10'000, 15'000, 30'000, 60'000, 120'000, 300'000, 600'000, 900'000, 1'800'000};
  constexpr std::int64_t kMostParts = 6;
  constexpr std::int64_t kHour = 3'600'000;
  for (const std::int64_t step : kSteps) {
    if (milliseconds / step < kMostParts) return step;
  }
  std::int64_t step = kHour;
  while (milliseconds / step >= kMostParts) step *= 2;
  return step;
}

// The end of the film, or of what lies after it.
Time endOf(const CheckReport& report) {
  Time end = report.duration;
  for (const ChannelCues& channel : report.channels) {
    for (const Cue& cue : channel.cues) end = std::max(end, cue.end);
  }
  for (const Finding& finding : report.findings) {
    for (const Time place : finding.places) end = std::max(end, place);
  }
  for (const HitSamples& hit : report.hits) {
    for (const Time time : hit.times) end = std::max(end, time);
  }
  return end;
}

// Cues that are drawn as one.
struct Stretch {
  int from = 0;
  int to = 0;
  std::size_t cues = 0;
  Time start{0};
  Time end{0};
};

// Places that are drawn as one mark.
struct Mark {
  int at = 0;
  std::size_t places = 0;
  Time first{0};
  std::set<std::string_view> rules;
};

// A mark for each place of the raster that has anything, from left to right.
class Marks {
 public:
  Marks(int raster, Time span)
      : marks_(static_cast<std::size_t>(kWhole / raster) + 1), span_(span) {}

  void add(Time time, std::string_view rule) {
    const double share = std::clamp(
        static_cast<double>(time.count()) / static_cast<double>(span_.count()), 0.0, 1.0);
    const auto index =
        static_cast<std::size_t>(std::lround(share * static_cast<double>(marks_.size() - 1)));
    Mark& mark = marks_[index];
    mark.at = static_cast<int>(index * kWhole / (marks_.size() - 1));
    mark.first = mark.places == 0 ? time : std::min(mark.first, time);
    ++mark.places;
    mark.rules.insert(rule);
  }

  std::vector<Mark> take() && {
    std::erase_if(marks_, [](const Mark& mark) { return mark.places == 0; });
    return std::move(marks_);
  }

 private:
  std::vector<Mark> marks_;
  Time span_;
};

std::string titleOf(const Mark& mark) {
  std::string text;
  for (const std::string_view rule : mark.rules) {
    text += (text.empty() ? "" : ", ") + std::string(rule);
  }
  if (mark.places == 1) return text + " at " + clock(mark.first);
  return text + ": " + counted(mark.places, "place") + " from " + clock(mark.first);
}

class TimeLine {
 public:
  TimeLine(Html& html, const CheckReport& report)
      : html_(html), report_(report), span_(endOf(report)) {
    for (const Severity severity : {Severity::error, Severity::warning, Severity::info}) {
      Findings findings = findingsOf(severity);
      if (!findings.marks.empty()) findings_.push_back(std::move(findings));
    }
    height_ = kLaneHeight * static_cast<int>(1 + report_.channels.size() + findings_.size() +
                                             (report_.hits.empty() ? 0 : 1)) +
              kAxisHeight;
  }

  void write() {
    const auto section = html_.element("section");
    html_.leaf("h2", "Time line");
    if (span_ <= Time{0}) {
      html_.leaf("p", "The film has no duration, so there is nothing to draw.");
      return;
    }
    const auto drawing = html_.element("svg", {{"class", "time-line"},
                                               {"height", std::to_string(height_)},
                                               {"role", "img"},
                                               {"aria-labelledby", "time-line-title"},
                                               {"aria-describedby", "time-line-text"}});
    html_.leaf("title", "Time line of the film", {{"id", "time-line-title"}});
    html_.leaf("desc", description(), {{"id", "time-line-text"}});
    drawAxis();
    drawPictures();
    for (const ChannelCues& channel : report_.channels) drawCues(channel);
    for (const Findings& findings : findings_) drawFindings(findings);
    if (!report_.hits.empty()) drawHits();
  }

 private:
  struct Findings {
    Severity severity;
    std::vector<Mark> marks;
    std::uint64_t drawn;
    std::uint64_t places;  // at least as many as are drawn
  };

  std::string description() const {
    std::string text = pictureLabel() + '.';
    for (const ChannelCues& channel : report_.channels) text += ' ' + cueLabel(channel) + '.';
    for (const Findings& findings : findings_) text += ' ' + findingLabel(findings) + '.';
    if (!report_.hits.empty()) text += ' ' + hitLabel() + '.';
    return text + " The tables of this page say the same.";
  }

  int placeOf(Time time) const {
    const double share = static_cast<double>(time.count()) /
                         static_cast<double>(std::max<std::int64_t>(span_.count(), 1));
    return static_cast<int>(std::lround(std::clamp(share, 0.0, 1.0) * kWhole));
  }

  // ---- The axis

  void drawAxis() {
    const auto axis = html_.element("g", {{"class", "axis"}});
    const std::int64_t end = std::max<std::int64_t>(captions::milliseconds(span_), 1);
    const std::int64_t step = tickStep(end);
    for (std::int64_t tick = 0; tick <= end; tick += step) drawTick(tick, step, end);
  }

  void drawTick(std::int64_t tick, std::int64_t step, std::int64_t end) {
    const std::string x =
        percent(static_cast<int>(static_cast<double>(tick) * kWhole / static_cast<double>(end)));
    const std::string bottom = std::to_string(height_ - kAxisHeight);
    html_.empty("line", {{"x1", x}, {"x2", x}, {"y1", "0"}, {"y2", bottom}});
    // Texts at the ends lie within the drawing.
    const bool isLast = tick + step / 2 > end;
    html_.leaf("text", tickText(tick, step),
               {{"class", tick / step % 2 == 0 ? "major" : "minor"},
                {"x", x},
                {"y", std::to_string(height_ - 8)},
                {"text-anchor", tick == 0 ? "start"
                                : isLast  ? "end"
                                          : "middle"}});
  }

  // ---- The lanes, from top to bottom

  // Draws the label of the next lane and returns the top of its bar.
  int nextLane(const std::string& label) {
    const int top = kLaneHeight * lane_++;
    html_.leaf("text", label, {{"x", "0"}, {"y", std::to_string(top + 12)}});
    return top + kBarTop;
  }

  void drawBar(int top, int from, std::string_view width, std::string_view kind,
               std::string_view title = {}) {
    const auto bar = html_.element("rect", {{"class", kind},
                                            {"x", percent(from)},
                                            {"width", width},
                                            {"y", std::to_string(top)},
                                            {"height", std::to_string(kBarHeight)}});
    if (!title.empty()) html_.leaf("title", title);
  }

  std::string pictureLabel() const {
    const std::string duration = clock(report_.duration);
    if (report_.pictures == 0) return "Duration: " + duration;
    return counted(report_.pictures, "picture") + ": " + duration;
  }

  void drawPictures() {
    drawBar(nextLane(pictureLabel()), 0, percent(placeOf(report_.duration)), "pictures");
  }

  static std::string cueLabel(const ChannelCues& channel) {
    return std::string(channelName(channel.channel)) + ": " + counted(channel.cues.size(), "cue");
  }

  void drawCues(const ChannelCues& channel) {
    const int top = nextLane(cueLabel(channel));
    drawBar(top, 0, percent(kWhole), "track");
    for (const Stretch& stretch : stretchesOf(channel.cues)) {
      drawBar(top, stretch.from, percent(stretch.to - stretch.from), "cues",
              counted(stretch.cues, "cue") + ", from " + clock(stretch.start) + " to " +
                  clock(stretch.end));
    }
  }

  std::vector<Stretch> stretchesOf(const std::vector<Cue>& cues) const {
    std::vector<Stretch> stretches;
    for (const Cue& cue : cues) {
      const int from = std::min(placeOf(cue.start), kWhole - kLeastWidth);
      const int to = std::max(placeOf(cue.end), from + kLeastWidth);
      if (stretches.empty() || from > stretches.back().to + kLeastGap) {
        stretches.push_back({from, to, 0, cue.start, cue.end});
      }
      Stretch& stretch = stretches.back();
      stretch.to = std::max(stretch.to, to);
      stretch.end = std::max(stretch.end, cue.end);
      ++stretch.cues;
    }
    return stretches;
  }

  Findings findingsOf(Severity severity) const {
    Findings found{severity, {}, 0, 0};
    Marks marks(kMarkRaster, span_);
    for (const Finding& finding : report_.findings) {
      if (finding.rule->severity != severity || finding.places.empty()) continue;
      for (const Time place : finding.places) marks.add(place, finding.rule->id);
      found.drawn += finding.places.size();
      found.places += finding.count;
    }
    found.marks = std::move(marks).take();
    return found;
  }

  static std::string findingLabel(const Findings& findings) {
    return "Findings of severity " + std::string(severityName(findings.severity)) + ": " +
           counted(findings.places, "place") + drawnPart(findings.drawn, findings.places);
  }

  // A report holds only the first places of a finding.
  static std::string drawnPart(std::uint64_t drawn, std::uint64_t all) {
    return drawn < all ? ", " + std::to_string(drawn) + " drawn" : "";
  }

  void drawFindings(const Findings& findings) {
    const int top = nextLane(findingLabel(findings));
    const std::string middle = std::to_string(top + kBarHeight / 2);
    for (const Mark& mark : findings.marks) {
      const auto shape = html_.element(
          "use",
          {{"href", markReference(findings.severity)}, {"x", percent(mark.at)}, {"y", middle}});
      html_.leaf("title", titleOf(mark));
    }
  }

  std::string hitLabel() const {
    std::uint64_t drawn = 0;
    std::uint64_t all = 0;
    for (const HitSamples& hit : report_.hits) {
      drawn += hit.times.size();
      all += hit.count;
    }
    return "Damaged by a conversion: " + counted(all, "sample") + drawnPart(drawn, all);
  }

  void drawHits() {
    const int top = nextLane(hitLabel());
    drawBar(top, 0, percent(kWhole), "track");
    Marks marks(kHitRaster, span_);
    for (const HitSamples& hit : report_.hits) {
      for (const Time time : hit.times) marks.add(time, hit.kind);
    }
    for (const Mark& mark : std::move(marks).take()) {
      drawBar(top, mark.at, kHitWidth, "hit", titleOf(mark));
    }
  }

  Html& html_;
  const CheckReport& report_;
  Time span_;
  std::vector<Findings> findings_;  // of the severities that have places
  int height_ = 0;
  int lane_ = 0;
};

}  // namespace

void writeTimeLine(Html& html, const CheckReport& report) { TimeLine(html, report).write(); }

}  // namespace quarrypack::companions
