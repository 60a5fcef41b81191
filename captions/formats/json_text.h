#pragma once

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>

// JSON as text, built from the values up. A tree of values would allocate memory while it is freed,
// which would end the process when memory runs out.
namespace quarrypack::captions {

// Values. Bytes of a text that are not UTF-8 become U+FFFD.
std::string jsonOf(std::string_view text);
std::string jsonOf(double number);
std::string jsonOf(bool value);
template <std::integral Number>
std::string jsonOf(Number number) {
  return std::to_string(number);
}
// Without this overload a literal would become a bool.
inline std::string jsonOf(const char* text) { return jsonOf(std::string_view(text)); }

// The characters around the members of an object.
struct JsonLayout {
  std::string_view open;
  std::string_view colon;
  std::string_view separator;
  std::string_view close;
};
inline constexpr JsonLayout kDenseJson{"{", ":", ",", "}"};
inline constexpr JsonLayout kSpacedJson{"{", ": ", ", ", "}"};
inline constexpr JsonLayout kJsonInLines{"{\n  ", ": ", ",\n  ", "\n}"};

struct JsonMember {
  std::string_view name;
  std::string value;  // JSON
};

std::string jsonObject(std::initializer_list<JsonMember> members,
                       const JsonLayout& layout = kDenseJson);

// An array of values that are JSON.
std::string jsonArray(std::span<const std::string> values, std::string_view separator = ",");

}  // namespace quarrypack::captions
