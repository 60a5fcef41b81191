#include "src/entry_point.h"

#include "kaf/orx_exception.h"
#include "src/error_messages.h"
#include "src/settings.h"
#include "tarn/error_strings.h"

#include <iostream>
#include <vector>

namespace quarrypack {
namespace {

constexpr int kExitSuccess = 0;
constexpr int kExitFailure = 1;
constexpr int kExitStreamingError = 2;

int runSettledTool(const std::string& programName, std::vector<std::string> arguments,
                   const Conversion& conversion) {
  std::string usageText;
  ValueMap values;
  if (const int code = parseSettings(arguments, usageText, values, programName); code != 0) {
    std::cerr << "Configuration Error. ErrorCode " << code << ":" << describeError(code)
              << std::endl;
    return kExitFailure;
  }
  if (arguments.empty()) {
    std::cout << usageText << std::endl;
    return kExitSuccess;
  }
  ConversionPaths paths;
  if (const int code = validatePaths(values, paths); code != 0) {
    std::cerr << "Error while processing configuration. ErrorCode " << code << ":"
              << describeError(code) << std::endl;
    return kExitFailure;
  }
  return conversion(programName, paths);
}

}  // namespace

int runTool(int argc, const char* const* argv, const Conversion& conversion) {
  // A program may be started without any argument, not even its name.
  const char* const programName = argc > 0 && argv[0] != nullptr ? argv[0] : "";
  try {
    loadErrorMessages();
    std::vector<std::string> arguments;
    if (argc > 1) arguments.assign(argv + 1, argv + argc);
    return runSettledTool(programName, std::move(arguments), conversion);
  } catch (const orx::OrxException& exception) {
    std::cerr << "Caught Exception! " << exception.getMessage() << std::endl;
    return kExitFailure;
  } catch (norvik::tarn::EErrorCode code) {
    std::cerr << "Caught an error : " << norvik::tarn::getErrorString(code) << std::endl;
    return kExitStreamingError;
  } catch (...) {
    std::cerr << programName << "::Caught an unknown exception while reading file" << std::endl;
    std::cerr << "Error: No valid clcp data found in the file..." << std::endl;
    return kExitFailure;
  }
}

}  // namespace quarrypack
