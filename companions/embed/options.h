#pragma once

#include <optional>
#include <string>

#include "captions/formats/scc.h"
#include "companions/command_line.h"

namespace quarrypack::companions {

inline constexpr const char* kEmbedName = "quarrypack-embed";

enum class ReportFormat { html, json };

// The options of one run of quarrypack-embed.
struct EmbedOptions {
  Action action = Action::run;

  std::string input;
  std::string output;

  // Paths of the caption files of the two fields; empty for none. If either is given, the caption
  // tracks of the movie are not read.
  std::string captionsField1;
  std::string captionsField2;
  captions::SccOptions scc;

  bool replace = false;  // captions that the pictures already have
  bool verify = true;
  bool pad = true;

  std::string report;  // path; empty for none
  ReportFormat reportFormat = ReportFormat::html;

  bool hasCaptionFiles() const { return !captionsField1.empty() || !captionsField2.empty(); }
};

// Reads the words after the name of the program. Throws UsageError. With help or the version
// requested, nothing else is required.
EmbedOptions parseEmbedOptions(Words words);

// All options, for people, with a line end after each.
std::string embedUsage();

}  // namespace quarrypack::companions
