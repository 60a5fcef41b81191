#include "process/process_setup.h"
#include "src/conversion_pass.h"
#include "src/entry_point.h"

int main(int argc, char** argv) {
  quarrypack::process::prepareProcess();
  return quarrypack::runTool(argc, argv, quarrypack::runConversion);
}
