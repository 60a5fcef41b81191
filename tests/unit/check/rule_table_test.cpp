#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "check/caption_rule_table.h"
#include "check/conversion_rule_table.h"
#include "check/film_rule_table.h"

// All rules, and their descriptions in doc/checks.md.
namespace quarrypack::check {
namespace {

std::vector<const Rule*> allRules() {
  std::vector<const Rule*> rules;
  const auto add = [&rules](const auto& table) {
    rules.insert(rules.end(), table.begin(), table.end());
  };
  add(kCaptionRules);
  add(kFilmRules);
  add(kConversionRules);
  return rules;
}

using IdAndSeverity = std::pair<std::string, std::string>;

// Each rule has a heading of the third level, and a list whose first item begins with its severity.
std::set<IdAndSeverity> documentedRules() {
  const std::regex heading("### (.*)");
  const std::regex severity("- \\*\\*(error|warning|info)\\*\\*.*");
  std::set<IdAndSeverity> rules;
  std::ifstream document(QUARRYPACK_CHECKS_DOCUMENT);
  std::string id;
  std::smatch match;
  for (std::string line; std::getline(document, line);) {
    if (std::regex_match(line, match, heading)) id = match[1];
    if (std::regex_match(line, match, severity)) rules.emplace(std::exchange(id, {}), match[1]);
  }
  return rules;
}

TEST(Rules, AreThoseOfTheDocument) {
  std::set<IdAndSeverity> rules;
  for (const Rule* rule : allRules()) rules.emplace(rule->id, severityName(rule->severity));
  EXPECT_EQ(documentedRules(), rules);
}

TEST(Rules, HaveIdsOfTheirOwn) {
  std::set<std::string_view> ids;
  for (const Rule* rule : allRules()) {
    EXPECT_TRUE(ids.insert(rule->id).second) << rule->id;
    EXPECT_TRUE(std::regex_match(std::string(rule->id), std::regex("[a-z0-9]+(-[a-z0-9]+)*")))
        << rule->id;
  }
}

TEST(Rules, AreExplainedInSentences) {
  for (const Rule* rule : allRules()) {
    for (const std::string_view text : {rule->meaning, rule->remedy}) {
      if (text.empty() && text == rule->remedy) continue;
      EXPECT_TRUE(text.ends_with('.')) << rule->id;
      EXPECT_EQ(text.find('\n'), std::string_view::npos) << rule->id;
    }
  }
}

}  // namespace
}  // namespace quarrypack::check
