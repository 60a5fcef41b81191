// An SCC file, from any bytes: read at some rate, decoded, written and read again.
//
// The first byte selects the rate and the offset; the rest is the text.

#include <array>
#include <sstream>
#include <string>

#include "captions/cue_builder.h"
#include "captions/decoder608.h"
#include "captions/formats/scc.h"
#include "tests/fuzz/fuzz_target.h"

using namespace quarrypack::captions;
using quarrypack::test::check;

namespace {

SccOptions optionsOf(unsigned choice) {
  constexpr std::array kOffsets = {"00:00:00:00", "auto", "00:59:58;00", "999:00:00:00"};
  const auto rates = frameRates();
  return {&rates[choice % rates.size()], parseSccOffset(kOffsets.at(choice >> 6)).value()};
}

void checkFile(const SccFile& file) {
  Time last = -kLatestTime;
  for (const TimedPair& pair : file.pairs) {
    check(pair.time > last, "times increase");
    check(hasOddParity(pair.bytes.first) && hasOddParity(pair.bytes.second), "parity is right");
    last = pair.time;
  }
  for (const SccFinding& finding : file.findings) {
    check(finding.line > 0 && finding.count > 0, "a finding was found");
    check(!describe(finding).empty(), "a finding can be told");
  }
}

void decode(const SccFile& file) {
  CueBuilder builder;
  Decoder608 decoder(builder);
  decoder.decode(file.field, file.pairs);
  decoder.finish(sccEnd(file.pairs));
  check(decoder.report().parityErrors == 0, "no byte is damaged");
  const bool hasCues = !builder.takeCues().empty();
  check(file.isDecodable() || !hasCues, "what cannot be decoded has no captions");
}

// The first output is an ordinary file, which reads and writes the same from then on.
void checkRoundTrip(const SccFile& file) {
  const auto written = [](const FieldPairs& pairs) {
    std::ostringstream out;
    writeScc(pairs, out);
    return out.str();
  };
  const std::string text = written(file.pairs);
  const SccFile again = readScc(text);
  for (const SccFinding& finding : again.findings) {
    check(finding.kind == SccFindingKind::singleCode || finding.kind == SccFindingKind::mixedFields,
          "the writer writes what is usual");
  }
  check(again.isDecodable() == file.isDecodable(), "pairs remain");
  check(written(again.pairs) == text, "a second copy is equal");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  quarrypack::test::InputBytes input({data, size});
  const SccOptions options = optionsOf(input.u8());
  const auto rest = input.rest();
  const std::string text(rest.begin(), rest.end());
  const SccFile file = readScc(text, options);
  checkFile(file);
  decode(file);
  checkRoundTrip(file);
  return 0;
}
