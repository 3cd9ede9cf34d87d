// The keyword reader: white space and comments skipped, the capacity, and
// the bytes that end a keyword.
#include <gtest/gtest.h>

#include <cstring>
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

// The windows against one callback call per byte: every token reader at
// every position answers alike, over callbacks that deliver whole windows,
// that deliver one byte a call, and that cut positions to 32 bits and refuse
// the negative ones (as the stdio callback does) around 2 GiB and 4 GiB.
struct Virtual_Input {
  std::string text;  // repeated over the whole address range
  bool cut;          // positions cut to 32 bits, the negative ones refused
  uint64_t at_most;  // bytes delivered a call
};

uint64_t Virtual_Read(void* buffer, uint32_t mode, uint64_t position, uint64_t count, const char*, void* context) {
  const Virtual_Input* input = static_cast<const Virtual_Input*>(context);
  if (mode != 1) return 0;
  if (input->cut) {
    int32_t cut = static_cast<int32_t>(static_cast<uint32_t>(position));
    if (cut < 0) return 0;
    position = static_cast<uint64_t>(cut);
  }
  const uint64_t end = uint64_t{5} << 32;  // the input ends at 20 GiB
  uint64_t n = 0;
  for (; n < count && n < input->at_most && position + n < end; ++n) {
    static_cast<uint8_t*>(buffer)[n] = static_cast<uint8_t>(input->text[(position + n) % input->text.size()]);
  }
  return n;
}

// The callback as the readers used to meet it: one byte a call.
uint64_t One_Byte_Read(void* buffer, uint32_t mode, uint64_t position, uint64_t count, const char* path,
                       void* context) {
  return count == 1 ? Virtual_Read(buffer, mode, position, count, path, context) : 0;
}

std::string Tokens_At(PDF_Read_Data* reader, uint64_t position) {
  uint8_t byte = 0;
  char keyword[8];
  uint64_t length = sizeof(keyword);
  double number = 0;
  uint8_t decimals = 0;
  uint64_t integer = 0;
  int32_t sign = 0;
  std::string out = std::to_string(PDF_Read_Data_Skip_Space(reader, position, &byte)) + "/" + std::to_string(byte);
  out += " " + std::to_string(PDF_Read_Data_Skip_Line(reader, position, &byte));
  uint64_t used = PDF_Read_Data_Read_Keyword(reader, keyword, &length, position);
  out += " " + std::to_string(used) + ":" + std::string(keyword, used == 0 ? 0 : length);
  out += " " + std::to_string(PDF_Read_Data_Read_Number(reader, &number, &decimals, position)) + "=" +
         std::to_string(number) + "." + std::to_string(decimals);
  out += " " + std::to_string(PDF_Read_Data_Read_Integer(reader, &integer, position, &sign)) + "=" +
         std::to_string(integer) + "," + std::to_string(sign);
  return out;
}

TEST(ReadDataWindows, TokensAsOneByteACall) {
  Test_Allocator allocator{};
  PDF_Memory memory = Test_Memory(&allocator);
  const std::string text = "12 0 obj\r<< /Type /Page %c\n/N -3.25 >> 4 5 R\nendobj ";
  const uint64_t giga = uint64_t{1} << 30;
  for (const Virtual_Input& input : {Virtual_Input{text, false, ~uint64_t{0}}, Virtual_Input{text, false, 1},
                                     Virtual_Input{text, true, 700}, Virtual_Input{text, true, ~uint64_t{0}}}) {
    PDF_Read_Data* windowed = nullptr;
    PDF_Read_Data* plain = nullptr;
    ASSERT_EQ(PDF_Read_Data_Create(&windowed, &memory, Virtual_Read, const_cast<Virtual_Input*>(&input), nullptr), 0);
    ASSERT_EQ(PDF_Read_Data_Create(&plain, &memory, One_Byte_Read, const_cast<Virtual_Input*>(&input), nullptr), 0);
    for (uint64_t around : {uint64_t{0}, 2 * giga, 4 * giga, 5 * 4 * giga}) {
      for (uint64_t position = around < 3000 ? 0 : around - 3000; position < around + 3000; position += 7) {
        EXPECT_EQ(Tokens_At(windowed, position), Tokens_At(plain, position)) << position;
      }
    }
    EXPECT_EQ(PDF_Read_Data_Release(&windowed, &memory), 0);
    EXPECT_EQ(PDF_Read_Data_Release(&plain, &memory), 0);
  }
  EXPECT_EQ(allocator.live, 0);
}

}  // namespace
