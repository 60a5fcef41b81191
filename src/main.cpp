#include "src/conversion_pass.h"
#include "src/entry_point.h"
#include "src/process_setup.h"

int main(int argc, char** argv) {
  quarrypack::prepareProcess();
  return quarrypack::runTool(argc, argv, quarrypack::runConversion);
}
