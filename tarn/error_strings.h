#pragma once

#include <cstdint>

namespace norvik::tarn {

// The error codes of the streaming library. They share one range of numbers with the codes of the
// container library. A variable may hold any number of that range; only codes that the application
// itself names are listed.
enum class EErrorCode : std::int32_t {
  success = 0,
  outOfMemory = 7,              // no memory was left to continue with
  invalidConfiguration = 5210,  // the settings could not be parsed or loaded
};

// One line that tells what went wrong; never empty, whatever the code.
const char* getErrorString(EErrorCode code) noexcept;

}  // namespace norvik::tarn
