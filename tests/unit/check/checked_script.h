#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "check/caption_rule_table.h"
#include "check/caption_rules.h"
#include "tests/unit/captions/pair_script.h"

namespace quarrypack::check::test {

using captions::Field;
using captions::kPairTime;
using captions::Time;
using captions::test::PairScript;

// The findings of the rules for the captions of a film.
class Checked {
 public:
  Checked(const sources::CaptionPairs& pairs, const PictureFacts& pictures)
      : captions_(checkCaptions(pairs, pictures, findings_)) {}

  const CheckedCaptions& captions() const { return captions_; }

  // How often a rule is broken, in all fields and channels.
  std::uint64_t count(const Rule& rule) const {
    std::uint64_t count = 0;
    for (const Finding& finding : findings_.all()) {
      if (finding.rule == &rule) count += finding.count;
    }
    return count;
  }
  // The frame of its first place; -1 if it is kept or has no time.
  std::int64_t frame(const Rule& rule) const {
    const Finding* const found = find(rule);
    return found != nullptr && found->first ? found->first->count() / kPairTime.count() : -1;
  }
  std::string detail(const Rule& rule) const {
    const Finding* const found = find(rule);
    return found == nullptr ? "" : found->detail;
  }
  // The ids of all broken rules.
  std::vector<std::string_view> ids() const {
    std::vector<std::string_view> ids;
    for (const Finding& finding : findings_.all()) ids.push_back(finding.rule->id);
    return ids;
  }

 private:
  const Finding* find(const Rule& rule) const {
    const auto found =
        std::find_if(findings_.all().begin(), findings_.all().end(),
                     [&rule](const Finding& finding) { return finding.rule == &rule; });
    return found == findings_.all().end() ? nullptr : &*found;
  }

  Findings findings_;
  CheckedCaptions captions_;
};

inline sources::CaptionPairs filmOf(const PairScript& script, Field field, std::int64_t frames) {
  sources::CaptionPairs pairs{"track", {}, kPairTime * frames, {}};
  pairs.of(field) = script.pairs();
  return pairs;
}

// Checks the script in a film whose pictures end a hundred frames after its last pair.
inline Checked checked(const PairScript& script, Field field = Field::one) {
  const std::int64_t frames = script.frame() + 100;
  return {filmOf(script, field, frames), {Stretch{Time{0}, kPairTime * frames}, kPairTime}};
}

// A row of text without a fault that stays on the screen, so that only the other faults of a film
// are found.
inline PairScript faultless() {
  return PairScript()
      .twice(0x14, 0x20)
      .twice(0x14, 0x70)
      .text("word")
      .twice(0x14, 0x2F)
      .at(60)
      .twice(0x14, 0x2C);
}

}  // namespace quarrypack::check::test
