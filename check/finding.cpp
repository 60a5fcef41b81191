#include "check/finding.h"

#include <algorithm>
#include <array>
#include <tuple>
#include <utility>

namespace quarrypack::check {

std::string_view severityName(Severity severity) {
  constexpr std::array<std::string_view, 3> kNames = {"info", "warning", "error"};
  return kNames.at(static_cast<std::size_t>(severity));
}

void Findings::note(const Rule& rule, std::optional<captions::Time> time, std::string_view detail,
                    std::uint64_t count) {
  auto found = std::find_if(findings_.begin(), findings_.end(), [&](const Finding& finding) {
    return finding.rule == &rule && finding.detail == detail;
  });
  if (found == findings_.end()) {
    findings_.push_back({&rule, 0, std::nullopt, {}, std::string(detail)});
    found = findings_.end() - 1;
  }
  found->count += count;
  if (!time) return;
  found->first = found->first ? std::min(*found->first, *time) : *time;
  if (found->places.size() < Finding::kMostPlaces) found->places.push_back(*time);
}

bool Findings::has(Severity atLeast) const {
  return std::any_of(findings_.begin(), findings_.end(), [atLeast](const Finding& finding) {
    return finding.rule->severity >= atLeast;
  });
}

std::vector<Finding> Findings::take() && {
  const auto rank = [](const Finding& finding) {
    return std::tuple(-static_cast<int>(finding.rule->severity), finding.first.has_value(),
                      finding.first.value_or(captions::Time{0}));
  };
  std::stable_sort(findings_.begin(), findings_.end(),
                   [&rank](const Finding& a, const Finding& b) { return rank(a) < rank(b); });
  return std::move(findings_);
}

}  // namespace quarrypack::check
