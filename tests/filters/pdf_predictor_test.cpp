#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "filters/pdf_predictor.h"

namespace {

typedef std::vector<uint8_t> Bytes;

TEST(PdfPredictor, Decode) {
  const struct {
    const char* name;
    uint8_t predictor, colors;
    uint32_t columns;
    Bytes input;
    PDF_Result result;
    Bytes expected;  // the decoded bytes on success; on failure the whole buffer
  } cases[] = {
      // TIFF: running sums per component, wrapping at 256.
      {"tiff, two rows", 2, 1, 4, {1, 2, 3, 4, 10, 20, 30, 40}, 0, {1, 3, 6, 10, 10, 30, 60, 100}},
      {"tiff, three colours",
       2,
       3,
       2,
       {10, 20, 30, 1, 2, 3, 200, 100, 50, 100, 200, 250},
       0,
       {10, 20, 30, 11, 22, 33, 200, 100, 50, 44, 44, 44}},
      {"tiff, short last row", 2, 1, 3, {1, 1, 1, 5, 5}, 0, {1, 2, 3, 5, 10}},
      {"tiff, one pixel a row", 2, 2, 1, {1, 2, 3, 4}, 0, {1, 2, 3, 4}},
      // No byte in a row: nothing to sum, and the call ends. 2 x 2^31 is 0 in 32 bits.
      {"tiff, no columns", 2, 1, 0, {7, 8, 9}, 0, {7, 8, 9}},
      {"tiff, row size wraps to 0", 2, 2, 0x80000000u, {7, 8, 9}, 0, {7, 8, 9}},
      // PNG row tags.
      {"0 none", 10, 1, 3, {0, 5, 6, 7, 0, 1, 2, 3}, 0, {5, 6, 7, 1, 2, 3}},
      {"1 sub", 11, 1, 3, {1, 5, 6, 7, 1, 250, 10, 0}, 0, {5, 11, 18, 250, 4, 4}},
      {"1 sub, two colours", 12, 2, 2, {1, 5, 6, 7, 8}, 0, {5, 6, 12, 14}},
      {"2 up, first row as stored", 13, 1, 3, {2, 5, 6, 7, 2, 1, 2, 250}, 0, {5, 6, 7, 6, 8, 1}},
      // First byte: stored plus up, whole (1 + 10). Then stored plus the
      // halved sum: 2 + (20 + 11) / 2 = 17, 3 + (30 + 17) / 2 = 26.
      {"3 average, later rows",
       14,
       1,
       3,
       {0, 10, 20, 30, 3, 1, 2, 3, 4, 1, 1, 1},
       0,
       {10, 20, 30, 11, 17, 26, 12, 18, 27}},
      // The first two bytes take up whole: 101, 202. Then 3 + (50 + 101) / 2
      // = 78 and 4 + (60 + 202) / 2 = 135.
      {"3 average, two colours",
       15,
       2,
       2,
       {0, 100, 200, 50, 60, 3, 1, 2, 3, 4},
       0,
       {100, 200, 50, 60, 101, 202, 78, 135}},
      // The sum of up and left is taken before halving, in more than 8 bits.
      {"3 average, no overflow", 10, 1, 2, {0, 200, 200, 3, 0, 0}, 0, {200, 200, 200, 200}},
      // In the first row a running sum, as with tag 1: 5, 11, 18.
      {"3 average, first row", 10, 1, 3, {3, 5, 6, 7}, 0, {5, 11, 18}},
      {"4 paeth, first row", 10, 1, 3, {4, 5, 6, 7}, 0, {5, 11, 18}},
      // Above 20, 10, 15. Byte 0: only up is there, 5 + 20 = 25. Byte 1: left
      // 25, up 10, upper left 20, estimate 15: up and upper left are both 5
      // away, up wins: 246 + 10 = 0. Byte 2: left 0, up 15, upper left 10,
      // estimate 5: left and upper left both 5 away, left wins: 7.
      {"4 paeth, ties", 10, 1, 3, {0, 20, 10, 15, 4, 5, 246, 7}, 0, {20, 10, 15, 25, 0, 7}},
      // Estimates below 0 and above 255 are measured in 16 bits: byte 1 has
      // left 0, up 0, upper left 255, estimate -255, and takes left.
      {"4 paeth, wide estimate", 10, 1, 2, {0, 255, 0, 4, 1, 9}, 0, {255, 0, 0, 9}},
      // Byte 1: left 200, up 100, upper left 0, estimate 300: left is nearest
      // (in 8 bits the estimate would be 44 and the upper left would win).
      {"4 paeth, estimate above 255", 10, 1, 2, {0, 0, 100, 4, 200, 1}, 0, {0, 100, 200, 201}},
      {"4 paeth, later row", 10, 1, 3, {0, 10, 20, 30, 4, 1, 1, 1}, 0, {10, 20, 30, 11, 21, 31}},
      // PNG rows and length.
      {"short last row", 10, 1, 4, {0, 1, 2, 3, 4, 2, 1, 1, 1}, 0, {1, 2, 3, 4, 2, 3, 4}},
      {"last row only a tag", 10, 1, 4, {0, 1, 2, 3, 4, 0}, 0, {1, 2, 3, 4}},
      {"no columns: every byte a tag", 10, 1, 0, {0, 1, 2, 3}, 0, {}},
      // 2 x 2^31 is 0 in 32 bits, not one row of everything.
      {"row size wraps to 0", 10, 2, 0x80000000u, {0, 0, 0}, 0, {}},
      {"empty", 10, 1, 4, {}, 0, {}},
      // The first row stays rewritten.
      {"unknown tag in row 2",
       10,
       1,
       3,
       {1, 1, 2, 3, 5, 4, 5, 6},
       PDF_RESULT_MALFORMED_FILTER,
       {1, 3, 6, 3, 5, 4, 5, 6}},
      {"unknown tag 255", 10, 1, 3, {255, 1, 2, 3}, PDF_RESULT_MALFORMED_FILTER, {255, 1, 2, 3}},
      {"unknown tag on a tag-only row", 10, 1, 3, {0, 1, 2, 3, 9}, PDF_RESULT_MALFORMED_FILTER, {1, 2, 3, 3, 9}},
      // Unknown predictors leave everything alone.
      {"predictor 0", 0, 1, 4, {0, 1, 2, 3}, PDF_RESULT_MALFORMED_FILTER, {0, 1, 2, 3}},
      {"predictor 3", 3, 1, 4, {0, 1, 2, 3}, PDF_RESULT_MALFORMED_FILTER, {0, 1, 2, 3}},
      {"predictor 9", 9, 1, 4, {0, 1, 2, 3}, PDF_RESULT_MALFORMED_FILTER, {0, 1, 2, 3}},
      {"predictor 16", 16, 1, 4, {0, 1, 2, 3}, PDF_RESULT_MALFORMED_FILTER, {0, 1, 2, 3}},
  };
  for (const auto& c : cases) {
    Bytes buffer = c.input;
    uint64_t length = 12345;
    EXPECT_EQ(PDF_Predictor_Decode(buffer.data(), buffer.size(), c.colors, c.columns, c.predictor, &length), c.result)
        << c.name;
    if (c.result == 0) {
      ASSERT_EQ(length, c.expected.size()) << c.name;
      buffer.resize(length);
    } else {
      EXPECT_EQ(length, 12345u) << c.name;
    }
    EXPECT_EQ(buffer, c.expected) << c.name;
  }
}

TEST(PdfPredictor, NoneAndMissingArguments) {
  // 1: nothing done, and the length not stored.
  Bytes buffer = {0, 1, 2, 3};
  uint64_t length = 777;
  EXPECT_EQ(PDF_Predictor_Decode(buffer.data(), buffer.size(), 1, 4, 1, &length), 0);
  EXPECT_EQ(length, 777u);
  EXPECT_EQ(buffer, (Bytes{0, 1, 2, 3}));
  EXPECT_EQ(PDF_Predictor_Decode(nullptr, 4, 1, 4, 10, &length), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_Predictor_Decode(buffer.data(), buffer.size(), 1, 4, 2, nullptr), PDF_RESULT_INVALID_ARGUMENT);
}

}  // namespace
