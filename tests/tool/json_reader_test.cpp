// The JSON reader that the tool's tests trust: kinds, member order, and the
// refusals that the tool's escaping must never provoke.
#include "support/json_reader.h"

#include <gtest/gtest.h>

namespace {

TEST(Json_Reader, ReadsValuesInOrderAndRefusesWhatIsNotStrictJson) {
  Json_Value value;
  ASSERT_TRUE(Json_Parse(" {\"z\":\"\\u00e9\\ud83d\\ude00\\t\",\"a\":[1,{\"x\":true}],\"n\":null} ", &value, nullptr));
  ASSERT_EQ(value.members.size(), 3u);
  EXPECT_EQ(value.members[0].first, "z");
  EXPECT_EQ(value.Find("z")->text, "\xC3\xA9\xF0\x9F\x98\x80\t");
  EXPECT_EQ(value.Find("a")->items[0].number, 1);
  EXPECT_TRUE(value.Find("a")->items[1].Find("x")->boolean);
  EXPECT_EQ(value.Find("n")->kind, Json_Value::Null);
  EXPECT_EQ(value.Find("missing"), nullptr);
  // A raw control character, a byte that isn't UTF-8, a lone surrogate, a
  // trailing comma and a second value.
  for (const char* text : {"\"tab\there\"", "\"\xFF\"", "\"\\ud83d\"", "[1,]", "{} {}"}) {
    std::string error;
    EXPECT_FALSE(Json_Parse(text, &value, &error)) << text;
    EXPECT_FALSE(error.empty()) << text;
  }
}

}  // namespace
