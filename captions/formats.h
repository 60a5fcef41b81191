#pragma once

#include <iosfwd>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "captions/cue.h"

namespace quarrypack::captions {

// What a caption file is written from.
struct CaptionDocument {
  std::string file;    // name of what the captions come from
  std::string source;  // where in it they were: "track", "pictures" or "scc"
  std::vector<ChannelCues> channels;
  FieldPairs pairs;  // of one field; only formats of pairs look at them
};

struct Format {
  std::string_view name;       // as users choose it
  std::string_view extension;  // of file names, with the dot
  bool holdsPairs;             // the pairs of a field as they are, and no cues
  bool holdsAllChannels;       // otherwise a document has one channel
  // Writes lines as the format has them, so the stream must not translate line ends. Whether all
  // was written is for the caller to ask of the stream.
  void (*write)(const CaptionDocument& document, std::ostream& out);
};

// scc, srt, vtt and json.
std::span<const Format> formats();

// The format of that name, or none.
const Format* findFormat(std::string_view name);

// The format that the end of a file's name tells, in capitals or not; or none.
const Format* formatOfFile(std::string_view path);

}  // namespace quarrypack::captions
