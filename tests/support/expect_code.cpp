#include "tests/support/expect_code.h"

#include <ostream>
#include <string_view>

#include "kav/error_text.h"

namespace norvik::kav {

void PrintTo(ErrorCode code, std::ostream* out) {
  const auto number = static_cast<std::uint32_t>(code);
  const std::string_view name = errorName(number);
  if (name.empty()) {
    *out << "no code: " << number;
  } else {
    *out << name;
  }
}

}  // namespace norvik::kav
