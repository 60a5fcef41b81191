#include "src/conversion_listener.h"

#include <iostream>

namespace quarrypack {
namespace {

class ConsoleListener final : public ConversionListener {
 public:
  void trackWithoutName() override {
    std::cout << "Error: Track with empty name found" << std::endl;
  }

  void descriptionWithoutHeader() override {
    std::cout << "Warning: Zero Header length SampleDescriptor found" << std::endl;
  }

  void captionOfOtherTrack() override {
    // An old check, whose wording users know.
    std::cout << R"(assert in file ..\..\src\main.cpp, line 397)" << std::endl;
    std::cout << "Error: Bad clcp Sample. " << std::endl;
  }

  void unknownCaptionAtom() override {
    std::cout << "Unknown 608 channel Type detected...Assuming it to for be channel one"
              << std::endl;
  }

  void invalidNalLength() override {
    std::cout << "Error 3: Invalid NAL Length  Detected!!!" << std::endl;
  }
};

}  // namespace

ConversionListener& consoleListener() {
  static ConsoleListener listener;
  return listener;
}

}  // namespace quarrypack
