#include "check/pair_rules.h"

#include <algorithm>
#include <cstdint>

#include "check/caption_rule_table.h"

namespace quarrypack::check {

using captions::BytePair;
using captions::DecodedPair;
using captions::Field;
using captions::FieldPairs;
using captions::PairKind;
using captions::Time;

namespace {

// The time that each pair takes. Films of exactly 30 pictures a second carry a pair in each
// picture, which is a thousandth more than the rate of television.
constexpr Time kSlot{Time::period::den / 30};

// Where pictures last longer than a slot, some carry one pair more than others. Half a slot allows
// for times that a coarse timescale rounds.
Time slackOf(Time picture) {
  const Time most = std::chrono::seconds(1);
  const auto pairs = (std::clamp(picture, Time{0}, most) + kSlot * 9 / 10) / kSlot;
  return kSlot * (2 * std::max<std::int64_t>(pairs, 1) - 1) / 2;
}

BytePair withoutParity(BytePair pair) {
  return {static_cast<std::uint8_t>(pair.first & 0x7F),
          static_cast<std::uint8_t>(pair.second & 0x7F)};
}

bool isSame(const DecodedPair& a, const DecodedPair& b) {
  return withoutParity(a.bytes) == withoutParity(b.bytes);
}

// Bit 7 carries only parity, so a field in which it is never set has no parity.
const Rule& parityRuleOf(const FieldPairs& field) {
  const bool hasParity = std::any_of(field.begin(), field.end(), [](const auto& pair) {
    return !pair.bytes.isPadding() && ((pair.bytes.first | pair.bytes.second) & 0x80) != 0;
  });
  return hasParity ? kParityError : kParityMissing;
}

bool isCharacters(const DecodedPair& pair) {
  return pair.kind == PairKind::characters || pair.kind == PairKind::textService;
}

}  // namespace

PairRules::PairRules(const sources::CaptionPairs& pairs, const PictureFacts& pictures,
                     Findings& findings)
    : pictures_(pictures.shown),
      slack_(slackOf(pictures.duration)),
      findings_(findings),
      extendedData_(findings),
      fields_{FieldState{"field 1", &parityRuleOf(pairs.fields[0])},
              FieldState{"field 2", &parityRuleOf(pairs.fields[1])}} {}

void PairRules::pairDecoded(const DecodedPair& pair) {
  judgeParity(pair);
  judgeCopies(pair);
  judgeMeaning(pair);
  if (pair.kind != PairKind::padding) {
    judgeRate(pair);
    judgePlace(pair);
  }
  if (pair.field == Field::two) extendedData_.judge(pair);
  stateOf(pair.field).previous = pair;
}

void PairRules::finish() {
  for (FieldState& state : fields_) noteUnpaired(state);
  extendedData_.finish();
}

void PairRules::note(const Rule& rule, const DecodedPair& pair) {
  findings_.note(rule, pair.time, stateOf(pair.field).name);
}

void PairRules::judgeParity(const DecodedPair& pair) {
  if (pair.kind == PairKind::padding) {
    if (pair.bytes != captions::kPadding) note(kPaddingWithoutParity, pair);
    return;
  }
  for (const std::uint8_t byte : {pair.bytes.first, pair.bytes.second}) {
    if (!captions::hasOddParity(byte)) note(*stateOf(pair.field).parityRule, pair);
  }
}

// A damaged copy counts as a copy: the code was sent twice.
void PairRules::judgeCopies(const DecodedPair& pair) {
  FieldState& state = stateOf(pair.field);
  if (pair.kind == PairKind::repeatedCode && pair.field == Field::two) {
    note(kDoubledControlCode, pair);
  }
  const bool isCopy =
      state.unpaired && isSame(*state.unpaired, pair) && pair.kind != PairKind::controlCode;
  if (isCopy) {
    state.unpaired.reset();
  } else {
    noteUnpaired(state);
  }
  if (pair.kind != PairKind::controlCode) return;
  const bool isCopyOfDamaged =
      isSame(state.previous, pair) &&
      (state.previous.kind == PairKind::damagedCode || isCharacters(state.previous));
  if (!isCopyOfDamaged) state.unpaired = pair;
}

void PairRules::noteUnpaired(FieldState& state) {
  if (state.unpaired && state.unpaired->field == Field::one) {
    note(kSingleControlCode, *state.unpaired);
  }
  state.unpaired.reset();
}

void PairRules::judgeMeaning(const DecodedPair& pair) {
  if (pair.kind == PairKind::wrongFieldCommand) note(kWrongFieldCode, pair);
  if (pair.kind == PairKind::extendedDataInField1) {
    findings_.note(kWrongFieldCode, pair.time, "extended data in field 1");
  }
  if (pair.kind == PairKind::unknownCode) note(kUnknownCode, pair);
  if (pair.kind == PairKind::textService) note(kTextService, pair);
  const bool endsWithControl =
      (pair.bytes.second & 0x70) == 0x10 && captions::hasOddParity(pair.bytes.second);
  if (isCharacters(pair) && endsWithControl) note(kSplitControlCode, pair);
}

// Each pair takes the next free frame. A pair that would have to wait too long is noted and takes
// none, so it does not delay others.
void PairRules::judgeRate(const DecodedPair& pair) {
  FieldState& state = stateOf(pair.field);
  if (state.free - pair.time > slack_) return note(kTooManyPairs, pair);
  state.free = std::max(state.free, pair.time) + kSlot;
}

void PairRules::judgePlace(const DecodedPair& pair) {
  if (!pictures_) return;
  if (pair.time < pictures_->start) note(kPairBeforeFirstPicture, pair);
  if (pair.time >= pictures_->end) note(kPairAfterLastPicture, pair);
}

}  // namespace quarrypack::check
