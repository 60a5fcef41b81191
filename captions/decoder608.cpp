#include "captions/decoder608.h"

#include "captions/characters608.h"

namespace quarrypack::captions {
namespace {

// A copy of a control code follows in the next frame, or later with few pictures a second. After an
// eighth of a second without any pair it counts as a code of its own.
constexpr Time kCopyReach = Time{Time::period::den / 8};

BytePair withoutParity(BytePair pair) {
  return {static_cast<std::uint8_t>(pair.first & 0x7F),
          static_cast<std::uint8_t>(pair.second & 0x7F)};
}

}  // namespace

Decoder608::Decoder608(DisplayListener& listener)
    : channels_{Channel608(Channel::cc1, listener), Channel608(Channel::cc2, listener),
                Channel608(Channel::cc3, listener), Channel608(Channel::cc4, listener)} {}

void Decoder608::decode(Field field, BytePair pair, Time time) {
  FieldState& state = fields_.at(field == Field::one ? 0 : 1);
  state.time = std::max(state.time, time);
  ++report_.pairs;
  if (countPadding(pair)) {
    state.lastControl.reset();
    return;
  }
  countParityErrors(pair);
  if (hasOddParity(pair.first) && pair.isControl()) return control(state, pair);
  state.lastControl.reset();
  const unsigned first = pair.first & 0x7F;
  if (hasOddParity(pair.first) && first > 0 && first < 0x10) return lowCode(state, pair);
  characters(state, pair);
}

void Decoder608::decode(Field field, const FieldPairs& pairs) {
  for (const TimedPair& pair : pairs) decode(field, pair.bytes, pair.time);
}

void Decoder608::finish(Time end) {
  for (const Channel name : kChannels) {
    channel(name).finish(std::max(end, fields_.at(fieldOf(name) == Field::one ? 0 : 1).time));
  }
}

bool Decoder608::countPadding(BytePair pair) {
  const bool isZero = pair == BytePair{0, 0};
  if (!isZero && pair != kPadding) return false;
  ++(isZero ? report_.paddingWithoutParity : report_.padding);
  return true;
}

void Decoder608::countParityErrors(BytePair pair) {
  for (const std::uint8_t byte : {pair.first, pair.second}) {
    if (!hasOddParity(byte)) ++report_.parityErrors;
  }
}

// A code with a damaged second byte is ignored; its copy replaces it.
void Decoder608::control(FieldState& state, BytePair pair) {
  if (!hasOddParity(pair.second)) {
    state.lastControl.reset();
    return;
  }
  const BytePair bare = withoutParity(pair);
  if (isRepeated(state, bare)) {
    ++report_.repeatedCodes;
    state.lastControl.reset();
    return;
  }
  state.lastControl = bare;
  state.lastControlTime = state.time;
  act(state, bare);
}

bool Decoder608::isRepeated(FieldState& state, BytePair bare) const {
  return state.lastControl == bare && state.time - state.lastControlTime <= kCopyReach;
}

void Decoder608::act(FieldState& state, BytePair bare) {
  state.inExtendedData = false;
  const ControlCode code = parseControlCode(bare, state.field);
  count(code);
  if (std::holds_alternative<UnknownCode>(code) ||
      std::holds_alternative<WrongFieldCommand>(code)) {
    return;
  }
  state.channel = channelOf(state.field, isForSecondChannel(bare));
  channel(*state.channel).control(code, state.time);
}

void Decoder608::count(const ControlCode& code) {
  if (std::holds_alternative<UnknownCode>(code)) ++report_.unknownCodes;
  if (std::holds_alternative<WrongFieldCommand>(code)) ++report_.wrongFieldCommands;
}

// 01 to 0E begin or resume a packet of extended data; 0F ends it with a checksum.
void Decoder608::lowCode(FieldState& state, BytePair pair) {
  if (state.field == Field::one) {
    ++report_.unknownCodes;
    return;
  }
  ++report_.extendedDataPairs;
  state.inExtendedData = (pair.first & 0x7F) != 0x0F;
}

void Decoder608::characters(FieldState& state, BytePair pair) {
  if (state.inExtendedData) {
    ++report_.extendedDataPairs;
    return;
  }
  if (!state.channel) return;
  if (channel(*state.channel).isInText()) ++report_.textPairs;
  character(state, pair.first);
  character(state, pair.second);
}

void Decoder608::character(FieldState& state, std::uint8_t byte) {
  Channel608& target = channel(*state.channel);
  if (!hasOddParity(byte)) return target.character(kSolidBlock, state.time);
  const unsigned code = byte & 0x7F;
  if (code >= 0x20) target.character(standardCharacter(code), state.time);
}

}  // namespace quarrypack::captions
