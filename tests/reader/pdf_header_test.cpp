#include <gtest/gtest.h>

#include <string>

#include "reader/pdf_file.h"
#include "reader/pdf_header.h"
#include "reader/pdf_startxref.h"
#include "support/test_objects.h"

namespace {

typedef Objects_Fixture Header;
typedef Objects_Fixture Startxref;

struct Header_Case {
  std::string input;
  int level;  // -1: no header read
};

TEST_F(Header, LevelComesFromTheFirstNumberOfTheFile) {
  const Header_Case cases[] = {
      {"%PDF-1.7\n1 0 obj", 4},      // the version line is a comment
      {"%PDF-1.7\n%more\n1.4 ", 0},  // only exactly 1.4 gives level 0
      {"-1.4 ", 0},                  // absolute value
      {"1.5", 5},
      {std::string(1025, 'x') + "2 ", 5},  // the last offset tried is 1025
      {std::string(1026, 'x') + "2 ", -1},
      {"", -1},
  };
  for (const Header_Case& c : cases) {
    const std::string text = c.input;
    PDF_Header* header = nullptr;
    uint64_t count = PDF_Header_Read(&header, file, Input(text), 0);
    if (c.level < 0) {
      EXPECT_EQ(count, 0u) << c.input;
      EXPECT_EQ(header, nullptr);
      continue;
    }
    ASSERT_NE(header, nullptr) << c.input;
    EXPECT_GT(count, 0u);
    EXPECT_EQ(header->level, c.level) << c.input;
    EXPECT_EQ(header->second, 23);
    EXPECT_EQ(file->header_level, c.level);
    PDF_Header_Delete(&header, file);
  }
}

struct Startxref_Case {
  std::string name;
  std::string input;
  PDF_Result result;
  uint64_t offset;
};

TEST_F(Startxref, BackwardSearchFindsTheLastKeyword) {
  const Startxref_Case cases[] = {
      {"empty", "", PDF_RESULT_UNREADABLE, 0},
      {"shorter than 9 bytes", "startxre", PDF_RESULT_UNREADABLE, 0},
      {"keyword at offset 1", " startxref 5 ", PDF_RESULT_UNREADABLE, 0},
      {"keyword at offset 2", "  startxref 5 ", 0, 5},
      {"last of two", "xx startxref 5\n%%EOF\nstartxref 77\n%%EOF\n", 0, 77},
      {"junk after it", "xx startxref 9\n" + std::string(5000, 'j'), 0, 9},
      {"no number", "xx startxref x\n", PDF_RESULT_BAD_TRAILER, 0},
      {"number without terminator", "xx startxref 12", PDF_RESULT_BAD_TRAILER, 0},
      {"sign ignored", "xx startxref -12 ", 0, 12},
      {"past the first probe", std::string(1048580, ' ') + "startxref 31 ", 0, 31},
  };
  for (const Startxref_Case& c : cases) {
    const std::string text = c.input;
    uint64_t offset = 1234;
    EXPECT_EQ(PDF_Header_Find_Startxref(file, Input(text), &offset), c.result) << c.name;
    EXPECT_EQ(offset, c.offset) << c.name;
  }
  uint64_t offset = 0;
  Fail_Request(1);
  EXPECT_EQ(PDF_Header_Find_Startxref(file, Input("xx startxref 5 "), &offset), PDF_RESULT_OUT_OF_MEMORY);
}

}  // namespace
