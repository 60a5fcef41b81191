#include "captions/formats/json_text.h"

#include <nlohmann/json.hpp>

namespace quarrypack::captions {

namespace {

// Only for texts and numbers, which allocate nothing while they are freed.
using Json = nlohmann::json;

std::string dumped(const Json& value) {
  return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

std::string jsonOf(std::string_view text) { return dumped(text); }

std::string jsonOf(double number) { return dumped(number); }

std::string jsonOf(bool value) { return value ? "true" : "false"; }

std::string jsonObject(std::initializer_list<JsonMember> members, const JsonLayout& layout) {
  std::string text(layout.open);
  std::string_view separator;
  for (const JsonMember& member : members) {
    text.append(separator).append(jsonOf(member.name)).append(layout.colon).append(member.value);
    separator = layout.separator;
  }
  return text.append(layout.close);
}

std::string jsonArray(std::span<const std::string> values, std::string_view separator) {
  std::string text = "[";
  for (const std::string& value : values) {
    if (&value != values.data()) text += separator;
    text += value;
  }
  return text += ']';
}

}  // namespace quarrypack::captions
