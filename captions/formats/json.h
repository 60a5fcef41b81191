#pragma once

#include <iosfwd>
#include <string_view>
#include <vector>

#include "captions/cue.h"

namespace quarrypack::captions {

// Writes one JSON document:
//
//     {"file", "source", "channels": [{"channel", "mode", "cues": [
//       {"start", "end", "mode", "rows": [
//         {"row", "column", "runs": [{"text", "color", "italic", "underline"}]}]}]}]}
//
// Times are seconds with at most three decimals. A channel's mode is that of most of its cues. Each
// cue takes a line. Bytes of the file name that are not UTF-8 become U+FFFD.
void writeJson(std::string_view file, std::string_view source,
               const std::vector<ChannelCues>& channels, std::ostream& out);

// The member of such a document whose name is "channels", without an end of line.
void writeChannelsMember(const std::vector<ChannelCues>& channels, std::ostream& out);

}  // namespace quarrypack::captions
