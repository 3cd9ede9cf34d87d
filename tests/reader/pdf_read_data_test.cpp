// The keyword reader: white space and comments skipped, the capacity, and
// the bytes that end a keyword.
#include <gtest/gtest.h>

#include <string>

#include "reader/pdf_read_data.h"
#include "support/test_objects.h"

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
      {"   ", 5, 0, 5, ""},
      {"obj", 0, 0, 0, ""},  // capacity 0 reads nothing
      {"R", 1, 1, 1, "R"},   // a capacity of one byte reads one
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

}  // namespace
