// Pairs of both fields, checked by all rules for captions.

#include <algorithm>
#include <optional>

#include "captions/cue_builder.h"
#include "captions/decoder608.h"
#include "check/caption_rule_table.h"
#include "check/caption_rules.h"
#include "tests/fuzz/fuzz_pairs.h"
#include "tests/fuzz/fuzz_target.h"

using namespace quarrypack::check;
using namespace quarrypack::captions;
using quarrypack::sources::CaptionPairs;
using quarrypack::test::check;

namespace {

CaptionPairs filmOf(quarrypack::test::InputBytes input) {
  CaptionPairs film{"pictures", quarrypack::test::pairsOf(input), {}, {}};
  for (const FieldPairs& field : film.fields) {
    if (!field.empty()) film.end = std::max(film.end, field.back().time);
  }
  return film;
}

void checkFinding(const Finding& finding) {
  check(std::find(kCaptionRules.begin(), kCaptionRules.end(), finding.rule) != kCaptionRules.end(),
        "the rule is listed");
  check(finding.count > 0 && finding.places.size() <= finding.count, "a place is an occurrence");
  for (const Time place : finding.places) {
    check(finding.first && *finding.first <= place, "the first place is the earliest");
  }
}

std::uint64_t count(const Findings& findings, const Rule& rule) {
  std::uint64_t count = 0;
  for (const Finding& finding : findings.all()) count += finding.rule == &rule ? finding.count : 0;
  return count;
}

// The decoder alone finds the same.
void checkDecoding(const CaptionPairs& film, const CheckedCaptions& checked,
                   const Findings& findings) {
  CueBuilder builder;
  Decoder608 decoder(builder);
  decoder.decode(Field::one, film.fields[0]);
  decoder.decode(Field::two, film.fields[1]);
  decoder.finish(film.end);
  const std::vector<ChannelCues> channels = builder.takeCues();
  check(
      std::equal(channels.begin(), channels.end(), checked.channels.begin(), checked.channels.end(),
                 [](const ChannelCues& a, const ChannelCues& b) {
                   return a.channel == b.channel && a.cues == b.cues;
                 }),
      "the rules change no cue");
  const DecoderReport& report = decoder.report();
  check(count(findings, kParityError) + count(findings, kParityMissing) == report.parityErrors,
        "every damaged byte is found");
  check(count(findings, kPaddingWithoutParity) == report.paddingWithoutParity,
        "all padding without parity is found");
  check(count(findings, kWrongFieldCode) + count(findings, kUnknownCode) ==
            report.wrongFieldCommands + report.unknownCodes,
        "every code without effect is found");
  check(count(findings, kExtendedData) == report.extendedDataPairs, "all extended data are found");
  check(count(findings, kTextService) == report.textPairs, "all text is found");
}

void checkCoverage(const Coverage& coverage, Stretch film) {
  check(coverage.share >= 0 && coverage.share <= 1, "a share is a share");
  if (const auto& hole = coverage.longestHole) {
    check(film.start <= hole->start && hole->start < hole->end && hole->end <= film.end,
          "a hole is in the film");
  }
  check(!coverage.firstCaption || *coverage.firstCaption >= film.start, "captions are in the film");
}

void judge(const CaptionPairs& film, const PictureFacts& pictures) {
  Findings findings;
  const CheckedCaptions checked = checkCaptions(film, pictures, findings);
  for (const Finding& finding : findings.all()) checkFinding(finding);
  checkDecoding(film, checked, findings);
  checkCoverage(checked.coverage, pictures.shown.value_or(Stretch{Time{0}, film.end}));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const CaptionPairs film = filmOf(quarrypack::test::InputBytes({data, size}));
  judge(film, {});
  judge(film, {Stretch{kPairTime * 3, film.end - kPairTime * 3}, kPairTime * 5 / 4});
  return 0;
}
