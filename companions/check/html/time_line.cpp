#include "companions/check/html/time_line.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "companions/check/html/marks.h"
#include "companions/check/html/time_scale.h"
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

// Widths in hundredths of a percent, as on the time scale.
constexpr int kMarkRaster = 50;
constexpr int kHitRaster = 20;
constexpr std::string_view kHitWidth = "3";  // at any width of the page

constexpr int kLaneHeight = 44;
constexpr int kBarTop = 20;  // within a lane, below its label
constexpr int kBarHeight = 14;
constexpr int kAxisHeight = 24;

// The end of the film, or the latest time in the report if that is later.
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

// The drawing of a report whose end is later than 0.
class TimeLine {
 public:
  TimeLine(Html& html, const CheckReport& report)
      : html_(html), report_(report), scale_(endOf(report)) {
    for (const Severity severity : {Severity::error, Severity::warning, Severity::info}) {
      Findings findings = findingsOf(severity);
      if (!findings.marks.empty()) findings_.push_back(std::move(findings));
    }
    height_ = kLaneHeight * static_cast<int>(1 + report_.channels.size() + findings_.size() +
                                             (report_.hits.empty() ? 0 : 1)) +
              kAxisHeight;
  }

  void write() {
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

  // ---- The axis

  void drawAxis() {
    const auto axis = html_.element("g", {{"class", "axis"}});
    const std::vector<Time> ticks = scale_.ticks();
    for (std::size_t i = 0; i < ticks.size(); ++i) drawTick(ticks[i], i);
  }

  void drawTick(Time tick, std::size_t number) {
    constexpr int kNearTheEnd = kWholeLine - kWholeLine / 12;
    const int place = scale_.placeOf(tick);
    const std::string x = percentText(place);
    html_.empty("line",
                {{"x1", x}, {"x2", x}, {"y1", "0"}, {"y2", std::to_string(height_ - kAxisHeight)}});
    // Texts at the ends lie within the drawing.
    html_.leaf("text", scale_.tickText(tick),
               {{"class", number % 2 == 0 ? "major" : "minor"},
                {"x", x},
                {"y", std::to_string(height_ - kAxisHeight / 3)},
                {"text-anchor", place == 0            ? "start"
                                : place > kNearTheEnd ? "end"
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
                                            {"x", percentText(from)},
                                            {"width", width},
                                            {"y", std::to_string(top)},
                                            {"height", std::to_string(kBarHeight)}});
    if (!title.empty()) html_.leaf("title", title);
  }

  std::string pictureLabel() const {
    const std::string duration = timeText(report_.duration);
    if (report_.pictures == 0) return "Duration: " + duration;
    return counted(report_.pictures, "picture") + ": " + duration;
  }

  void drawPictures() {
    drawBar(nextLane(pictureLabel()), 0, percentText(scale_.placeOf(report_.duration)), "pictures");
  }

  static std::string cueLabel(const ChannelCues& channel) {
    return std::string(channelName(channel.channel)) + ": " + counted(channel.cues.size(), "cue");
  }

  void drawCues(const ChannelCues& channel) {
    const int top = nextLane(cueLabel(channel));
    drawBar(top, 0, percentText(kWholeLine), "track");
    for (const Stretch& stretch : stretchesOf(channel.cues, scale_)) {
      drawBar(top, stretch.from, percentText(stretch.to - stretch.from), "cues",
              counted(stretch.cues, "cue") + ", from " + timeText(stretch.start) + " to " +
                  timeText(stretch.end));
    }
  }

  Findings findingsOf(Severity severity) const {
    Findings found{severity, {}, 0, 0};
    MarkRaster marks(scale_, kMarkRaster);
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
    if (drawn >= all) return {};
    return ", " + std::to_string(drawn) + " drawn";
  }

  void drawFindings(const Findings& findings) {
    const int top = nextLane(findingLabel(findings));
    const std::string middle = std::to_string(top + kBarHeight / 2);
    for (const Mark& mark : findings.marks) {
      const auto shape = html_.element(
          "use",
          {{"href", markReference(findings.severity)}, {"x", percentText(mark.at)}, {"y", middle}});
      html_.leaf("title", markText(mark));
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
    drawBar(top, 0, percentText(kWholeLine), "track");
    MarkRaster marks(scale_, kHitRaster);
    for (const HitSamples& hit : report_.hits) {
      for (const Time time : hit.times) marks.add(time, hit.kind);
    }
    for (const Mark& mark : std::move(marks).take()) {
      drawBar(top, mark.at, kHitWidth, "hit", markText(mark));
    }
  }

  Html& html_;
  const CheckReport& report_;
  TimeScale scale_;
  std::vector<Findings> findings_;  // of the severities that have places
  int height_ = 0;
  int lane_ = 0;
};

}  // namespace

void writeTimeLine(Html& html, const CheckReport& report) {
  const auto section = html.element("section");
  html.leaf("h2", "Time line");
  if (endOf(report) > Time{0}) return TimeLine(html, report).write();
  html.leaf("p", "The film has no duration, so there is nothing to draw.");
}

}  // namespace quarrypack::companions
