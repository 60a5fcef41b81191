#include <iostream>

#include "companions/captions/caption_documents.h"
#include "companions/captions/caption_input.h"
#include "companions/captions/caption_output.h"
#include "companions/captions/options.h"
#include "companions/program.h"
#include "process/process_setup.h"

namespace {

using namespace quarrypack;
using namespace quarrypack::companions;

constexpr const char* kName = "quarrypack-captions";
constexpr int kNoCaptions = 3;

int reportNothing(const CaptionOptions& options) {
  std::cerr << kName << ": '" << options.input << "': there are no captions";
  if (options.channel) std::cerr << " of " << captions::channelName(*options.channel);
  std::cerr << " in it.\n";
  return kNoCaptions;
}

int readCaptions(const CaptionOptions& options) {
  sources::CaptionPairs pairs = readCaptionInput(options);
  printFindings(kName, options.input, pairs.findings);
  const CaptionDocuments made = makeDocuments(std::move(pairs), options);
  printFindings(kName, options.input, made.findings);
  if (made.documents.empty()) return reportNothing(options);
  writeDocuments(made.documents, options);
  return kSuccess;
}

}  // namespace

int main(int argc, char** argv) {
  process::prepareProcess(process::LostReader::endsProcess);
  return runProgram<CaptionOptions>({kName, parseCaptionOptions, captionUsage, readCaptions}, argc,
                                    argv);
}
