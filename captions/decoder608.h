#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "captions/channel608.h"

namespace quarrypack::captions {

// What a decoder has counted besides captions.
struct DecoderReport {
  std::uint64_t pairs = 0;                 // all, padding included
  std::uint64_t padding = 0;               // 80 80
  std::uint64_t paddingWithoutParity = 0;  // 00 00
  std::uint64_t parityErrors = 0;          // bytes, except those of padding
  std::uint64_t repeatedCodes = 0;         // second copies of control codes, which do nothing
  std::uint64_t wrongFieldCommands = 0;
  std::uint64_t unknownCodes = 0;       // also first bytes 01 to 0F in field 1
  std::uint64_t extendedDataPairs = 0;  // XDS in field 2
  std::uint64_t textPairs = 0;          // characters for the text service

  bool hasExtendedData() const { return extendedDataPairs > 0; }
};

// How the decoder understood a pair.
enum class PairKind : std::uint8_t {
  padding,               // 80 80 or 00 00
  characters,            // of captions; ignored before a code names their channel
  textService,           // characters for the text service
  controlCode,           // acted on
  repeatedCode,          // the second copy of a control code
  damagedCode,           // a control code whose second byte lacks odd parity
  wrongFieldCommand,     // a command in the form of the other field
  unknownCode,           // a control code that is not defined
  extendedData,          // XDS in field 2
  extendedDataInField1,  // a first byte 01 to 0F in field 1, where it means nothing
};

struct DecodedPair {
  Field field = Field::one;
  Time time{0};  // never before the previous pair of the field
  BytePair bytes;
  PairKind kind = PairKind::padding;
};

class PairListener {
 public:
  virtual ~PairListener() = default;
  // Called once for each pair, after the changes of the display that it causes.
  virtual void pairDecoded(const DecodedPair& pair) = 0;
};

// Decodes the captions of both fields, CC1 to CC4, at once. Skips extended data (XDS) and the text
// service. Uses a fixed amount of memory.
//
// Call decode() once for each pair of a field, in presentation order; pairs of different fields may
// come in any order. After the last pair call finish().
class Decoder608 {
 public:
  // The listeners must outlive the decoder. `pairs` may be null.
  explicit Decoder608(DisplayListener& listener, PairListener* pairs = nullptr);

  // A time before the previous one of the same field is replaced by that one.
  void decode(Field field, BytePair pair, Time time);
  void decode(Field field, const FieldPairs& pairs);

  // Removes what is displayed from all screens: nothing is shown after `end`.
  void finish(Time end);

  const DecoderReport& report() const { return report_; }

 private:
  struct FieldState {
    Field field;
    Time time = -kLatestTime;
    std::optional<BytePair> lastControl{};  // without parity; none after a repeated code
    Time lastControlTime{0};
    bool inExtendedData = false;
    std::optional<Channel> channel{};  // of the characters
  };

  PairKind read(FieldState& state, BytePair pair);
  PairKind control(FieldState& state, BytePair pair);
  bool isRepeated(FieldState& state, BytePair bare) const;
  PairKind act(FieldState& state, BytePair bare);
  PairKind lowCode(FieldState& state, BytePair pair);
  PairKind characters(FieldState& state, BytePair pair);
  void character(FieldState& state, std::uint8_t byte);
  void count(BytePair pair, PairKind kind);
  void countParityErrors(BytePair pair);
  Channel608& channel(Channel channel) { return channels_.at(indexOf(channel)); }

  std::array<Channel608, 4> channels_;
  std::array<FieldState, 2> fields_ = {FieldState{Field::one}, FieldState{Field::two}};
  PairListener* pairListener_;
  DecoderReport report_;
};

}  // namespace quarrypack::captions
