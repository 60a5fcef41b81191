// The decoder configuration of an H.264 sample description, from any bytes.

#include "kav/exception.h"
#include "src/avcc.h"
#include "tests/fuzz/fuzz_target.h"

using quarrypack::test::check;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    const auto config = quarrypack::parseAvcDecoderConfig({data, size});
    if (!config) return 0;
    check(config->nalLengthSize >= 1 && config->nalLengthSize <= 4, "lengths take 1 to 4 bytes");
    std::size_t bytes = 0;
    for (const auto& set : config->sequenceParameterSets) bytes += 2 + set.size();
    for (const auto& set : config->pictureParameterSets) bytes += 2 + set.size();
    check(bytes <= size, "parameter sets lie inside the description");
  } catch (const norvik::kav::Exception& exception) {
    check(exception.code() == 42, "a refused record is an overrun");
  }
  return 0;
}
