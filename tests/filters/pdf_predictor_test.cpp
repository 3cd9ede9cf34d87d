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
      // TIFF: running sums per component and row, wrapping at 256; a short last row.
      {"tiff", 2, 1, 3, {1, 2, 3, 10, 20, 255, 5, 5}, 0, {1, 3, 6, 10, 30, 29, 5, 10}},
      {"tiff, 3 colours", 2, 3, 2, {10, 20, 30, 1, 2, 3}, 0, {10, 20, 30, 11, 22, 33}},
      // 2 x 2^31 is 0 in 32 bits: no row, nothing to sum, and the call ends.
      {"tiff, row size wraps", 2, 2, 0x80000000u, {7, 8, 9}, 0, {7, 8, 9}},
      // PNG tags 0 none, 1 sub, 2 up; the last row short.
      {"none, sub, up", 10, 1, 3, {0, 5, 6, 7, 1, 250, 10, 0, 2, 1, 2}, 0, {5, 6, 7, 250, 4, 4, 251, 6}},
      {"sub, 2 colours", 12, 2, 2, {1, 5, 6, 7, 8}, 0, {5, 6, 12, 14}},
      {"up, first row", 13, 1, 3, {2, 5, 6, 7}, 0, {5, 6, 7}},
      // Average: the first byte takes up whole (1 + 10); then the halved sum:
      // 2 + (20 + 11) / 2 = 17, 3 + (30 + 17) / 2 = 26.
      {"average", 14, 1, 3, {0, 10, 20, 30, 3, 1, 2, 3}, 0, {10, 20, 30, 11, 17, 26}},
      // 101, 202 whole; 3 + (50 + 101) / 2 = 78, 4 + (60 + 202) / 2 = 135.
      {"average, 2 colours", 15, 2, 2, {0, 100, 200, 50, 60, 3, 1, 2, 3, 4}, 0, {100, 200, 50, 60, 101, 202, 78, 135}},
      {"average, no overflow", 10, 1, 2, {0, 200, 200, 3, 0, 0}, 0, {200, 200, 200, 200}},
      {"average, first row", 10, 1, 3, {3, 5, 6, 7}, 0, {5, 11, 18}},
      {"paeth, first row", 10, 1, 3, {4, 5, 6, 7}, 0, {5, 11, 18}},
      // Above 20 10 15: 5 + 20; up and upper left tie, up wins: 246 + 10;
      // left and upper left tie, left wins: 7 + 0.
      {"paeth, ties", 10, 1, 3, {0, 20, 10, 15, 4, 5, 246, 7}, 0, {20, 10, 15, 25, 0, 7}},
      // Estimates are measured past 8 bits: -255 takes left, 300 takes left.
      {"paeth, below 0", 10, 1, 2, {0, 255, 0, 4, 1, 9}, 0, {255, 0, 0, 9}},
      {"paeth, above 255", 10, 1, 2, {0, 0, 100, 4, 200, 1}, 0, {0, 100, 200, 201}},
      {"last row only a tag", 10, 1, 4, {0, 1, 2, 3, 4, 0}, 0, {1, 2, 3, 4}},
      {"no columns", 10, 1, 0, {0, 1, 2, 3}, 0, {}},
      {"png row size wraps", 10, 2, 0x80000000u, {0, 0, 0}, 0, {}},
      // The first row stays rewritten.
      {"bad tag in row 2", 10, 1, 3, {1, 1, 2, 3, 5, 4, 5, 6}, PDF_RESULT_MALFORMED_FILTER, {1, 3, 6, 3, 5, 4, 5, 6}},
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
  EXPECT_EQ(PDF_Predictor_Decode(nullptr, 0, 1, 4, 10, &length), PDF_RESULT_OK);
  EXPECT_EQ(PDF_Predictor_Decode(nullptr, 4, 1, 4, 10, &length), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_Predictor_Decode(buffer.data(), buffer.size(), 1, 4, 2, nullptr), PDF_RESULT_INVALID_ARGUMENT);
}

}  // namespace
