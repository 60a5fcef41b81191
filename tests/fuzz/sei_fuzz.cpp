// Pictures and decoder configurations of any bytes: NAL units, SEI messages, captions inside them,
// avcC and hvcC records.
//
// The input: a byte with the codec and the size of the NAL lengths, a byte that states how much of
// the sample is in memory, and the sample, which also serves as a record.

#include <algorithm>
#include <vector>

#include "captions/caption_atoms.h"
#include "captions/decoder_configuration.h"
#include "captions/nal_units.h"
#include "captions/sei.h"
#include "tests/fuzz/fuzz_target.h"

using namespace quarrypack::captions;
using quarrypack::test::check;

namespace {

using Bytes = std::span<const std::uint8_t>;

bool same(Bytes a, Bytes b) { return std::equal(a.begin(), a.end(), b.begin(), b.end()); }

bool lieInOrder(const SeiUnit& sei) {
  std::size_t end = 0;
  for (const SeiMessage& message : sei.messages) {
    if (message.offset < end || message.payloadOffset < message.offset) return false;
    end = message.end();
  }
  return end <= sei.content.size();
}

// A unit built from captions must contain only these captions.
void checkBuilding(const CcData& data, const NalRules& rules, std::uint8_t lengthSize) {
  std::vector<std::uint8_t> unit;
  buildCaptionUnit(unit, {.rules = &rules, .nalLengthSize = lengthSize}, data.triplets);
  NalWalk walk(unit, lengthSize);
  const auto built = walk.next();
  check(built && built->end() == unit.size(), "a built unit states its length");
  const SeiUnit sei = parseSeiUnit(built->bytes, rules);
  check(holdsOnlyCaptions(sei) && sei.messages.size() == 1, "a built unit is one message");
  check(captionData(sei, sei.messages[0])->triplets == data.triplets, "captions survive");
}

void checkRemoval(const SeiUnit& sei, const NalRules& rules) {
  const std::vector<std::uint8_t> rest = withoutCaptions(sei, rules);
  check(rest.empty() || !holdsOnlyCaptions(sei), "of captions alone nothing is left");
  if (rest.empty()) return;
  const SeiUnit left = parseSeiUnit(rest, rules);
  std::size_t next = 0;
  for (const SeiMessage& message : sei.messages) {
    if (holdsCaptions(sei, message)) continue;
    check(next < left.messages.size() &&
              same(left.payload(left.messages[next]), sei.payload(message)),
          "other messages survive");
    ++next;
  }
  check(left.whole && next == left.messages.size(), "nothing else is left");
}

void checkSei(const NalUnit& unit, const NalRules& rules, std::uint8_t lengthSize) {
  const SeiUnit sei = parseSeiUnit(unit.bytes, rules);
  check(sei.content.size() <= unit.bytes.size(), "content is no longer than its unit");
  check(lieInOrder(sei), "messages lie one after the other inside their unit");
  for (const SeiMessage& message : sei.messages) {
    const auto data = captionData(sei, message);
    check(data.has_value() == holdsCaptions(sei, message), "messages of captions are told alike");
    if (!data) continue;
    check(data->triplets.size() <= kMostTriplets, "triplets can be counted");
    checkBuilding(*data, rules, lengthSize);
  }
  if (sei.whole) checkRemoval(sei, rules);
}

void checkPlace(Bytes head, std::uint64_t sampleSize, std::uint8_t lengthSize,
                const NalRules& rules) {
  const CaptionPlace place = findCaptionPlace(head, sampleSize, lengthSize, rules);
  check(place.offset <= sampleSize, "captions go into the sample");
  if (head.size() == sampleSize) {
    check(place.state != CaptionPlace::State::needsBytes, "a whole sample is enough");
  }
}

void checkRecords(Bytes record) {
  if (const auto avc = parseAvcDecoderConfig(record)) {
    check(avc->nalLengthSize >= 1 && avc->nalLengthSize <= 4, "lengths take 1 to 4 bytes");
    std::size_t bytes = 0;
    for (const auto& set : avc->sequenceParameterSets) bytes += 2 + set.size();
    for (const auto& set : avc->pictureParameterSets) bytes += 2 + set.size();
    check(bytes <= record.size(), "parameter sets lie inside the record");
  }
  if (const auto hevc = parseHevcDecoderConfig(record)) {
    check(hevc->nalLengthSize >= 1 && hevc->nalLengthSize <= 4, "lengths take 1 to 4 bytes");
  }
}

void checkAtoms(Bytes sample) {
  std::size_t bytes = 0;
  for (const CaptionAtom& atom : CaptionAtoms(sample)) {
    bytes += kAtomHeaderSize + atom.pairs.size();
    for (std::size_t i = 0; i < atom.pairCount(); ++i) atom.pair(i);
  }
  check(bytes <= sample.size(), "atoms lie inside their sample");
}

void checkEscapes(Bytes content) {
  std::vector<std::uint8_t> unit(content.begin(), content.end());
  escapeNalUnit(unit);
  check(same(removeEmulationPrevention(unit), content), "escapes can be undone");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  quarrypack::test::InputBytes input({data, size});
  const std::uint8_t form = input.u8();
  const std::uint8_t outsideMemory = input.u8();
  const Bytes sample = input.rest();
  const Bytes head =
      sample.first(sample.size() - std::min<std::size_t>(outsideMemory, sample.size()));
  const NalRules& rules = (form & 4) != 0 ? kHevcRules : kH264Rules;
  const auto lengthSize = static_cast<std::uint8_t>((form & 3) + 1);

  NalWalk walk(head, sample.size(), lengthSize);
  std::uint64_t end = 0;
  while (const auto unit = walk.next()) {
    check(unit->offset == end, "units follow one another");
    end = unit->end();
    if (!unit->bytes.empty() && rules.type(unit->bytes) == rules.seiType) {
      checkSei(*unit, rules, lengthSize);
    }
  }
  check(end == walk.position() && end <= sample.size(), "units lie inside the sample");
  check((end == sample.size()) == (walk.stop() == NalWalk::Stop::endOfSample),
        "the end is told from other stops");

  checkPlace(head, sample.size(), lengthSize, rules);
  checkRecords(sample);
  checkAtoms(sample);
  checkEscapes(sample);
  return 0;
}
