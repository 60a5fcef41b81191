#include "companions/check/html/html_report.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <ostream>
#include <string>

#include "companions/check/html/cue_list.h"
#include "companions/check/html/marks.h"
#include "companions/check/html/time_line.h"
#include "companions/texts.h"

namespace quarrypack::companions {
namespace {

using captions::ChannelCues;
using check::CheckReport;
using check::Finding;
using check::HitSamples;
using check::Severity;

constexpr std::size_t kMostFindings = 1000;

constexpr std::string_view kStyle = R"(
:root { --error: #b3261e; --warning: #8a5300; --info: #0b5cad; --cue: #1a7f4b; }
@media (prefers-color-scheme: dark) {
  :root { --error: #ff8a80; --warning: #f0b849; --info: #7cb8ff; --cue: #4cc38a; } }
@media print { :root { --error: #b3261e; --warning: #8a5300; --info: #0b5cad; --cue: #1a7f4b; } }
.error { color: var(--error); fill: var(--error); }
.warning { color: var(--warning); fill: var(--warning); }
.info { color: var(--info); fill: var(--info); }
.shapes { position: absolute; }
.mark { width: 0.75em; height: 0.75em; margin-right: 0.4em; }
.verdict { display: inline-block; margin: 0 0 1rem; padding: 0.5rem 0.9rem; font-weight: bold;
  background: var(--panel); border: 1px solid var(--line); border-left: 5px solid currentColor; }
.summary th { width: 17rem; color: var(--soft); font-weight: normal; }
.findings th { font-weight: normal; font-family: ui-monospace, "DejaVu Sans Mono", monospace;
  font-size: 0.875rem; }
.findings thead th { font: inherit; font-weight: bold; }
.findings td:nth-child(-n + 4), .findings tbody th { white-space: nowrap; }
.findings .severity { font-weight: bold; }
@media print { .findings tbody th { white-space: normal; } }
@media screen and (max-width: 44rem) { .summary th { width: auto; } }
)";

std::string nameOf(const std::string& path) { return path.substr(path.find_last_of('/') + 1); }

// ---- The verdict

Severity worstOf(const CheckReport& report) {
  for (const Severity severity : {Severity::error, Severity::warning}) {
    if (check::countOf(report.findings, severity) != 0) return severity;
  }
  return Severity::info;
}

std::string_view verdictOf(Severity worst) {
  constexpr std::array<std::string_view, 3> kVerdicts = {
      "Nothing wrong was found.", "There are warnings.", "There are errors."};
  return kVerdicts.at(static_cast<std::size_t>(worst));
}

void writeVerdict(Html& html, Severity worst) {
  const auto verdict =
      html.element("p", {{"class", "verdict " + std::string(severityName(worst))}});
  writeMark(html, worst);
  html.text(verdictOf(worst));
}

// ---- The summary

std::string sourceText(const CheckReport& report) {
  if (report.source == "track") return "the caption track";
  if (report.source == "pictures") return "the pictures";
  if (report.source == "scc") return "the SCC file";
  return report.source.empty() ? "none" : report.source;
}

std::string channelText(const CheckReport& report) {
  std::string text;
  for (const ChannelCues& channel : report.channels) {
    if (!text.empty()) text += '\n';
    text += std::string(channelName(channel.channel)) + ": " +
            std::string(modeName(captions::usualMode(channel.cues))) + ", " +
            counted(channel.cues.size(), "cue");
  }
  return text.empty() ? "none" : text;
}

// "12.3 %"
std::string shareText(double share) {
  const long tenths = std::lround(share * 1000);
  return std::to_string(tenths / 10) + '.' + std::to_string(tenths % 10) + " %";
}

std::string hitText(const CheckReport& report) {
  constexpr std::size_t kMostTracks = 20;
  std::string text;
  for (std::size_t i = 0; i < std::min(report.hits.size(), kMostTracks); ++i) {
    const HitSamples& hit = report.hits[i];
    if (!text.empty()) text += '\n';
    text +=
        counted(hit.count, "sample") + " of track " + std::to_string(hit.trackId) + ", " + hit.kind;
  }
  if (report.hits.size() <= kMostTracks) return text;
  return text + "\nthose of " + counted(report.hits.size() - kMostTracks, "more track");
}

std::string findingText(const CheckReport& report) {
  return counted(check::countOf(report.findings, Severity::error), "error") + ", " +
         counted(check::countOf(report.findings, Severity::warning), "warning") + ", " +
         std::to_string(check::countOf(report.findings, Severity::info)) + " info";
}

void writeCoverage(const CheckReport& report,
                   const std::function<void(std::string_view, const std::string&)>& line) {
  const check::Coverage& coverage = report.coverage;
  if (coverage.firstCaption) line("First caption", timeText(*coverage.firstCaption));
  if (const auto& hole = coverage.longestHole) {
    line("Longest time without captions", timeText(hole->end - hole->start) + ", from " +
                                              timeText(hole->start) + " to " + timeText(hole->end));
  }
  line("Share of time with captions", shareText(coverage.share));
}

void writeSummary(Html& html, const CheckReport& report) {
  const auto section = html.element("section", {{"class", "summary"}});
  html.leaf("h2", "Summary");
  writeVerdict(html, worstOf(report));
  HtmlTable table(html);
  const auto line = [&](std::string_view name, const std::string& value) {
    const auto row = table.row();
    table.header(name);
    table.cell(value);
  };
  line("File", report.file);
  line("Findings", findingText(report));
  line("Source of the captions", sourceText(report));
  line("Channels", channelText(report));
  line("Duration", timeText(report.duration));
  if (report.pictures != 0) line("Pictures", std::to_string(report.pictures));
  writeCoverage(report, line);
  if (!report.hits.empty()) line("Damaged by a conversion", hitText(report));
}

// ---- The findings

constexpr std::array<std::string_view, 6> kFindingColumns = {
    "Severity", "Finding", "Count", "First time", "What it means", "What to do"};

void writeFinding(Html& html, HtmlTable& table, const Finding& finding) {
  const check::Rule& rule = *finding.rule;
  const auto row = table.row();
  {
    const auto cell = table.openCell();
    const auto severity =
        html.element("span", {{"class", "severity " + std::string(severityName(rule.severity))}});
    writeMark(html, rule.severity);
    html.text(severityName(rule.severity));
  }
  table.header(rule.id);
  table.cell(std::to_string(finding.count));
  table.cell(finding.first ? timeText(*finding.first) : "whole film");
  table.cell(std::string(rule.meaning) + (finding.detail.empty() ? "" : '\n' + finding.detail));
  table.cell(rule.remedy.empty() ? "nothing" : rule.remedy);
}

void writeFindings(Html& html, const CheckReport& report) {
  const auto section = html.element("section", {{"class", "findings"}});
  html.leaf("h2", "Findings");
  if (report.findings.empty()) return html.leaf("p", "There are none.");
  const std::size_t count = std::min(report.findings.size(), kMostFindings);
  {
    HtmlTable table(html, kFindingColumns);
    for (std::size_t i = 0; i < count; ++i) writeFinding(html, table, report.findings[i]);
  }
  if (count == report.findings.size()) return;
  html.leaf("p", "This page has no room for " +
                     counted(report.findings.size() - count, "more finding") + '.');
}

}  // namespace

void writeHtml(const CheckReport& report, std::ostream& out) {
  std::string style(kStyle);
  style.append(kTimeLineStyle).append(cueListStyle());
  const std::string name = nameOf(report.file);
  writeHtmlPage(out, name + ": caption check", style, [&](Html& html) {
    defineMarks(html);
    const auto main = html.element("main");
    html.leaf("h1", "Captions of " + name);
    writeSummary(html, report);
    writeTimeLine(html, report);
    writeFindings(html, report);
    writeCueList(html, report.channels);
  });
}

}  // namespace quarrypack::companions
