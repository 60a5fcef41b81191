#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "captions/cue_builder.h"
#include "captions/decoder608.h"

namespace quarrypack::captions::test {

// The pairs of a field as a caption author would list them, one for each frame, with odd parity.
class PairScript {
 public:
  // The next pair is that of this frame.
  PairScript& at(std::int64_t frame) {
    frame_ = frame;
    return *this;
  }
  PairScript& code(unsigned first, unsigned second) {
    return raw(withOddParity(static_cast<std::uint8_t>(first)),
               withOddParity(static_cast<std::uint8_t>(second)));
  }
  PairScript& twice(unsigned first, unsigned second) {
    return code(first, second).code(first, second);
  }
  PairScript& text(std::string_view letters) {
    for (std::size_t i = 0; i < letters.size(); i += 2) {
      code(static_cast<unsigned char>(letters[i]),
           i + 1 < letters.size() ? static_cast<unsigned char>(letters[i + 1]) : 0);
    }
    return *this;
  }
  PairScript& padding(int count = 1) {
    for (int i = 0; i < count; ++i) raw(0x80, 0x80);
    return *this;
  }
  // The bytes as they are.
  PairScript& raw(unsigned first, unsigned second) {
    pairs_.push_back({kPairTime * frame_++,
                      {static_cast<std::uint8_t>(first), static_cast<std::uint8_t>(second)}});
    return *this;
  }

  // The commands of channel 1 of field 1.
  PairScript& popOn() { return code(0x14, 0x20); }
  PairScript& paintOn() { return code(0x14, 0x29); }
  PairScript& rollUp(unsigned rows) { return code(0x14, 0x23 + rows); }
  PairScript& carriageReturn() { return code(0x14, 0x2D); }
  PairScript& erase() { return code(0x14, 0x2C); }
  PairScript& show() { return code(0x14, 0x2F); }
  PairScript& row15() { return code(0x14, 0x70); }

  const FieldPairs& pairs() const { return pairs_; }
  std::int64_t frame() const { return frame_; }

 private:
  FieldPairs pairs_;
  std::int64_t frame_ = 0;
};

struct Decoded {
  std::vector<ChannelCues> channels;
  DecoderReport report;

  // Of the only channel; empty if there is none.
  const std::vector<Cue>& cues() const {
    static const std::vector<Cue> kNone;
    EXPECT_LE(channels.size(), 1u);
    return channels.empty() ? kNone : channels.front().cues;
  }
  std::vector<std::string> texts() const {
    std::vector<std::string> result;
    for (const Cue& cue : cues()) result.push_back(textOf(cue));
    return result;
  }
};

// Decodes the script, whose last state lasts for a hundred frames.
inline Decoded decoded(const PairScript& script, RollUpCues rollUp = RollUpCues::once,
                       Field field = Field::one) {
  CueBuilder builder(rollUp);
  Decoder608 decoder(builder);
  decoder.decode(field, script.pairs());
  decoder.finish(kPairTime * (script.frame() + 99));
  return {builder.takeCues(), decoder.report()};
}

// The script's text on a pop-on page that begins in row 15, column 0.
inline Decoded page(PairScript script) {
  PairScript whole;
  whole.popOn().row15();
  for (const TimedPair& pair : script.pairs()) whole.raw(pair.bytes.first, pair.bytes.second);
  return decoded(whole.show());
}

// The text of a page of a single row; empty for a blank one.
inline std::string pageText(const PairScript& script) {
  const Decoded result = page(script);
  return result.cues().empty() ? "" : textOf(result.cues().front());
}

inline CueRow plainRow(int row, int column, std::string text) {
  return {row, column, {{std::move(text), Color::white, false, false}}};
}

// A cue that begins and ends with these milliseconds.
inline Cue cueOf(std::int64_t start, std::int64_t end, std::vector<CueRow> rows,
                 CaptionMode mode = CaptionMode::popOn) {
  return {timeOfUnits(start, 1000), timeOfUnits(end, 1000), mode, std::move(rows)};
}

}  // namespace quarrypack::captions::test
