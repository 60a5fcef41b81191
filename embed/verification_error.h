#pragma once

#include <stdexcept>
#include <string>

namespace quarrypack::embed {

// The written film differs from the planned one: a defect of this program, or of the disk. The text
// is for people and states where the difference is.
class VerificationError : public std::runtime_error {
 public:
  explicit VerificationError(const std::string& text) : std::runtime_error(text) {}

  // With where the difference is, and what it is.
  VerificationError(const std::string& where, const std::string& what)
      : VerificationError("the written file was read again and differs: " + where + ": " + what) {}
};

}  // namespace quarrypack::embed
