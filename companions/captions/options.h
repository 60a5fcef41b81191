#pragma once

#include <optional>
#include <string>

#include "captions/cue_builder.h"
#include "captions/formats.h"
#include "captions/formats/scc.h"
#include "companions/command_line.h"

namespace quarrypack::companions {

// Where to look for captions in a movie.
enum class WantedSource { automatic, track, pictures };

// The options of one run of quarrypack-captions.
struct CaptionOptions {
  Action action = Action::run;

  std::string input;
  std::string output;                        // path; empty for standard output
  const captions::Format* format = nullptr;  // never null when captions are read
  WantedSource source = WantedSource::automatic;

  bool allChannels = false;
  std::optional<captions::Channel> channel;  // none: the first that has captions

  captions::RollUpCues rollUp = captions::RollUpCues::once;
  captions::SccOptions scc;  // for an input that is an SCC file
};

// Reads the words after the name of the program. Throws UsageError. With help or the version
// requested, nothing else is required.
CaptionOptions parseCaptionOptions(Words words);

// All options, for people, with a line end after each.
std::string captionUsage();

}  // namespace quarrypack::companions
