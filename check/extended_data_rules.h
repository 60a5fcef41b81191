#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <utility>

#include "captions/decoder608.h"
#include "check/finding.h"

namespace quarrypack::check {

// Checks the packets of extended data (XDS) in field 2. A packet may be interrupted by captions and
// by other packets, and continue later. Its checksum covers the pairs that begin, fill and end it,
// but not those that resume it.
class ExtendedDataRules {
 public:
  explicit ExtendedDataRules(Findings& findings) : findings_(findings) {}

  // Call it for all pairs of field 2, in order.
  void judge(const captions::DecodedPair& pair);
  // Call it after the last pair.
  void finish();

 private:
  using Key = std::pair<std::uint8_t, std::uint8_t>;  // the class and the type of a packet
  struct Packet {
    captions::Time start{0};
    unsigned sum = 0;  // of its bytes so far
  };

  void begin(Key key, captions::Time time);
  void resume(Key key, captions::Time time);
  void end(unsigned sum, captions::Time time);

  Findings& findings_;
  std::map<Key, Packet> packets_;  // those that have no end yet
  std::optional<Key> current_;
};

}  // namespace quarrypack::check
