#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "filters/pdf_flate.h"
#include "support/filter_test_support.h"

namespace {

Decode_Outcome Decode(const std::string& input, Test_Allocator* recorder = nullptr) {
  Test_Allocator fresh{};
  Decode_Outcome outcome = Decoder_Run(PDF_Flate_Decode, input, recorder != nullptr ? recorder : &fresh);
  EXPECT_EQ(outcome.live_after_release, 0);
  return outcome;
}

// Each buffer after the first is half again as large as the one before.
void Expect_Growth(const std::vector<uint64_t>& sizes, uint64_t first) {
  ASSERT_FALSE(sizes.empty());
  EXPECT_EQ(sizes[0], first);
  for (size_t i = 1; i < sizes.size(); ++i) EXPECT_EQ(sizes[i], sizes[i - 1] + sizes[i - 1] / 2) << "request " << i;
}

TEST(PdfFlate, PassesByExpansion) {
  // Deflated data padded with ignored bytes behind the zlib stream: tenfold
  // needs 2, 3, 4.5, 6.75 and 10.125 times the input; exactly twice fits.
  std::string input = Deflate(std::string(1000, 'a'));
  input.resize(100, '\x55');
  Decode_Outcome outcome = Decode(input);
  EXPECT_EQ(outcome.output, std::string(1000, 'a'));
  EXPECT_EQ(outcome.sizes, (std::vector<uint64_t>{200, 300, 450, 675, 1012}));
  input.resize(500, '\x55');
  EXPECT_EQ(Decode(input).sizes, (std::vector<uint64_t>{1000}));
  // Stored blocks of random bytes: output smaller than twice the input.
  EXPECT_TRUE(Decode(Deflate(Random_Bytes(70000, 3), 0)).output == Random_Bytes(70000, 3));

  // A failed allocation on any pass, or the failed release of a buffer that
  // was too small, is returned and leaves nothing.
  input.resize(100);
  for (uint64_t n = 1; n <= 5; ++n) {
    Test_Allocator recorder{};
    recorder.fail_at = n;
    outcome = Decode(input, &recorder);
    EXPECT_EQ(outcome.result, PDF_RESULT_OUT_OF_MEMORY) << n;
    EXPECT_EQ(outcome.sizes.size(), n) << n;
  }
  Test_Allocator recorder{};
  recorder.free_result = -42;
  outcome = Decode(input, &recorder);
  EXPECT_EQ(outcome.result, -42);
  EXPECT_EQ(outcome.sizes.size(), 1u);
}

TEST(PdfFlate, BadDataGivesNoOutput) {
  std::string good = Deflate(Random_Bytes(3000, 5) + std::string(3000, 'q'));
  std::string bad_check = good;
  bad_check.back() = static_cast<char>(bad_check.back() ^ 1);
  // Cut where its output is far larger than the first buffer: the passes grow
  // until the output fits, and the end of the input is then a data error.
  std::string long_run = Deflate(std::string(200000, 'r') + Random_Bytes(100, 6));
  const struct {
    const char* name;
    std::string input;
    PDF_Result result;
  } cases[] = {
      {"cut in the middle", good.substr(0, good.size() / 2), PDF_RESULT_BAD_COMPRESSED_DATA},
      {"cut after much output", long_run.substr(0, long_run.size() - 60), PDF_RESULT_BAD_COMPRESSED_DATA},
      {"bad checksum", bad_check, PDF_RESULT_BAD_COMPRESSED_DATA},
      {"empty input asks for 0 bytes", "", PDF_RESULT_OUT_OF_MEMORY},
  };
  for (const auto& c : cases) EXPECT_EQ(Decode(c.input).result, c.result) << c.name;
}

TEST(PdfFlate, NoCeilingButTheAllocator) {
  // 32 MiB of zeros in about 32 KiB: the buffer grows, with a new pass from
  // the start each time, until the allocator refuses.
  const std::string input = Deflate(std::string(uint64_t(32) << 20, '\0'), 9);
  Test_Allocator capped{};
  capped.refuse_above = uint64_t(4) << 20;
  Decode_Outcome outcome = Decode(input, &capped);
  EXPECT_EQ(outcome.result, PDF_RESULT_OUT_OF_MEMORY);
  Expect_Growth(outcome.sizes, 2 * input.size());
  EXPECT_GT(outcome.sizes.back(), capped.refuse_above) << "the refused request ended it";
  EXPECT_LE(outcome.sizes[outcome.sizes.size() - 2], capped.refuse_above);
}

TEST(PdfFlate, RefusesMissingArguments) {
  Test_Allocator recorder{};
  PDF_Memory test_memory = Test_Memory(&recorder);
  PDF_Memory* memory = &test_memory;
  std::string input = Deflate("abc");
  uint8_t* buffer = nullptr;
  uint64_t length = 0;
  EXPECT_EQ(PDF_Flate_Decode(memory, Decoder_Bytes(input), input.size(), nullptr, &length),
            PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_Flate_Decode(memory, Decoder_Bytes(input), input.size(), &buffer, nullptr),
            PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_Flate_Decode(memory, nullptr, 1, &buffer, &length), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_Flate_Decode(nullptr, Decoder_Bytes(input), input.size(), &buffer, &length), PDF_RESULT_OUT_OF_MEMORY);
  EXPECT_EQ(recorder.requests, 0u);
  // No input at all is an empty input.
  EXPECT_EQ(PDF_Flate_Decode(memory, nullptr, 0, &buffer, &length), PDF_RESULT_OUT_OF_MEMORY);
}

}  // namespace
