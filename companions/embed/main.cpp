#include <iostream>

#include "companions/embed/embed_program.h"
#include "companions/embed/options.h"
#include "companions/program.h"
#include "process/process_setup.h"

namespace {

using namespace quarrypack;
using namespace quarrypack::companions;

int run(const EmbedOptions& options) {
  const embed::EmbedResult result = embedCaptions(options);
  std::cout << summaryText(result, options.verify) << '\n' << std::flush;
  return kSuccess;
}

}  // namespace

int main(int argc, char** argv) {
  process::prepareProcess();
  process::returnLargeBlocks();
  return runProgram<EmbedOptions>({kEmbedName, parseEmbedOptions, embedUsage, run}, argc, argv);
}
