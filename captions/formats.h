#pragma once

#include <iosfwd>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "captions/cue.h"

namespace quarrypack::captions {

// The content of a caption file to be written.
struct CaptionDocument {
  std::string file;    // name of the file that the captions come from
  std::string source;  // their place in it: "track", "pictures" or "scc"
  std::vector<ChannelCues> channels;
  FieldPairs pairs;  // of one field; only formats of pairs use them
};

struct Format {
  std::string_view name;       // as users type it
  std::string_view extension;  // of file names, with the dot
  bool holdsPairs;             // the unchanged pairs of one field, without cues
  bool holdsAllChannels;       // if false, a document has one channel
  // Writes line ends as the format defines them, so the stream must not translate them. The caller
  // checks the stream for write errors.
  void (*write)(const CaptionDocument& document, std::ostream& out);
};

// scc, srt, vtt and json.
std::span<const Format> formats();

// The format of that name; null for an unknown one.
const Format* findFormat(std::string_view name);

// The format for the extension of a file's name, in any case; nothing for an unknown one.
const Format* formatOfFile(std::string_view path);

}  // namespace quarrypack::captions
