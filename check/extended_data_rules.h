#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <utility>

#include "captions/decoder608.h"
#include "check/finding.h"

namespace quarrypack::check {

// Judges the packets of extended data (XDS) in field 2. A packet may be interrupted by captions and
// by other packets, and go on later. Its checksum covers what begins, fills and ends it, but not
// what resumes it.
class ExtendedDataRules {
 public:
  explicit ExtendedDataRules(Findings& findings) : findings_(findings) {}

  // Takes all pairs of field 2.
  void judge(const captions::DecodedPair& pair);
  // After the last pair.
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
