#pragma once

#include <array>
#include <optional>
#include <string_view>

#include "captions/decoder608.h"
#include "check/extended_data_rules.h"
#include "check/finding.h"
#include "check/picture_facts.h"
#include "sources/caption_pairs.h"

namespace quarrypack::check {

// Applies the rules for byte pairs as a decoder reads them. Pass it to the decoder of the film, and
// call finish() after the last pair.
class PairRules final : public captions::PairListener {
 public:
  // The findings must outlive the rules.
  PairRules(const sources::CaptionPairs& pairs, const PictureFacts& pictures, Findings& findings);

  void pairDecoded(const captions::DecodedPair& pair) override;
  void finish();

 private:
  struct FieldState {
    std::string_view name;
    const Rule* parityRule;                        // for a byte without odd parity
    captions::Time free = -captions::kLatestTime;  // when the next frame has room for a pair
    captions::DecodedPair previous{};
    std::optional<captions::DecodedPair> unpaired{};  // a control code whose copy may follow
  };

  void note(const Rule& rule, const captions::DecodedPair& pair);
  void judgeParity(const captions::DecodedPair& pair);
  void judgeCopies(const captions::DecodedPair& pair);
  void judgeMeaning(const captions::DecodedPair& pair);
  void judgeRate(const captions::DecodedPair& pair);
  void judgePlace(const captions::DecodedPair& pair);
  void noteUnpaired(FieldState& state);
  FieldState& stateOf(captions::Field field) { return fields_.at(static_cast<std::size_t>(field)); }

  std::optional<Stretch> pictures_;
  captions::Time slack_;  // how late the frame for a pair may come
  Findings& findings_;
  ExtendedDataRules extendedData_;
  std::array<FieldState, 2> fields_;
};

}  // namespace quarrypack::check
