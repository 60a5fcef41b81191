#pragma once

#include <cstdint>
#include <string_view>

namespace norvik::kav {

// The name of the ErrorCode with this number, for example "truncatedBox" for 27; empty for a number
// without a code.
std::string_view errorName(std::uint32_t code);

// One sentence for people, without a full stop: "a box holds fewer bytes than its fields need".
// Never empty: unknown numbers have a text too.
std::string_view errorText(std::uint32_t code);

}  // namespace norvik::kav
