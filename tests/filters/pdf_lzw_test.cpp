#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "filters/pdf_lzw.h"
#include "runtime/pdf_limits.h"
#include "support/filter_test_support.h"
#include "support/lzw_encoder.h"

namespace {

typedef std::vector<uint64_t> Sizes;

// Decodes and releases the output. The requests are the first buffer, the
// state, the table, then one buffer per growth; only the buffers are kept.
Decode_Outcome Decode(const std::string& input) {
  Test_Allocator recorder{};
  Decode_Outcome outcome = Decoder_Run(PDF_LZW_Decode, input, &recorder);
  if (outcome.sizes.size() >= 3) outcome.sizes.erase(outcome.sizes.begin() + 1, outcome.sizes.begin() + 3);
  EXPECT_EQ(outcome.live_after_release, 0);
  return outcome;
}

// Buffer sizes from the first, each half again as large, up to the last.
Sizes Growth(uint64_t first, uint64_t last) {
  Sizes sizes = {first};
  while (sizes.back() < last) sizes.push_back(sizes.back() + sizes.back() / 2);
  return sizes;
}

TEST(PdfLzw, BufferSizes) {
  // The first buffer is twice the input but at least 8 bytes; the limit is
  // 1365 times the input.
  struct Case {
    const char* name;
    std::string input;
    std::string output;
    Sizes sizes;
  } cases[] = {
      // 100 codes in 115 bytes; each growth goes on from the code that didn't fit.
      {"grows by half", Test_LZW_Encode(std::string(5000, 'x')), std::string(5000, 'x'), Growth(230, 5000)},
      // a, aa, aaa, aaaa, aaaaa, aaa in 9 bytes: the first buffer of 18 is
      // filled exactly before the end code, which counts as too small.
      {"buffer filled exactly is run again", Test_LZW_Encode(std::string(18, 'a')), std::string(18, 'a'), {18, 27}},
      {"one byte less fits", Test_LZW_Encode(std::string(17, 'a')), std::string(17, 'a'), {18}},
      {"empty input", "", "", {8}},
      {"ends after a clear code", Test_LZW_Pack({256, 'A', 'B', 256}), "AB", {10}},
      // A clear code and an end code are no end: a buffer of any size would
      // stop there, so the count is handed over at once, with the bytes.
      {"clear code then end code is no end", Test_LZW_Pack({256, 'H', 'E', 'L', 'L', 'O', 256, 257}), "HELLO", {18}},
      {"nothing, then a clear code and an end code", Test_LZW_Encode(""), "", {8}},
  };
  for (const Case& c : cases) {
    Decode_Outcome outcome = Decode(c.input);
    EXPECT_EQ(outcome.result, 0) << c.name;
    EXPECT_EQ(outcome.output.size(), c.output.size()) << c.name;
    EXPECT_TRUE(outcome.output == c.output) << c.name;
    EXPECT_EQ(outcome.sizes, c.sizes) << c.name;
  }
}

TEST(PdfLzw, CodesAndFailures) {
  std::vector<int> full_table = {256};
  std::string full_text;
  for (int i = 0; i < 3839; ++i) full_table.push_back('a' + i % 26), full_text.push_back(char('a' + i % 26));
  std::vector<int> overfull_table = full_table;
  full_table.push_back(257);
  overfull_table.push_back('a'), overfull_table.push_back(257);
  struct Case {
    const char* name;
    std::string input;
    PDF_Result result;
    std::string output;
  } cases[] = {
      // Each new code repeats the last string plus its first byte.
      {"code of the string being built", Test_LZW_Pack({256, 'A', 'B', 259, 260, 257}), 0, "ABBBBBB"},
      // After the second clear code, 259 is still "BC" from before it.
      {"entries survive a clear code", Test_LZW_Pack({256, 'A', 'B', 'C', 256, 'X', 259, 257}), 0, "ABCXBC"},
      {"last entry of the table", Test_LZW_Pack(full_table), 0, full_text},
      {"all entries used and no clear code", Test_LZW_Pack(overfull_table), PDF_RESULT_BAD_COMPRESSED_DATA, ""},
      // The old bit order is marked by a zero byte and a byte with its low bit set.
      {"old bit order 00 01", std::string("\x00\x01\x80\x40", 4), PDF_RESULT_OLD_LZW, ""},
      {"01 01: literal 2 without a clear code", std::string("\x01\x01", 2), PDF_RESULT_BAD_COMPRESSED_DATA, ""},
      {"code of an entry not in use", Test_LZW_Pack({256, 'A', 300, 257}), PDF_RESULT_BAD_COMPRESSED_DATA, ""},
      // Filling entry 259 again while 259 is the previous code makes it its
      // own prefix: its chain is longer than its length.
      {"chain longer than the string", Test_LZW_Pack({256, 'A', 'B', 'C', 256, 'X', 259, 259, 257}),
       PDF_RESULT_BAD_COMPRESSED_DATA, ""},
  };
  for (const Case& c : cases) {
    Decode_Outcome outcome = Decode(c.input);
    EXPECT_EQ(outcome.result, c.result) << c.name;
    EXPECT_EQ(outcome.output, c.output) << c.name;
  }
}

TEST(PdfLzw, CeilingOnTheDecodedSize) {
  // The work is bounded by the buffers: none above the ceiling and the byte
  // of room for the end code, so no more than that is decoded, and the copies
  // on growth come to less than three times it.
  const uint64_t ceiling = PDF_DECODED_SIZE_LIMIT;
  const struct {
    const char* name;
    std::string input;
    PDF_Result result;
    uint64_t length;
  } cases[] = {
      // Runs up to 2047 keep the decoder's limit well above the ceiling.
      {"exactly the ceiling", Test_LZW_Zeros(ceiling, 2047), PDF_RESULT_OK, ceiling},
      {"one byte more", Test_LZW_Zeros(ceiling + 1, 2047), PDF_RESULT_BAD_COMPRESSED_DATA, 0},
      {"a bomb of 1 MB, 1.4 GB decoded", Test_LZW_Zeros(uint64_t{1400} << 20, 4095), PDF_RESULT_BAD_COMPRESSED_DATA, 0},
  };
  for (const auto& c : cases) {
    Test_Allocator recorder{};
    Decode_Outcome outcome = Decoder_Run(PDF_LZW_Decode, c.input, &recorder);
    EXPECT_EQ(outcome.result, c.result) << c.name;
    EXPECT_EQ(outcome.output.size(), c.length) << c.name;
    EXPECT_TRUE(outcome.output.find_first_not_of('\0') == std::string::npos) << c.name;
    EXPECT_EQ(outcome.live_after_release, 0) << c.name;
    // The buffers: the first request, and those after the state and table.
    Sizes buffers = outcome.sizes;
    buffers.erase(buffers.begin() + 1, buffers.begin() + 3);
    EXPECT_EQ(buffers.back(), ceiling + 1) << c.name;
    EXPECT_LE(buffers.size(), 20u) << c.name;
    uint64_t copied = 0;
    for (size_t i = 0; i + 1 < buffers.size(); ++i) copied += buffers[i];
    EXPECT_LT(copied, 3 * ceiling) << c.name;
  }
}

TEST(PdfLzw, RunStagesOnOneSourceAndRefusals) {
  Test_Allocator recorder{};
  PDF_Memory test_memory = Test_Memory(&recorder);
  PDF_Memory* memory = &test_memory;
  std::string input = Test_LZW_Pack({256, 'A', 258, 257});
  uint8_t* buffer = nullptr;
  uint64_t length = 0;
  EXPECT_EQ(PDF_LZW_Decode(nullptr, Decoder_Bytes(input), input.size(), &buffer, &length), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_LZW_Decode(memory, Decoder_Bytes(input), input.size(), nullptr, &length), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_LZW_Decode(memory, Decoder_Bytes(input), input.size(), &buffer, nullptr), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_LZW_Decode(memory, nullptr, 3, &buffer, &length), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(recorder.requests, 0u);

  PDF_LZW_Source source = {};
  ASSERT_EQ(PDF_LZW_Setup(memory, &source, Decoder_Bytes(input), input.size()), 0);
  ASSERT_EQ(PDF_LZW_Reset(&source), 0);
  uint8_t output[4] = {0, 0, 0, 0};
  // No room for "AA" after "A": the run stops before its code.
  uint64_t count = 0;
  EXPECT_EQ(PDF_LZW_Run(memory, &source, output, 2, &count), PDF_LZW_RUN_NOT_FINISHED);
  EXPECT_EQ(count, 1u);
  // The next run reads that code again and fills the room exactly: the end
  // code isn't reached.
  EXPECT_EQ(PDF_LZW_Run(memory, &source, output, 3, &count), PDF_LZW_RUN_NOT_FINISHED);
  EXPECT_EQ(count, 3u);
  // Room to spare: finished, after the bytes already there.
  EXPECT_EQ(PDF_LZW_Run(memory, &source, output, 4, &count), PDF_LZW_RUN_FINISHED);
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(output), 3), "AAA");
  // More bytes already there than room.
  count = 5;
  EXPECT_EQ(PDF_LZW_Run(memory, &source, output, 4, &count), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_LZW_Cleanup(memory, &source), 0);
  EXPECT_EQ(source.state, nullptr);
  EXPECT_EQ(recorder.live, 0);
}

}  // namespace
