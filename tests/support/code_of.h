#pragma once

#include <cstdint>
#include <optional>

#include "kav/exception.h"

namespace quarrypack::test {

// The error code that the call throws, or nothing when it does not throw.
template <class Call>
std::optional<std::uint32_t> codeOf(Call&& call) {
  try {
    call();
  } catch (const norvik::kav::Exception& exception) {
    return exception.code();
  }
  return std::nullopt;
}

}  // namespace quarrypack::test
