#include <iostream>

#include "companions/captions/caption_documents.h"
#include "companions/captions/caption_input.h"
#include "companions/captions/caption_output.h"
#include "companions/captions/options.h"
#include "companions/command_line.h"

namespace {

using namespace quarrypack;
using namespace quarrypack::companions;

constexpr const char* kName = "quarrypack-captions";
constexpr int kNoCaptions = 3;

void reportFindings(const std::string& file, const std::vector<std::string>& findings) {
  for (const std::string& finding : findings) {
    std::cerr << kName << ": '" << file << "': " << finding << ".\n";
  }
}

int reportNothing(const CaptionOptions& options) {
  std::cerr << kName << ": '" << options.input << "': there are no captions";
  if (options.channel) std::cerr << " of " << captions::channelName(*options.channel);
  std::cerr << " in it.\n";
  return kNoCaptions;
}

int readCaptions(const CaptionOptions& options) {
  sources::CaptionPairs pairs = readCaptionInput(options);
  reportFindings(options.input, pairs.findings);
  const CaptionDocuments made = makeDocuments(std::move(pairs), options);
  reportFindings(options.input, made.findings);
  if (made.documents.empty()) return reportNothing(options);
  writeDocuments(made.documents, options);
  return kSuccess;
}

int run(std::span<const char* const> words) {
  const CaptionOptions options = parseCaptionOptions(words);
  switch (options.action) {
    case CaptionOptions::Action::showHelp:
      std::cout << captionUsage();
      return kSuccess;
    case CaptionOptions::Action::showVersion:
      std::cout << kName << ' ' << QUARRYPACK_VERSION << '\n';
      return kSuccess;
    case CaptionOptions::Action::read:
      break;
  }
  return readCaptions(options);
}

}  // namespace

int main(int argc, char** argv) {
  openStandardStreams();
  return runReporting(kName, [&] {
    // A program may be started without any argument, not even its name.
    const std::span<const char* const> words(argv, static_cast<std::size_t>(argc));
    return run(words.empty() ? words : words.subspan(1));
  });
}
