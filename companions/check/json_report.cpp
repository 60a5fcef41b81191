#include "companions/check/json_report.h"

#include <cstdint>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <vector>

#include "captions/formats/json.h"
#include "captions/formats/json_text.h"

namespace quarrypack::companions {
namespace {

using captions::jsonArray;
using captions::jsonObject;
using captions::jsonOf;
using captions::Time;

std::string timeJson(Time time) {
  return jsonOf(static_cast<double>(captions::milliseconds(time)) / 1000);
}

std::string timeJson(const std::optional<Time>& time) { return time ? timeJson(*time) : "null"; }

std::string timesJson(std::span<const Time> times) {
  std::vector<std::string> values;
  for (const Time time : times) values.push_back(timeJson(time));
  return jsonArray(values);
}

std::string statisticsJson(const check::CheckReport& report) {
  std::size_t cues = 0;
  for (const captions::ChannelCues& channel : report.channels) cues += channel.cues.size();
  const auto findings = [&report](check::Severity severity) {
    return jsonOf(check::countOf(report.findings, severity));
  };
  return jsonObject({{"pictures", jsonOf(report.pictures)},
                     {"cues", jsonOf(cues)},
                     {"errors", findings(check::Severity::error)},
                     {"warnings", findings(check::Severity::warning)},
                     {"infos", findings(check::Severity::info)}});
}

std::string coverageJson(const check::Coverage& coverage) {
  std::string hole = "null";
  if (coverage.longestHole) {
    hole = jsonObject({{"start", timeJson(coverage.longestHole->start)},
                       {"end", timeJson(coverage.longestHole->end)}});
  }
  return jsonObject({{"first", timeJson(coverage.firstCaption)},
                     {"longestHole", hole},
                     {"share", jsonOf(coverage.share)}});
}

std::string hitJson(const check::HitSamples& hit) {
  return jsonObject({{"track", jsonOf(hit.trackId)},
                     {"kind", jsonOf(hit.kind)},
                     {"count", jsonOf(hit.count)},
                     {"times", timesJson(hit.times)}});
}

std::string findingJson(const check::Finding& finding) {
  return jsonObject({{"id", jsonOf(finding.rule->id)},
                     {"severity", jsonOf(check::severityName(finding.rule->severity))},
                     {"count", jsonOf(finding.count)},
                     {"first", timeJson(finding.first)},
                     {"times", timesJson(finding.places)},
                     {"meaning", jsonOf(finding.rule->meaning)},
                     {"remedy", jsonOf(finding.rule->remedy)},
                     {"detail", jsonOf(finding.detail)}});
}

// One value per line.
template <class Values, class ToJson>
void writeList(const char* name, const Values& values, ToJson toJson, std::ostream& out) {
  out << '"' << name << "\":[";
  const char* separator = "\n";
  for (const auto& value : values) {
    out << separator << toJson(value);
    separator = ",\n";
  }
  out << "\n],\n";
}

}  // namespace

void writeJson(const check::CheckReport& report, std::ostream& out) {
  out << "{\"file\":" << jsonOf(report.file) << ",\"source\":" << jsonOf(report.source)
      << ",\"duration\":" << timeJson(report.duration)
      << ",\n\"statistics\":" << statisticsJson(report)
      << ",\n\"coverage\":" << coverageJson(report.coverage) << ",\n";
  writeList("hits", report.hits, hitJson, out);
  writeList("findings", report.findings, findingJson, out);
  captions::writeChannelsMember(report.channels, out);
  out << "}\n";
}

}  // namespace quarrypack::companions
