#pragma once

#include <cstdint>
#include <string_view>

namespace norvik::kav {

// The name of the ErrorCode with a number, "truncatedBox" for 27; an empty text for a number that
// none has.
std::string_view errorName(std::uint32_t code);

// One sentence for people, without a full stop: "a box holds fewer bytes than its fields need". A
// text for unknown numbers too.
std::string_view errorText(std::uint32_t code);

}  // namespace norvik::kav
