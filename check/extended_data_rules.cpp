#include "check/extended_data_rules.h"

#include "check/caption_rule_table.h"

namespace quarrypack::check {

using captions::DecodedPair;
using captions::PairKind;
using captions::Time;

namespace {

constexpr std::uint8_t kEnd = 0x0F;

// Each odd code begins a packet of a class of its own; the next even code resumes that class.
constexpr bool begins(std::uint8_t code) { return code % 2 == 1; }

}  // namespace

void ExtendedDataRules::judge(const DecodedPair& pair) {
  if (pair.kind == PairKind::padding) return;
  if (pair.kind != PairKind::extendedData) {
    current_.reset();
    return;
  }
  findings_.note(kExtendedData, pair.time);
  const auto first = static_cast<std::uint8_t>(pair.bytes.first & 0x7F);
  const auto second = static_cast<std::uint8_t>(pair.bytes.second & 0x7F);
  const bool isCode = captions::hasOddParity(pair.bytes.first) && first > 0 && first <= kEnd;
  if (!isCode) {
    if (current_) packets_[*current_].sum += first + second;
  } else if (first == kEnd) {
    end(first + second, pair.time);
  } else if (begins(first)) {
    begin({first, second}, pair.time);
  } else {
    resume({static_cast<std::uint8_t>(first - 1), second}, pair.time);
  }
}

void ExtendedDataRules::finish() {
  for (const auto& [key, packet] : packets_) findings_.note(kExtendedDataIncomplete, packet.start);
  packets_.clear();
}

void ExtendedDataRules::begin(Key key, Time time) {
  const auto [place, isNew] = packets_.try_emplace(key);
  if (!isNew) findings_.note(kExtendedDataIncomplete, place->second.start);
  place->second = {time, static_cast<unsigned>(key.first + key.second)};
  current_ = key;
}

void ExtendedDataRules::resume(Key key, Time time) {
  current_.reset();
  if (packets_.contains(key)) {
    current_ = key;
  } else {
    findings_.note(kExtendedDataIncomplete, time);
  }
}

void ExtendedDataRules::end(unsigned sum, Time time) {
  if (!current_) return findings_.note(kExtendedDataIncomplete, time);
  const Packet packet = packets_.at(*current_);
  if ((packet.sum + sum) % 128 != 0) findings_.note(kExtendedDataChecksum, packet.start);
  packets_.erase(*current_);
  current_.reset();
}

}  // namespace quarrypack::check
