#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "captions/channel608.h"

namespace quarrypack::captions {

// What a decoder has found besides captions.
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

// Decodes the captions of both fields, CC1 to CC4, at once. Skips extended data (XDS) and the text
// service. Takes a fixed amount of memory.
//
// Call decode() once for each pair of a field, in presentation order; pairs of different fields may
// come in any order. After the last pair call finish().
class Decoder608 {
 public:
  // The listener must outlive the decoder.
  explicit Decoder608(DisplayListener& listener);

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

  bool countPadding(BytePair pair);
  void countParityErrors(BytePair pair);
  void control(FieldState& state, BytePair pair);
  bool isRepeated(FieldState& state, BytePair bare) const;
  void act(FieldState& state, BytePair bare);
  void count(const ControlCode& code);
  void lowCode(FieldState& state, BytePair pair);
  void characters(FieldState& state, BytePair pair);
  void character(FieldState& state, std::uint8_t byte);
  Channel608& channel(Channel channel) { return channels_.at(indexOf(channel)); }

  std::array<Channel608, 4> channels_;
  std::array<FieldState, 2> fields_ = {FieldState{Field::one}, FieldState{Field::two}};
  DecoderReport report_;
};

}  // namespace quarrypack::captions
