#include "companions/check/check_program.h"
#include "companions/check/options.h"
#include "companions/program.h"
#include "process/process_setup.h"

int main(int argc, char** argv) {
  using namespace quarrypack;
  using namespace quarrypack::companions;
  process::prepareProcess(process::LostReader::endsProcess);
  return runProgram<CheckOptions>({"quarrypack-check", parseCheckOptions, checkUsage, checkFile},
                                  argc, argv);
}
