#include <gtest/gtest.h>

#include <string>

#include "reader/pdf_file.h"
#include "reader/pdf_header.h"
#include "support/test_objects.h"

namespace {

typedef Objects_Fixture Header;

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
    PDF_Header* header = nullptr;
    uint64_t count = PDF_Header_Read(&header, file, Input(c.input), 0);
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

}  // namespace
