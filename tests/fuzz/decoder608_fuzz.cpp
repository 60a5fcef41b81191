// Pairs of both fields, decoded together and passed to every writer of a caption file.

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "captions/cue_builder.h"
#include "captions/decoder608.h"
#include "captions/formats.h"
#include "captions/formats/scc.h"
#include "tests/fuzz/fuzz_pairs.h"
#include "tests/fuzz/fuzz_target.h"

using namespace quarrypack::captions;
using quarrypack::test::BothFields;
using quarrypack::test::check;

namespace {

std::size_t characterCount(const std::string& utf8) {
  return static_cast<std::size_t>(
      std::count_if(utf8.begin(), utf8.end(), [](char byte) { return (byte & 0xC0) != 0x80; }));
}

void checkRow(const CueRow& row) {
  check(row.row >= 1 && row.row <= kRows, "a row is on the screen");
  check(!row.runs.empty(), "a row has text");
  const std::string text = textOf(row);
  check(text.front() != ' ' && text.back() != ' ', "a row begins and ends with something legible");
  check(row.column >= 0 && static_cast<std::size_t>(row.column) + characterCount(text) <= kColumns,
        "a row fits on the screen");
  for (const CueRun& run : row.runs) check(!run.text.empty(), "a run has text");
}

void checkCues(const std::vector<Cue>& cues) {
  Time last = -kLatestTime;
  for (const Cue& cue : cues) {
    check(cue.start >= last && cue.end > cue.start, "the cues of a channel follow each other");
    check(!cue.rows.empty() && cue.mode != CaptionMode::none, "a cue is something");
    last = cue.end;
    for (std::size_t i = 0; i < cue.rows.size(); ++i) {
      checkRow(cue.rows[i]);
      check(i == 0 || cue.rows[i].row > cue.rows[i - 1].row, "rows go from top to bottom");
    }
  }
}

CaptionDocument decoded(const BothFields& fields, RollUpCues rollUp) {
  CueBuilder builder(rollUp);
  Decoder608 decoder(builder);
  decoder.decode(Field::one, fields[0]);
  decoder.decode(Field::two, fields[1]);
  decoder.finish(Time{0});
  const DecoderReport& report = decoder.report();
  check(report.pairs == fields[0].size() + fields[1].size(), "every pair is counted");
  check(report.padding + report.paddingWithoutParity + report.repeatedCodes +
                report.extendedDataPairs + report.textPairs <=
            report.pairs,
        "no pair is counted twice");
  CaptionDocument document{"input", "pictures", builder.takeCues(), fields[0]};
  for (const ChannelCues& channel : document.channels) {
    check(!channel.cues.empty(), "a channel is listed for its cues");
    checkCues(channel.cues);
  }
  return document;
}

std::string written(const Format& format, const CaptionDocument& document) {
  std::ostringstream out;
  format.write(document, out);
  return out.str();
}

void withoutPadding(FieldPairs& pairs) {
  std::erase_if(pairs, [](const TimedPair& pair) { return pair.bytes.isPadding(); });
}

// The written pairs of a field are read again unchanged, except for their times where several fall
// into one frame.
void checkScc(FieldPairs pairs, const std::string& text) {
  SccFile file = readScc(text);
  withoutPadding(pairs);
  withoutPadding(file.pairs);
  check(file.pairs.size() == pairs.size(), "SCC keeps every pair");
  for (std::size_t i = 0; i < pairs.size(); ++i) {
    const BytePair expected{withOddParity(pairs[i].bytes.first),
                            withOddParity(pairs[i].bytes.second)};
    check(file.pairs[i].bytes == expected, "SCC keeps the order and bytes of pairs");
    check(file.pairs[i].time >= pairs[i].time - kPairTime, "no pair comes much earlier");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const BothFields fields = quarrypack::test::pairsOf(quarrypack::test::InputBytes({data, size}));
  for (const RollUpCues rollUp : {RollUpCues::once, RollUpCues::screen}) {
    const CaptionDocument document = decoded(fields, rollUp);
    for (const Format& format : formats()) {
      const std::string text = written(format, document);
      if (format.holdsPairs) checkScc(document.pairs, text);
    }
  }
  return 0;
}
