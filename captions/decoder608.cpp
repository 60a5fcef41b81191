#include "captions/decoder608.h"

#include "captions/characters608.h"

namespace quarrypack::captions {
namespace {

// A copy of a control code follows in the next frame, or later if there are few pictures a second.
// After an eighth of a second without any pair, the same code counts as a new one.
constexpr Time kCopyReach = Time{Time::period::den / 8};

BytePair withoutParity(BytePair pair) {
  return {static_cast<std::uint8_t>(pair.first & 0x7F),
          static_cast<std::uint8_t>(pair.second & 0x7F)};
}

bool isPadding(BytePair pair) { return pair == kPadding || pair == BytePair{0, 0}; }

}  // namespace

Decoder608::Decoder608(DisplayListener& listener, PairListener* pairs)
    : channels_{Channel608(Channel::cc1, listener), Channel608(Channel::cc2, listener),
                Channel608(Channel::cc3, listener), Channel608(Channel::cc4, listener)},
      pairListener_(pairs) {}

void Decoder608::decode(Field field, BytePair pair, Time time) {
  FieldState& state = fields_.at(field == Field::one ? 0 : 1);
  state.time = std::max(state.time, time);
  const PairKind kind = read(state, pair);
  count(pair, kind);
  if (pairListener_ != nullptr) pairListener_->pairDecoded({field, state.time, pair, kind});
}

void Decoder608::decode(Field field, const FieldPairs& pairs) {
  for (const TimedPair& pair : pairs) decode(field, pair.bytes, pair.time);
}

void Decoder608::finish(Time end) {
  for (const Channel name : kChannels) {
    channel(name).finish(std::max(end, fields_.at(fieldOf(name) == Field::one ? 0 : 1).time));
  }
}

PairKind Decoder608::read(FieldState& state, BytePair pair) {
  const bool isReadable = hasOddParity(pair.first);
  if (isReadable && pair.isControl()) return control(state, pair);
  state.lastControl.reset();
  if (isPadding(pair)) return PairKind::padding;
  const unsigned first = pair.first & 0x7F;
  if (isReadable && first > 0 && first < 0x10) return lowCode(state, pair);
  return characters(state, pair);
}

// A code with a damaged second byte is ignored; its copy replaces it.
PairKind Decoder608::control(FieldState& state, BytePair pair) {
  if (!hasOddParity(pair.second)) {
    state.lastControl.reset();
    return PairKind::damagedCode;
  }
  const BytePair bare = withoutParity(pair);
  if (isRepeated(state, bare)) {
    state.lastControl.reset();
    return PairKind::repeatedCode;
  }
  state.lastControl = bare;
  state.lastControlTime = state.time;
  return act(state, bare);
}

bool Decoder608::isRepeated(FieldState& state, BytePair bare) const {
  return state.lastControl == bare && state.time - state.lastControlTime <= kCopyReach;
}

PairKind Decoder608::act(FieldState& state, BytePair bare) {
  state.inExtendedData = false;
  const ControlCode code = parseControlCode(bare, state.field);
  if (std::holds_alternative<UnknownCode>(code)) return PairKind::unknownCode;
  if (std::holds_alternative<WrongFieldCommand>(code)) return PairKind::wrongFieldCommand;
  state.channel = channelOf(state.field, isForSecondChannel(bare));
  channel(*state.channel).control(code, state.time);
  return PairKind::controlCode;
}

// 01 to 0E begin or resume a packet of extended data; 0F ends it with a checksum.
PairKind Decoder608::lowCode(FieldState& state, BytePair pair) {
  if (state.field == Field::one) return PairKind::extendedDataInField1;
  state.inExtendedData = (pair.first & 0x7F) != 0x0F;
  return PairKind::extendedData;
}

PairKind Decoder608::characters(FieldState& state, BytePair pair) {
  if (state.inExtendedData) return PairKind::extendedData;
  if (!state.channel) return PairKind::characters;
  const bool isText = channel(*state.channel).isInText();
  character(state, pair.first);
  character(state, pair.second);
  return isText ? PairKind::textService : PairKind::characters;
}

void Decoder608::character(FieldState& state, std::uint8_t byte) {
  Channel608& target = channel(*state.channel);
  if (!hasOddParity(byte)) return target.character(kSolidBlock, state.time);
  const unsigned code = byte & 0x7F;
  if (code >= 0x20) target.character(standardCharacter(code), state.time);
}

void Decoder608::count(BytePair pair, PairKind kind) {
  ++report_.pairs;
  if (kind != PairKind::padding) countParityErrors(pair);
  switch (kind) {
    case PairKind::padding:
      ++(pair == kPadding ? report_.padding : report_.paddingWithoutParity);
      return;
    case PairKind::textService:
      ++report_.textPairs;
      return;
    case PairKind::repeatedCode:
      ++report_.repeatedCodes;
      return;
    case PairKind::wrongFieldCommand:
      ++report_.wrongFieldCommands;
      return;
    case PairKind::unknownCode:
    case PairKind::extendedDataInField1:
      ++report_.unknownCodes;
      return;
    case PairKind::extendedData:
      ++report_.extendedDataPairs;
      return;
    case PairKind::characters:
    case PairKind::controlCode:
    case PairKind::damagedCode:
      return;
  }
}

void Decoder608::countParityErrors(BytePair pair) {
  for (const std::uint8_t byte : {pair.first, pair.second}) {
    if (!hasOddParity(byte)) ++report_.parityErrors;
  }
}

}  // namespace quarrypack::captions
