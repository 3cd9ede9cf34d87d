#include <gtest/gtest.h>

#include <string>

#include "reader/pdf_read_data.h"
#include "support/test_memory.h"

namespace {

std::string Bytes(const char* text, size_t length) { return std::string(text, length); }

struct Keyword_Case {
  std::string input;
  uint64_t capacity;
  uint64_t count;
  uint64_t length;  // what the holder holds afterwards
  std::string token;
};

TEST(ReadDataTokens, Keyword) {
  const Keyword_Case cases[] = {
      {"obj", 5, 3, 3, "obj"},
      {"  obj ", 5, 5, 3, "obj"},
      {"%comment\nobj", 5, 12, 3, "obj"},
      {"abcde", 5, 5, 5, "abcde"},          // exactly the capacity
      {"abcdef", 5, 0, 5, ""},              // one byte more: refused, holder unchanged
      {Bytes("ab\0cd", 5), 5, 2, 2, "ab"},  // NUL ends a keyword
      {Bytes("\0\0ab", 4), 5, 4, 2, "ab"},  // and is skipped as white space
      {"%abc", 5, 0, 0, ""},                // comment without line end: '%' is a delimiter
      {"/Name", 5, 0, 0, ""},               // a delimiter first: length 0
      {"  /Name", 5, 2, 0, ""},             // only the skipped bytes count
      {"true]", 5, 4, 4, "true"},
      {"", 5, 0, 5, ""},
      {"obj", 0, 0, 0, ""},  // capacity 0 reads nothing
  };
  for (const Keyword_Case& c : cases) {
    Test_Input input{c.input, {}, {}};
    char buffer[16] = {};
    uint64_t length = c.capacity;
    uint64_t count = PDF_Read_Data_Read_Keyword(Test_Input_Reader(&input), buffer, &length, 0);
    EXPECT_EQ(count, c.count) << "input [" << c.input << "]";
    EXPECT_EQ(length, c.length) << "input [" << c.input << "]";
    if (!c.token.empty()) {
      EXPECT_EQ(std::string(buffer, length), c.token);
    }
  }
}

struct Number_Case {
  std::string input;
  uint64_t count;
  double value;
  uint8_t decimals;
};

TEST(ReadDataTokens, Number) {
  const Number_Case cases[] = {
      {"12", 2, 12.0, 0},  // end of data terminates
      {"1.", 2, 1.0, 1},   // no digit behind the point still counts one decimal
      {"-.5 ", 3, -0.5, 1}, {"+5 ", 2, 5.0, 0}, {"  3.25/", 6, 3.25, 2}, {"%c\n7 ", 4, 7.0, 0}, {"007]", 3, 7.0, 0},
      {".", 0, 0.0, 0},     {"-", 0, 0.0, 0},   {"12a", 0, 0.0, 0},      {"1.2.3", 0, 0.0, 0},  {"", 0, 0.0, 0},
  };
  for (const Number_Case& c : cases) {
    Test_Input input{c.input, {}, {}};
    double value = 99.0;
    uint8_t decimals = 99;
    uint64_t count = PDF_Read_Data_Read_Number(Test_Input_Reader(&input), &value, &decimals, 0);
    EXPECT_EQ(count, c.count) << "input [" << c.input << "]";
    EXPECT_EQ(value, c.value) << "input [" << c.input << "]";
    EXPECT_EQ(decimals, c.decimals) << "input [" << c.input << "]";
  }
}

struct Integer_Case {
  std::string input;
  uint64_t count;  // terminator included
  uint64_t value;
  int32_t sign;
};

TEST(ReadDataTokens, Integer) {
  const Integer_Case cases[] = {
      {"12", 0, 0, 1},  // needs a terminator
      {"12 ", 3, 12, 1},
      {"-5 ", 3, 5, -1},  // the sign never touches the value
      {"  7\n", 4, 7, 1},
      {"+5 ", 0, 0, 1},
      {"12/", 0, 0, 1},
      {"- 5 ", 0, 0, -1},
      {Bytes("9\0", 2), 2, 9, 1},
      {"18446744073709551617 ", 21, 1, 1},  // accumulates without overflow check
  };
  for (const Integer_Case& c : cases) {
    Test_Input input{c.input, {}, {}};
    uint64_t value = 99;
    int32_t sign = 0;
    uint64_t count = PDF_Read_Data_Read_Integer(Test_Input_Reader(&input), &value, 0, &sign);
    EXPECT_EQ(count, c.count) << "input [" << c.input << "]";
    if (c.count != 0) {
      EXPECT_EQ(value, c.value) << "input [" << c.input << "]";
    }
    EXPECT_EQ(sign, c.sign) << "input [" << c.input << "]";
  }
}

struct Skip_Case {
  std::string input;
  bool line;  // Skip_Line, else Skip_Space
  uint64_t count;
  uint8_t byte;  // 0xEE: left alone
};

TEST(ReadDataTokens, SkipLineAndSpace) {
  const Skip_Case cases[] = {
      {"abc\r\ndef", true, 4, 13},   {"abc\ndef", true, 4, 10},
      {"abc", true, 0, 0xEE},        {"   x", false, 4, 'x'},
      {"", false, 0, 0xEE},          {"  ", false, 0, 0xEE},
      {"%abc", false, 1, '%'},  // comment to the end: '%' is the significant byte
      {"%a\n%b\r z", false, 8, 'z'}, {Bytes("\0\t\f\r\n y", 7), false, 7, 'y'},
  };
  for (const Skip_Case& c : cases) {
    Test_Input input{c.input, {}, {}};
    uint8_t byte = 0xEE;
    PDF_Read_Data* reader = Test_Input_Reader(&input);
    uint64_t count = c.line ? PDF_Read_Data_Skip_Line(reader, 0, &byte) : PDF_Read_Data_Skip_Space(reader, 0, &byte);
    EXPECT_EQ(count, c.count) << "input [" << c.input << "]";
    EXPECT_EQ(byte, c.byte) << "input [" << c.input << "]";
  }
}

TEST(ReadData, ReadMemoryCallbackBounds) {
  const std::string bytes = "abcdef";
  PDF_Memory_Source source{reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()};
  char buffer[8] = {};
  EXPECT_EQ(PDF_Read_Data_Read_Memory(buffer, 1, 4, 8, nullptr, &source), 2u);
  EXPECT_EQ(std::string(buffer, 2), "ef");
  EXPECT_EQ(PDF_Read_Data_Read_Memory(buffer, 1, 6, 1, nullptr, &source), 0u);
  EXPECT_EQ(PDF_Read_Data_Read_Memory(buffer, 2, 0, 1, nullptr, &source), 0u);
  EXPECT_EQ(PDF_Read_Data_Read_Memory(buffer, 1, (1ull << 32) + 1, 1, nullptr, &source), 0u);
}

}  // namespace
