#include "captions/formats/json_text.h"

#include <gtest/gtest.h>

#include <vector>

namespace quarrypack::captions {
namespace {

TEST(JsonText, WritesValues) {
  EXPECT_EQ(jsonOf("a \"b\"\n\\ \x01"), R"("a \"b\"\n\\ \u0001")");
  EXPECT_EQ(jsonOf(std::string("♪ \xFF")), "\"♪ \xEF\xBF\xBD\"");
  EXPECT_EQ(jsonOf(true), "true");
  EXPECT_EQ(jsonOf(false), "false");
  EXPECT_EQ(jsonOf(std::uint8_t{7}), "7");
  EXPECT_EQ(jsonOf(-12), "-12");
  EXPECT_EQ(jsonOf(3.045), "3.045");
  EXPECT_EQ(jsonOf(4.0), "4.0");
}

TEST(JsonText, WritesObjects) {
  EXPECT_EQ(jsonObject({}), "{}");
  EXPECT_EQ(jsonObject({{"a", jsonOf(1)}, {"b \"c\"", jsonOf("d")}}), R"({"a":1,"b \"c\"":"d"})");
  EXPECT_EQ(jsonObject({{"a", "1"}, {"b", "2"}}, kSpacedJson), R"({"a": 1, "b": 2})");
  EXPECT_EQ(jsonObject({{"a", "1"}, {"b", "2"}}, kJsonInLines), "{\n  \"a\": 1,\n  \"b\": 2\n}");
}

TEST(JsonText, WritesArrays) {
  EXPECT_EQ(jsonArray({}), "[]");
  const std::vector<std::string> values = {"1", "{}", "\"a\""};
  EXPECT_EQ(jsonArray(values), "[1,{},\"a\"]");
  EXPECT_EQ(jsonArray(values, ",\n"), "[1,\n{},\n\"a\"]");
}

}  // namespace
}  // namespace quarrypack::captions
