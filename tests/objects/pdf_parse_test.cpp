// The value parser: which reader takes which text, the value it yields and
// how many bytes are consumed.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>

#include "objects/pdf_array.h"
#include "objects/pdf_boolean.h"
#include "objects/pdf_name.h"
#include "objects/pdf_number.h"
#include "objects/pdf_object_reference.h"
#include "objects/pdf_stream.h"
#include "objects/pdf_string.h"
#include "runtime/pdf_limits.h"
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
    // A stream's count ends behind the line end after its keyword: the data
    // is passed over by the length alone.
    {"<</Length 3>>stream\nabc\nendstream", 0, 20, "#9"},  // #9: a stream value
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

TEST_F(Value_Parser, AnAllocationThatFailsFailsTheValue) {
  // Each request of the parse refused in turn: the value fails whole and
  // consumes nothing, until the parse needs no more than it was given.
  for (const char* text : {"(abc)", "<</A [1 (b) <41>]>>"}) {
    bool reached = true;
    for (uint64_t n = 1; reached; ++n) {
      PDF_Data_Object* object = nullptr;
      allocator.fail_at = allocator.requests + n;
      const uint64_t count = Parse(text, &object);
      reached = allocator.requests >= allocator.fail_at;
      allocator.fail_at = 0;
      if (reached) {
        EXPECT_EQ(count, 0u) << text << ", request " << n;
        EXPECT_EQ(object, nullptr) << text << ", request " << n;
      } else {
        EXPECT_EQ(count, strlen(text)) << text;
      }
      Delete(&object);
    }
  }
}

TEST_F(Value_Parser, NestingStopsAtTheLimit) {
  // Values nest up to the limit and no further; the same position read twice
  // gives the same answer (readers keep nothing), and the count of nesting
  // under way is back at 0 after each read.
  for (uint32_t depth : {PDF_NESTING_LIMIT, PDF_NESTING_LIMIT + 1}) {
    const bool fits = depth <= PDF_NESTING_LIMIT;
    for (const char* open : {"[", "<</K "}) {
      const bool array = open[0] == '[';
      std::string text = " ";
      for (uint32_t i = 0; i < depth - 1; ++i) text += open;
      text += "1";
      for (uint32_t i = 0; i < depth - 1; ++i) text += array ? "]" : ">>";
      for (int8_t level : {int8_t{0}, int8_t{3}}) {
        file->tolerance_level = level;
        for (int round = 0; round < 2; ++round) {
          PDF_Data_Object* object = nullptr;
          uint64_t count = PDF_Data_Object_Read(&object, file, Input(text), 1);
          // A tolerant dictionary skips the value past the limit and keeps
          // the levels above it.
          const bool read = fits || (!array && level >= 2);
          EXPECT_EQ(count, read ? text.size() - 1 : 0u) << open << depth << " at level " << int(level);
          EXPECT_EQ(object != nullptr, read);
          EXPECT_EQ(file->nesting_depth, 0u);
          if (fits && array) {
            EXPECT_EQ(Show(object), text.substr(1));
          }
          if (object != nullptr) Delete(&object);
        }
      }
    }
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

// Every reader asked in the fixed order, the first that accepts deciding: the
// value parser as it was before it looked at the first byte.
uint64_t Read_By_Every_Reader(PDF_Data_Object** out, PDF_File* file, PDF_Read_Data* reader) {
  *out = nullptr;
  auto wrap = [&](int32_t type, void* value, uint64_t count) -> uint64_t {
    if (PDF_Data_Object_Create(out, file, type, value) == 0) return count;
    *out = nullptr;
    if (value != nullptr) PDF_Data_Object_Delete_Value(type, &value, file, PDF_DELETE_MODE_RELEASE);
    return 0;
  };
  PDF_Array* array = nullptr;
  uint64_t count = PDF_Array_Read(&array, file, reader, 0);
  if (count != 0) return wrap(PDF_Data_Type_Array, array, count);
  PDF_Stream* stream = nullptr;
  PDF_Dictionary* dictionary = nullptr;
  count = PDF_Stream_Read(&stream, &dictionary, file, reader, 0);
  if (count != 0) {
    if (stream != nullptr) return wrap(PDF_Data_Type_Stream, stream, count);
    return dictionary != nullptr ? wrap(PDF_Data_Type_Dictionary, dictionary, count) : 0;
  }
  PDF_Object_Reference* reference = nullptr;
  count = PDF_Object_Reference_Read(&reference, file, reader, 0);
  if (count != 0) {
    return reference == nullptr ? wrap(PDF_Data_Type_Null, nullptr, count)
                                : wrap(PDF_Data_Type_Reference, reference, count);
  }
  PDF_Number* number = nullptr;
  count = PDF_Number_Read(&number, file, reader, 0);
  if (count != 0) return wrap(PDF_Data_Type_Number, number, count);
  count = PDF_Null_Read(reader, 0);
  if (count != 0) return wrap(PDF_Data_Type_Null, nullptr, count);
  PDF_Boolean* boolean = nullptr;
  count = PDF_Boolean_Read(&boolean, file, reader, 0);
  if (count != 0) return wrap(PDF_Data_Type_Boolean, boolean, count);
  PDF_Name* name = nullptr;
  count = PDF_Name_Read(&name, file, reader, 0);
  if (count != 0) return wrap(PDF_Data_Type_Name, name, count);
  PDF_String* string = nullptr;
  count = PDF_String_Read(&string, file, reader, 0);
  if (count != 0) return wrap(PDF_Data_Type_String, string, count);
  return 0;
}

TEST_F(Value_Parser, ReadersThatCantAcceptTheFirstByteAreSkippedWithoutChangingAnyAnswer) {
  // The cases above, each behind white space and behind a comment, and
  // random texts made of the syntax's bytes, at every level.
  std::vector<std::string> texts;
  for (const Parse_Case& c : kCases) {
    texts.push_back(c.text);
    texts.push_back(std::string(" \t\r\n") + c.text);
    texts.push_back(std::string("%note\n") + c.text);
    texts.push_back(std::string("%note\r ") + c.text);
  }
  const std::string alphabet = std::string("0123456789-+. \n\r%/()<>[]{}\\Rnultrefasx#") + std::string(1, '\0');
  std::mt19937 generator(11);
  for (int i = 0; i < 6000; ++i) {
    std::string text;
    for (size_t length = generator() % 14; length > 0; --length) text += alphabet[generator() % alphabet.size()];
    texts.push_back(text);
  }
  for (int8_t level = 0; level <= 4; ++level) {
    file->tolerance_level = level;
    for (const std::string& text : texts) {
      PDF_Data_Object* expected = nullptr;
      PDF_Data_Object* actual = nullptr;
      uint64_t expected_count = Read_By_Every_Reader(&expected, file, Input(text));
      uint64_t actual_count = Parse(text, &actual);
      EXPECT_EQ(actual_count, expected_count) << '"' << text << "\" at level " << int(level);
      EXPECT_EQ(Show(actual), Show(expected)) << '"' << text << "\" at level " << int(level);
      Delete(&expected);
      Delete(&actual);
    }
  }
}

}  // namespace
