// The JSON reader that the tool's tests trust must refuse what is not JSON.
#include <gtest/gtest.h>

#include "support/json_reader.h"

namespace {

TEST(Json_Reader, ReadsValidDocuments) {
  struct Case {
    const char* text;
    Json_Value::Kind kind;
  };
  const Case cases[] = {
      {"{}", Json_Value::Object},
      {" [1, -2.5e3, 0, 0.25] ", Json_Value::Array},
      {"{\"a\":{\"b\":[true,false,null]}}", Json_Value::Object},
      {"\"\\u00e9\\n\\\"\\\\\\/\"", Json_Value::String},
      {"\"\\ud83d\\ude00\"", Json_Value::String},
      {"\"caf\xC3\xA9\"", Json_Value::String},
      {"-0", Json_Value::Number},
      {"null", Json_Value::Null},
  };
  for (const Case& test : cases) {
    Json_Value value;
    std::string error;
    EXPECT_TRUE(Json_Parse(test.text, &value, &error)) << test.text << ": " << error;
    EXPECT_EQ(value.kind, test.kind) << test.text;
  }
}

TEST(Json_Reader, DecodesStringsAndKeepsMembersInOrder) {
  Json_Value value;
  ASSERT_TRUE(Json_Parse("{\"z\":\"\\u00e9\\ud83d\\ude00\\t\",\"a\":[1,{\"x\":2}]}", &value, nullptr));
  ASSERT_EQ(value.members.size(), 2u);
  EXPECT_EQ(value.members[0].first, "z");
  EXPECT_EQ(value.Find("z")->text, "\xC3\xA9\xF0\x9F\x98\x80\t");
  EXPECT_EQ(value.Find("a")->items[1].Find("x")->number, 2);
  EXPECT_EQ(value.Find("missing"), nullptr);
}

TEST(Json_Reader, RefusesWhatIsNotJson) {
  const char* const cases[] = {
      "",
      "{",
      "{\"a\":1,}",
      "[1,]",
      "{'a':1}",
      "{\"a\" 1}",
      "[01]",
      "[1.]",
      "[.5]",
      "[1e]",
      "NaN",
      "[+1]",
      "\"tab\there\"",
      "\"\\x41\"",
      "\"\\u12\"",
      "\"\\ud83d\"",
      "\"\\ude00\"",
      "\"\xFF\"",
      "\"\xC3\"",
      "\"\xE0\x80\x80\"",
      "\"\xED\xA0\x80\"",
      "{} {}",
      "[1] x",
      "tru",
      "\"unterminated",
  };
  for (const char* text : cases) {
    Json_Value value;
    std::string error;
    EXPECT_FALSE(Json_Parse(text, &value, &error)) << text;
    EXPECT_FALSE(error.empty()) << text;
  }
  std::string deep(300, '[');
  deep += std::string(300, ']');
  Json_Value value;
  EXPECT_FALSE(Json_Parse(deep, &value, nullptr));
}

}  // namespace
