#pragma once

#include <string>

#include "captions/formats/scc.h"
#include "check/finding.h"
#include "companions/command_line.h"

namespace quarrypack::companions {

// The options of one run of quarrypack-check.
struct CheckOptions {
  Action action = Action::run;

  std::string input;
  bool json = false;  // on standard output, in place of the text
  std::string html;   // path; empty for none
  check::Severity failOn = check::Severity::warning;

  captions::SccOptions scc;  // for an input that is an SCC file
};

// Reads the words after the name of the program. Throws UsageError. With help or the version
// requested, nothing else is required.
CheckOptions parseCheckOptions(Words words);

// All options, for people, with a line end after each.
std::string checkUsage();

}  // namespace quarrypack::companions
