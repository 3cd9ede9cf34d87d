// The value parser: which reader takes which text, the value it yields and
// how many bytes are consumed.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "support/test_objects.h"
#include "support/test_show.h"

namespace {

struct Parse_Case {
  const char* text;
  int8_t level;      // tolerance level
  int64_t consumed;  // -1: the whole text
  const char* shown;
};

const Parse_Case kCases[] = {
    // Numbers.
    {"-.5)", 0, 3, "-0.5d1"},
    {".5 ", 0, 2, "0.5d1"},
    {"1/Name", 0, 1, "1"},
    {"% note\n42]", 0, 9, "42"},
    {"1.2.3", 0, 0, "-"},
    // References (the sign of the number is dropped) and what falls back to numbers.
    {"5 % c\n 0 R", 0, 10, "R5.0"},
    {"-5 0 R ", 0, 6, "R5.0"},
    {"5 -1 R", 0, 6, "R5.1"},
    {"5 0 Rx", 0, 1, "5"},
    {"1.5 0 R", 0, 3, "1.5d1"},
    {"+1 0 R", 0, 2, "1"},
    {"0 7 R", 0, 5, "null"},
    // Null and booleans ("truex" is taken whole, "truexy" isn't).
    {" null/", 0, 5, "null"},
    {"nullx", 0, 0, "-"},
    {"nullxy", 0, 0, "-"},  // too long a token for the null reader
    {"truex", 0, 5, "true"},
    {"truexy", 0, 0, "-"},
    {"false]", 0, 5, "false"},
    // Names and strings keep their escapes raw.
    {"/A#20B/C", 0, 6, "/A#20B"},
    {"/a.b-c{", 0, 6, "/a.b-c"},
    {"(a\\\\)b)", 0, 5, "(a\\\\)"},
    {"(a(b)", 0, 0, "-"},
    {"<4 1>", 0, 5, "<4 1>"},
    {"<4G>", 0, 0, "-"},
    {"<41", 0, 0, "-"},
    // The reference rule inside arrays.
    {"[1 2 R 3 4]", 0, -1, "[R1.2 3 4]"},
    {"[1 2 3 R]", 0, -1, "[1 R2.3]"},
    {"[0 0 R]", 0, -1, "[null]"},
    // Dictionaries: the last of a repeated key wins and moves to the end; null
    // values drop the entry; damage is forgiven by the tolerance level.
    {"<</A 1 /B 2 /A 3>>", 0, -1, "<</B 2 /A 3>>"},
    {"<</A 1 /A null>>", 0, -1, "<</A 1>>"},
    {"<</A 0 0 R /B 2>>", 0, -1, "<</B 2>>"},
    {"<</A>>", 1, 0, "-"},
    {"<</A 1 /B zz /C 3>>", 1, 0, "-"},
    {"<</A 1 /B zz /C 3>>", 2, -1, "<</A 1 /C 3>>"},
    {"<</A 1 /B zz yy /C 3>>", 3, -1, "<</A 1 /C 3>>"},
    {"<</A 1 /B zz", 3, 0, "-"},
    {"<<1 2>>", 3, 0, "-"},
    {"<</A [1 x] /B 2>>", 2, -1, "<</B 2>>"},
};

class Parse_Value : public Objects_Fixture, public ::testing::WithParamInterface<Parse_Case> {};

TEST_P(Parse_Value, ValueAndCount) {
  const Parse_Case& c = GetParam();
  file->tolerance_level = c.level;
  PDF_Data_Object* object = nullptr;
  EXPECT_EQ(Parse(c.text, &object), c.consumed < 0 ? strlen(c.text) : uint64_t(c.consumed)) << '"' << c.text << '"';
  EXPECT_EQ(Show(object), c.shown) << '"' << c.text << "\" at level " << int(c.level);
  Delete(&object);
}

INSTANTIATE_TEST_SUITE_P(Readers, Parse_Value, ::testing::ValuesIn(kCases));

using Value_Parser = Objects_Fixture;

TEST_F(Value_Parser, ArraysNestWithoutLimit) {
  // No depth limit but the stack's; and the same position read twice gives
  // the same answer: readers keep nothing.
  const int depth = 2000;
  std::string text = "[" + std::string(depth, '[') + "1" + std::string(depth, ']') + " 2]";
  for (uint64_t position : {1u, 1u}) {
    PDF_Data_Object* object = nullptr;
    ASSERT_EQ(PDF_Data_Object_Read(&object, file, Input(text), position), 2u * depth + 1);
    EXPECT_EQ(Show(object), text.substr(1, 2 * depth + 1));
    Delete(&object);
  }
}

// From level 2 a damaged value inside a dictionary is skipped to the next "/",
// which may lie inside a nested dictionary that already failed. Each level of
// nesting used to parse its inner dictionaries again, doubling the work per
// level; a failed position is now parsed once per outermost read. The answer
// stays a failure that leaves nothing behind.
TEST_F(Value_Parser, NestedFailedDictionariesAreParsedOncePerRead) {
  const int depth = 14;  // 2^14 parses of the innermost dictionary without the record
  for (const std::string& level_text : {std::string("<</K ["), std::string("<</K <</L 1 /M ")}) {
    std::string text;
    for (int i = 0; i < depth; ++i) text += level_text;
    for (int8_t level = 2; level <= 4; ++level) {
      file->tolerance_level = level;
      uint64_t requests = allocator.requests;
      PDF_Data_Object* object = nullptr;
      EXPECT_EQ(Parse(text, &object), 0u) << level_text << " at level " << int(level);
      EXPECT_EQ(object, nullptr);
      EXPECT_LT(allocator.requests - requests, 40u * depth * depth) << level_text << " at level " << int(level);
      EXPECT_EQ(file->dictionary_failures, nullptr) << "the record ends with the outermost read";
    }
  }
}

}  // namespace
