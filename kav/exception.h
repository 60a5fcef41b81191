#pragma once

#include <cstdint>
#include <exception>

#include "kav/error_code.h"

namespace norvik::kav {

// The only exception that the container library throws itself. It carries a number and no text: the
// wording is left to the application that prints it.
class Exception : public std::exception {
 public:
  // For a failure found by the library.
  explicit Exception(ErrorCode code) noexcept : code_(static_cast<std::uint32_t>(code)) {}

  // For a number returned by one of the reader's functions.
  explicit Exception(std::uint32_t code) noexcept : code_(code) {}

  // The number of the ErrorCode; 0 only if it was constructed from 0.
  std::uint32_t code() const noexcept { return code_; }

  // Always the empty text.
  const char* what() const noexcept override { return ""; }

 private:
  std::uint32_t code_;
};

}  // namespace norvik::kav
