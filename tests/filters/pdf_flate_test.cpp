#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "filters/pdf_decode_limit.h"
#include "filters/pdf_flate.h"
#include "support/filter_test_support.h"
#include "support/hazard_pdfs.h"

namespace {

Decode_Outcome Decode(const std::string& input, Test_Allocator* recorder = nullptr) {
  Test_Allocator fresh{};
  Decode_Outcome outcome = Decoder_Run(PDF_Flate_Decode, input, recorder != nullptr ? recorder : &fresh);
  EXPECT_EQ(outcome.live_after_release, 0);
  return outcome;
}

// The output buffers among the requests: zlib's state and window, asked for
// second and third, are left out (a stream that ends in the first buffer
// needs no window).
std::vector<uint64_t> Buffers(std::vector<uint64_t> sizes) {
  if (sizes.size() >= 2) sizes.erase(sizes.begin() + 1, sizes.begin() + (sizes.size() >= 3 ? 3 : 2));
  return sizes;
}

TEST(PdfFlate, GrowsByExpansion) {
  // Deflated data padded with ignored bytes behind the zlib stream: tenfold
  // needs 2, 3, 4.5, 6.75 and 10.125 times the input; exactly twice fits.
  std::string input = Deflate(std::string(1000, 'a'));
  input.resize(100, '\x55');
  Decode_Outcome outcome = Decode(input);
  EXPECT_EQ(outcome.output, std::string(1000, 'a'));
  EXPECT_EQ(Buffers(outcome.sizes), (std::vector<uint64_t>{200, 300, 450, 675, 1012}));
  input.resize(500, '\x55');
  EXPECT_EQ(Buffers(Decode(input).sizes), (std::vector<uint64_t>{1000}));
  // Stored blocks of random bytes: output smaller than twice the input.
  EXPECT_TRUE(Decode(Deflate(Random_Bytes(70000, 3), 0)).output == Random_Bytes(70000, 3));

  // A failed allocation anywhere, zlib's own included, or the failed release
  // of a buffer that was too small, is returned and leaves nothing.
  input.resize(100);
  for (uint64_t n = 1; n <= 7; ++n) {
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
  EXPECT_EQ(Buffers(outcome.sizes), (std::vector<uint64_t>{200, 300}));
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

TEST(PdfFlate, CeilingOnTheDecodedSize) {
  // Zeros in about a thousandth of their size. The work is bounded by the
  // buffers: none above the ceiling, so no more than one byte past it is
  // decoded, and the copies on growth come to less than three times it.
  const uint64_t ceiling = PDF_DECODED_SIZE_LIMIT;
  const struct {
    const char* name;
    uint64_t zeros;
    PDF_Result result;
  } cases[] = {
      {"exactly the ceiling", ceiling, PDF_RESULT_OK},
      {"one byte more", ceiling + 1, PDF_RESULT_BAD_COMPRESSED_DATA},
      {"a bomb of 1 MB, 1 GiB decoded", uint64_t{1} << 30, PDF_RESULT_BAD_COMPRESSED_DATA},
  };
  for (const auto& c : cases) {
    const std::string input = Hazard_Flate_Zeros(c.zeros);
    Test_Allocator recorder{};
    Decode_Outcome outcome = Decode(input, &recorder);
    EXPECT_EQ(outcome.result, c.result) << c.name;
    EXPECT_EQ(outcome.output.size(), c.result == 0 ? c.zeros : 0) << c.name;
    EXPECT_TRUE(outcome.output.find_first_not_of('\0') == std::string::npos) << c.name;
    const std::vector<uint64_t> buffers = Buffers(outcome.sizes);
    EXPECT_EQ(buffers.back(), ceiling) << c.name;
    EXPECT_LE(buffers.size(), 20u) << c.name;
    uint64_t copied = 0;
    for (size_t i = 0; i + 1 < buffers.size(); ++i) copied += buffers[i];
    EXPECT_LT(copied, 3 * ceiling) << c.name;
  }
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
