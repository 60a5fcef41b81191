#pragma once

#include <vector>

#include "captions/cue.h"
#include "check/finding.h"
#include "check/picture_facts.h"
#include "check/report.h"
#include "sources/caption_pairs.h"

namespace quarrypack::check {

struct CheckedCaptions {
  std::vector<captions::ChannelCues> channels;  // those with cues, in channel order
  Coverage coverage;
};

// Decodes the captions of a film, applies all rules of check/caption_rule_table.h, and adds what it
// finds to the findings. The detail of a finding names its field or its channel. Throws
// sources::SourceError if there is more text than any film has.
CheckedCaptions checkCaptions(const sources::CaptionPairs& pairs, const PictureFacts& pictures,
                              Findings& findings);

}  // namespace quarrypack::check
