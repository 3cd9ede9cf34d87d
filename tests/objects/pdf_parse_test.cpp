// The value parser: which reader takes which text, the tag it yields, what
// value comes out and how many bytes are consumed.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>

#include "objects/pdf_array.h"
#include "objects/pdf_boolean.h"
#include "objects/pdf_dictionary.h"
#include "objects/pdf_name.h"
#include "objects/pdf_number.h"
#include "objects/pdf_object_reference.h"
#include "objects/pdf_string.h"
#include "support/test_objects.h"

namespace {

struct Scalar_Case {
  const char* text;
  int32_t tag;        // 0: no value
  uint64_t consumed;
  double number;      // tag 4: value; tag 3: 1 or 0; tag 2: object number
  uint32_t detail;    // tag 4: decimals; tag 2: generation; tag 5: kind
  const char* bytes;  // tags 5 and 6: content (null: no bytes stored)
};

const Scalar_Case kScalarCases[] = {
    // Numbers.
    {"5", 4, 1, 5, 0, nullptr}, {"-5 ", 4, 2, -5, 0, nullptr}, {"5.0 ", 4, 3, 5, 1, nullptr},
    {"5. ", 4, 2, 5, 1, nullptr}, {"0.50 ", 4, 4, 0.5, 2, nullptr}, {"-.5)", 4, 3, -0.5, 1, nullptr},
    {"1/Name", 4, 1, 1, 0, nullptr}, {"% note\n42]", 4, 9, 42, 0, nullptr}, {"1x", 0, 0, 0, 0, nullptr},
    {"1e5", 0, 0, 0, 0, nullptr}, {"1.2.3", 0, 0, 0, 0, nullptr}, {".", 0, 0, 0, 0, nullptr},
    {"-", 0, 0, 0, 0, nullptr}, {"--5", 0, 0, 0, 0, nullptr},
    // References and what falls back to numbers.
    {"5 0 R", 2, 5, 5, 0, nullptr}, {"5 0 R]", 2, 5, 5, 0, nullptr}, {"12 3 R ", 2, 6, 12, 3, nullptr},
    {"5 % c\n 0 R", 2, 10, 5, 0, nullptr}, {"-5 0 R ", 2, 6, 5, 0, nullptr}, {"5 -1 R", 2, 6, 5, 1, nullptr},
    {"5 0 Rx", 4, 1, 5, 0, nullptr}, {"5 0R", 4, 1, 5, 0, nullptr}, {"5 0", 4, 1, 5, 0, nullptr},
    {"1.5 0 R", 4, 3, 1.5, 1, nullptr}, {"+1 0 R", 4, 2, 1, 0, nullptr}, {"0 0 R", 1, 5, 0, 0, nullptr},
    {"0 7 R", 1, 5, 0, 0, nullptr},
    // Null and booleans ("truex" is taken whole, "truexy" isn't).
    {"null", 1, 4, 0, 0, nullptr}, {" null/", 1, 5, 0, 0, nullptr}, {"nullx", 0, 0, 0, 0, nullptr},
    {"Null", 0, 0, 0, 0, nullptr}, {"true", 3, 4, 1, 0, nullptr}, {"truex", 3, 5, 1, 0, nullptr},
    {"true/Name", 3, 4, 1, 0, nullptr}, {"truexy", 0, 0, 0, 0, nullptr}, {"false]", 3, 5, 0, 0, nullptr},
    {"falsx", 0, 0, 0, 0, nullptr},
    // Names keep their # escapes raw.
    {"/", 6, 1, 0, 0, nullptr}, {"/A#20B", 6, 6, 0, 0, "A#20B"}, {"/A/B", 6, 2, 0, 0, "A"},
    {" %c\n/X ", 6, 6, 0, 0, "X"}, {"/a.b-c{", 6, 6, 0, 0, "a.b-c"},
    // Strings keep their escapes raw.
    {"()", 5, 2, 0, 1, nullptr}, {"(a(b)c)", 5, 7, 0, 1, "a(b)c"}, {"(a\\)b)", 5, 6, 0, 1, "a\\)b"},
    {"(a\\\\)b)", 5, 5, 0, 1, "a\\\\"}, {"(a\\(b)", 5, 6, 0, 1, "a\\(b"}, {"(abc", 0, 0, 0, 0, nullptr},
    {"(a(b)", 0, 0, 0, 0, nullptr}, {"<4 1>", 5, 5, 0, 2, "4 1"}, {"<>", 5, 2, 0, 2, nullptr},
    {"<4G>", 0, 0, 0, 0, nullptr}, {"<41", 0, 0, 0, 0, nullptr}, {"<<", 0, 0, 0, 0, nullptr},
    {"<</A 1>", 0, 0, 0, 0, nullptr},
    // Nothing takes these.
    {"", 0, 0, 0, 0, nullptr}, {"endobj", 0, 0, 0, 0, nullptr}, {")", 0, 0, 0, 0, nullptr},
    {">>", 0, 0, 0, 0, nullptr},
};

class Parse_Scalar : public Objects_Fixture, public ::testing::WithParamInterface<Scalar_Case> {};

TEST_P(Parse_Scalar, TagValueAndCount) {
  const Scalar_Case& c = GetParam();
  PDF_Data_Object* object = nullptr;
  ASSERT_EQ(Parse(c.text, &object), c.consumed) << '"' << c.text << '"';
  ASSERT_EQ(PDF_Data_Object_Get_Type(object), c.tag) << '"' << c.text << '"';
  if (c.tag == 0) {
    EXPECT_EQ(object, nullptr);
  } else if (c.tag == 1) {
    EXPECT_EQ(object->value, nullptr);
  } else if (c.tag == 2) {
    auto* reference = static_cast<PDF_Object_Reference*>(object->value);
    EXPECT_EQ(reference->target, nullptr);
    EXPECT_EQ(reference->number, static_cast<uint32_t>(c.number));
    EXPECT_EQ(reference->generation, c.detail);
    EXPECT_EQ(reference->owner, object);
  } else if (c.tag == 3) {
    EXPECT_EQ(*static_cast<PDF_Boolean*>(object->value), static_cast<uint8_t>(c.number));
  } else if (c.tag == 4) {
    auto* number = static_cast<PDF_Number*>(object->value);
    EXPECT_EQ(PDF_Number_Get_Real(number), c.number);
    EXPECT_EQ(PDF_Number_Get_Decimals(number), c.detail);
    EXPECT_EQ(number->owner, object);
  } else {
    auto* string = static_cast<PDF_String*>(object->value);
    EXPECT_EQ(string->kind, c.tag == 6 ? 0u : c.detail);
    EXPECT_EQ(string->owner, object);
    EXPECT_EQ(string->length, c.bytes == nullptr ? 0u : strlen(c.bytes));
    if (c.bytes != nullptr) {
      EXPECT_EQ(std::string(reinterpret_cast<char*>(string->bytes), string->length), c.bytes);
      EXPECT_EQ(string->bytes[string->length], 0) << "content is NUL-terminated";
    }
  }
  Delete(&object);
}

INSTANTIATE_TEST_SUITE_P(Readers, Parse_Scalar, ::testing::ValuesIn(kScalarCases));

class Value_Parser : public Objects_Fixture {
 protected:
  // The real value of a number text; the parsed object is released.
  double Real_Of(const std::string& text, uint8_t* decimals = nullptr) {
    PDF_Data_Object* object = Value(text);
    if (object == nullptr) return -12345;
    double real = PDF_Number_Get_Real(static_cast<PDF_Number*>(object->value));
    if (decimals != nullptr) *decimals = PDF_Number_Get_Decimals(static_cast<PDF_Number*>(object->value));
    Delete(&object);
    return real;
  }
};

TEST_F(Value_Parser, ReadsFromTheGivenPositionWithoutState) {
  EXPECT_EQ(PDF_Data_Object_Read(nullptr, file, Input("1"), 0), static_cast<uint64_t>(int64_t{-500}));
  PDF_Read_Data* reader = Input("[1 2 R 3 4]");
  // The same position read twice gives the same answer: readers keep nothing.
  for (uint64_t position : {1u, 1u, 6u}) {
    PDF_Data_Object* object = nullptr;
    EXPECT_EQ(PDF_Data_Object_Read(&object, file, reader, position), position == 1 ? 5u : 2u);
    EXPECT_EQ(PDF_Data_Object_Get_Type(object), position == 1 ? PDF_Data_Type_Reference : PDF_Data_Type_Number);
    Delete(&object);
  }
}

TEST_F(Value_Parser, NumberQuirks) {
  // The fraction is summed digit by digit, which differs from a correctly
  // rounded conversion.
  EXPECT_EQ(Real_Of("0.3 "), 0.1 * 3);
  EXPECT_NE(Real_Of("0.3 "), 0.3);
  EXPECT_EQ(Real_Of("-2.675 "), -(2.0 + 0.1 * 6 + (0.1 * 0.1) * 7 + (0.1 * 0.1 * 0.1) * 5));
  double zero = Real_Of("-0 ");
  EXPECT_TRUE(zero == 0.0 && std::signbit(zero)) << "'-0' is negative zero";
  EXPECT_TRUE(std::isinf(Real_Of("1" + std::string(400, '0') + " ")));
  uint8_t decimals = 0;
  Real_Of("0." + std::string(300, '1') + " ", &decimals);
  EXPECT_EQ(decimals, 300 % 256) << "decimals wrap";
  EXPECT_EQ(Real_Of("9007199254740993 "), 9007199254740992.0) << "2^53 + 1 loses its last digit";
}

TEST_F(Value_Parser, ReferenceRuleInsideArrays) {
  struct {
    const char* text;
    std::vector<int32_t> tags;
  } cases[] = {
      {"[5 0 R]", {2}}, {"[5 0]", {4, 4}}, {"[1 2 R 3 4]", {2, 4, 4}}, {"[1 2 3 R]", {4, 2}}, {"[0 0 R]", {1}},
      {"[/A(b)<c>[]<<>>true]", {6, 5, 5, 7, 8, 3}}, {"[ ]", {}}, {"[%c\n1%d\n]", {4}},
  };
  for (const auto& c : cases) {
    PDF_Data_Object* object = nullptr;
    ASSERT_EQ(Parse(c.text, &object), strlen(c.text)) << c.text;
    auto* array = static_cast<PDF_Array*>(PDF_Data_Object_Get_Direct_Value(object, PDF_Data_Type_Array));
    ASSERT_EQ(PDF_Array_Get_Count(array), c.tags.size()) << c.text;
    for (uint32_t i = 0; i < c.tags.size(); ++i) {
      EXPECT_EQ(PDF_Data_Object_Get_Type(PDF_Array_Get_Value(array, i)), c.tags[i]) << c.text << " #" << i;
    }
    if (c.text == std::string("[1 2 3 R]")) {  // the reference is to object 2
      auto* reference = static_cast<PDF_Object_Reference*>(PDF_Array_Get_Value(array, 1)->value);
      EXPECT_EQ(reference->number, 2u);
      EXPECT_EQ(reference->generation, 3u);
    }
    Delete(&object);
  }
}

TEST_F(Value_Parser, ArraysFailWholeAtEveryLevelAndNestWithoutLimit) {
  for (int8_t level = 0; level <= 4; ++level) {
    file->tolerance_level = level;
    for (const char* text : {"[1 abc 2]", "[", "[(a]", "[endobj]", "[1 [2 x] 3]"}) {
      PDF_Data_Object* object = nullptr;
      EXPECT_EQ(Parse(text, &object), 0u) << text << " at level " << int(level);
      EXPECT_EQ(object, nullptr);
    }
  }
  const int depth = 2000;
  std::string text = std::string(depth, '[') + "1" + std::string(depth, ']');
  PDF_Data_Object* object = nullptr;
  ASSERT_EQ(Parse(text, &object), text.size());
  PDF_Data_Object* at = object;
  for (int i = 0; i < depth && at != nullptr && at->type == PDF_Data_Type_Array; ++i) {
    at = PDF_Array_Get_Value(static_cast<PDF_Array*>(at->value), 0);
  }
  EXPECT_EQ(PDF_Data_Object_Get_Type(at), PDF_Data_Type_Number);
  Delete(&object);
}

// Keys in list order with the type of each value.
std::string Describe(PDF_Dictionary* dictionary) {
  std::string out;
  for (uint32_t i = 0; i < PDF_Dictionary_Get_Count(dictionary); ++i) {
    PDF_Name* key = nullptr;
    PDF_Data_Object* value = nullptr;
    if (PDF_Dictionary_Get_Entry_At(dictionary, i, &key, &value) != 0) return "error";
    const char* text = PDF_Name_Get_Text(key);
    out += std::string(out.empty() ? "" : " ") + (text == nullptr ? "" : text) + '=';
    out += value->type == PDF_Data_Type_Number
               ? std::to_string(PDF_Number_Get_Integer(static_cast<PDF_Number*>(value->value)))
               : "#" + std::to_string(value->type);
  }
  return out;
}

struct Dictionary_Case {
  const char* text;
  int8_t level;
  const char* entries;  // null: not read
};

const Dictionary_Case kDictionaryCases[] = {
    {"<<>>", 0, ""}, {"<< /A 1 >>", 0, "A=1"}, {"<</A 1 /B 2 /A 3>>", 0, "B=2 A=3"}, {"<</A 1 /A null>>", 0, "A=1"},
    {"<</A null>>", 0, ""}, {"<</A 0 0 R /B 2>>", 0, "B=2"}, {"<</A 5 0 R>>", 0, "A=#2"},
    {"<</A<</B[1]>>/C(x)>>", 0, "A=#8 C=#5"}, {"<</A 1%c\n>>", 0, "A=1"}, {"<</A>>", 1, nullptr},
    {"<</A>>", 2, ""}, {"<</A 1 /B zz /C 3>>", 1, nullptr}, {"<</A 1 /B zz /C 3>>", 2, "A=1 C=3"},
    {"<</A 1 /B zz yy /C 3>>", 3, "A=1 C=3"}, {"<</A 1 /B zz", 3, nullptr}, {"<<1 2>>", 3, nullptr},
    {"<</A 1 (k) 2>>", 3, nullptr}, {"<</A 1> >", 3, nullptr}, {"<</A [1 x]>>", 1, nullptr},
    {"<</A [1 x] /B 2>>", 2, "B=2"}, {"< </A 1>>", 3, nullptr},
};

class Parse_Dictionary : public Objects_Fixture, public ::testing::WithParamInterface<Dictionary_Case> {};

TEST_P(Parse_Dictionary, EntriesAndTolerance) {
  const Dictionary_Case& c = GetParam();
  file->tolerance_level = c.level;
  PDF_Data_Object* object = nullptr;
  uint64_t consumed = Parse(c.text, &object);
  if (c.entries == nullptr) {
    EXPECT_EQ(consumed, 0u) << c.text;
    EXPECT_EQ(object, nullptr);
    return;
  }
  ASSERT_EQ(consumed, strlen(c.text)) << c.text;
  ASSERT_EQ(PDF_Data_Object_Get_Type(object), PDF_Data_Type_Dictionary);
  auto* dictionary = static_cast<PDF_Dictionary*>(object->value);
  EXPECT_EQ(dictionary->owner, object);
  EXPECT_EQ(Describe(dictionary), c.entries) << c.text << " at level " << int(c.level);
  Delete(&object);
}

INSTANTIATE_TEST_SUITE_P(Readers, Parse_Dictionary, ::testing::ValuesIn(kDictionaryCases));

TEST_F(Value_Parser, NameKeepsOnlyTheBytesAfterItsLastFull512) {
  for (auto c : {std::pair<size_t, size_t>{511, 511}, {512, 0}, {600, 88}, {1030, 6}}) {
    std::string body;
    for (size_t i = 0; i < c.first; ++i) body += static_cast<char>('a' + i % 26);
    PDF_Data_Object* object = nullptr;
    ASSERT_EQ(Parse("/" + body + " ", &object), c.first + 1) << "the whole token is consumed";
    auto* name = static_cast<PDF_Name*>(object->value);
    ASSERT_EQ(name->length, c.second) << c.first;
    if (c.second != 0) {
      EXPECT_EQ(std::string(PDF_Name_Get_Text(name)), body.substr(c.first - c.second));
    }
    Delete(&object);
  }
}

TEST_F(Value_Parser, LongStringsAreStoredWhole) {
  for (size_t length : {1023u, 1024u, 1025u, 5000u}) {
    std::string body(length, 'x');
    for (size_t i = 0; i < length; i += 7) body[i] = static_cast<char>('0' + i % 10);
    for (const std::string& text : {"(" + body + ")", "<" + std::string(length, 'a') + ">"}) {
      PDF_Data_Object* object = Value(text);
      auto* string = static_cast<PDF_String*>(object->value);
      EXPECT_EQ(string->kind, text[0] == '(' ? 1u : 2u);
      EXPECT_EQ(std::string(reinterpret_cast<char*>(string->bytes), string->length), text.substr(1, length));
      Delete(&object);
    }
  }
}

}  // namespace
