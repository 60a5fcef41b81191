#pragma once

#include <cstdint>
#include <exception>

#include "kav/error_code.h"

namespace norvik::kav {

// The only kind of failure that the container library throws. It carries a number and no text: the
// application that prints errors owns their wording.
class Exception : public std::exception {
 public:
  // For a failure that the library found.
  explicit Exception(ErrorCode code) noexcept : code_(static_cast<std::uint32_t>(code)) {}

  // For a number that came back from one of the reader's functions.
  explicit Exception(std::uint32_t code) noexcept : code_(code) {}

  // The number of the ErrorCode; 0 only if it was made with 0.
  std::uint32_t code() const noexcept { return code_; }

  // Always the empty text.
  const char* what() const noexcept override { return ""; }

 private:
  std::uint32_t code_;
};

}  // namespace norvik::kav
