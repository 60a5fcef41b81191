#include <cstddef>
#include <iostream>
#include <span>

#include "companions/command_line.h"
#include "companions/embed/embed_program.h"
#include "companions/embed/options.h"
#include "src/process_setup.h"

namespace {

using namespace quarrypack;
using namespace quarrypack::companions;

constexpr const char* kName = "quarrypack-embed";

int run(std::span<const char* const> words) {
  const EmbedOptions options = parseEmbedOptions(words);
  switch (options.action) {
    case EmbedOptions::Action::showHelp:
      std::cout << embedUsage();
      return kSuccess;
    case EmbedOptions::Action::showVersion:
      std::cout << kName << ' ' << QUARRYPACK_VERSION << '\n';
      return kSuccess;
    case EmbedOptions::Action::embed:
      break;
  }
  const embed::EmbedResult result = embedCaptions(options);
  std::cout << summaryText(result, options.verify) << '\n' << std::flush;
  return kSuccess;
}

}  // namespace

int main(int argc, char** argv) {
  prepareProcess();
  return runReporting(kName, [&] {
    // A program may be started without a single word, not even its name.
    const std::span<const char* const> words(argv, static_cast<std::size_t>(argc));
    return run(words.empty() ? words : words.subspan(1));
  });
}
