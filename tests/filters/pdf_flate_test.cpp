#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "filters/pdf_flate.h"
#include "support/filter_test_support.h"

namespace {

// Deflated data, padded with bytes after the end of the zlib stream (which
// are ignored) to make the input that long.
std::string Padded(const std::string& data, size_t input_size) {
  std::string input = Deflate(data);
  EXPECT_LT(input.size(), input_size);
  input.resize(input_size, '\x55');
  return input;
}

Decode_Outcome Decode(const std::string& input, Test_Allocator* recorder = nullptr) {
  Test_Allocator fresh{};
  return Decoder_Run(PDF_Flate_Decode, input, recorder != nullptr ? recorder : &fresh);
}

TEST(PdfFlate, DecodesWhatZlibWrote) {
  std::string text;
  while (text.size() < 40000) text += "Rechnung 4711, Position 3: 12 Stueck zu 9,95 EUR. ";
  struct Case {
    const char* name;
    std::string data;
    int level;
  } cases[] = {
      {"one byte", "Z", Z_DEFAULT_COMPRESSION},
      {"nothing at all", "", Z_DEFAULT_COMPRESSION},
      {"stored blocks", Random_Bytes(70000, 3), 0},
      {"random bytes", Random_Bytes(5000, 4), 9},
      {"text", text, 9},
      {"zeros", std::string(300000, '\0'), 9},
  };
  for (const Case& c : cases) {
    std::string input = Deflate(c.data, c.level);
    Decode_Outcome outcome = Decode(input);
    ASSERT_EQ(outcome.result, 0) << c.name;
    EXPECT_TRUE(outcome.output == c.data) << c.name;
    EXPECT_EQ(outcome.live_after_release, 0) << c.name;
    // The first buffer is twice the input; each retry adds half. A retry is
    // made only after a buffer that was too small.
    EXPECT_EQ(outcome.sizes[0], 2 * input.size()) << c.name;
    for (size_t i = 1; i < outcome.sizes.size(); ++i) {
      EXPECT_EQ(outcome.sizes[i], outcome.sizes[i - 1] + outcome.sizes[i - 1] / 2) << c.name;
      EXPECT_LT(outcome.sizes[i - 1], c.data.size()) << c.name;
    }
    EXPECT_GE(outcome.sizes.back(), c.data.size()) << c.name;
  }
}

TEST(PdfFlate, PassesByExpansion) {
  // Tenfold: 2, 3, 4.5, 6.75 and 10.125 times the input. Exactly twice the
  // input fits the first buffer.
  Decode_Outcome outcome = Decode(Padded(std::string(1000, 'a'), 100));
  EXPECT_EQ(outcome.output, std::string(1000, 'a'));
  EXPECT_EQ(outcome.sizes, (std::vector<uint64_t>{200, 300, 450, 675, 1012}));
  outcome = Decode(Padded(std::string(1000, 'b'), 500));
  EXPECT_EQ(outcome.output, std::string(1000, 'b'));
  EXPECT_EQ(outcome.sizes, (std::vector<uint64_t>{1000}));
}

TEST(PdfFlate, BadDataGivesNoOutput) {
  std::string good = Deflate(Random_Bytes(3000, 5) + std::string(3000, 'q'));
  std::string bad_check = good;
  bad_check.back() = static_cast<char>(bad_check.back() ^ 1);
  // Cut where its output is far larger than the first buffer: the passes grow
  // until the output fits, and the end of the input is then a data error.
  std::string long_run = Deflate(std::string(200000, 'r') + Random_Bytes(100, 6));
  struct Case {
    const char* name;
    std::string input;
    PDF_Result result;
  } cases[] = {
      {"cut in the middle", good.substr(0, good.size() / 2), PDF_RESULT_BAD_COMPRESSED_DATA},
      {"cut after much output", long_run.substr(0, long_run.size() - 60), PDF_RESULT_BAD_COMPRESSED_DATA},
      {"bad checksum", bad_check, PDF_RESULT_BAD_COMPRESSED_DATA},
      {"no header", good.substr(2), PDF_RESULT_BAD_COMPRESSED_DATA},
      {"empty input asks for 0 bytes", "", PDF_RESULT_OUT_OF_MEMORY},
  };
  for (const Case& c : cases) {
    Decode_Outcome outcome = Decode(c.input);
    EXPECT_EQ(outcome.result, c.result) << c.name;
    EXPECT_EQ(outcome.live_after_release, 0) << c.name;
  }
}

TEST(PdfFlate, FailedAllocationOrReleaseOnAnyPassLeavesNothing) {
  std::string input = Padded(std::string(1000, 'a'), 100);
  for (uint64_t n = 1; n <= 5; ++n) {
    Test_Allocator recorder{};
    recorder.fail_at = n;
    Decode_Outcome outcome = Decode(input, &recorder);
    EXPECT_EQ(outcome.result, PDF_RESULT_OUT_OF_MEMORY) << n;
    EXPECT_EQ(outcome.sizes.size(), n) << n;
    EXPECT_EQ(outcome.live_after_release, 0) << n;
  }
  // The failed release of a buffer that was too small is returned.
  Test_Allocator recorder{};
  recorder.free_result = -42;
  Decode_Outcome outcome = Decode(input, &recorder);
  EXPECT_EQ(outcome.result, -42);
  EXPECT_EQ(outcome.sizes.size(), 1u);
  EXPECT_EQ(outcome.live_after_release, 0);
}

TEST(PdfFlate, NoCeilingButTheAllocator) {
  // 32 MiB of zeros in about 32 KiB: the buffer grows by half again, with a
  // new pass from the start each time, until the data fits or the allocator
  // refuses. The decoder sets no limit of its own.
  const uint64_t decoded = uint64_t(32) << 20;
  const std::string input = Deflate(std::string(decoded, '\0'), 9);
  const struct {
    const char* name;
    uint64_t refuse_above;
    PDF_Result result;
  } cases[] = {
      {"decoded whole", 0, PDF_RESULT_OK},
      {"until the allocator runs dry", uint64_t(4) << 20, PDF_RESULT_OUT_OF_MEMORY},
  };
  for (const auto& c : cases) {
    Test_Allocator capped{};
    capped.refuse_above = c.refuse_above;
    PDF_Memory test_memory = Test_Memory(&capped);
    PDF_Memory* memory = &test_memory;
    uint8_t* buffer = nullptr;
    uint64_t length = 0;
    EXPECT_EQ(PDF_Flate_Decode(memory, Decoder_Bytes(input), input.size(), &buffer, &length), c.result) << c.name;
    ASSERT_FALSE(capped.sizes.empty());
    EXPECT_EQ(capped.sizes[0], 2 * input.size()) << c.name;
    for (size_t i = 1; i < capped.sizes.size(); ++i) {
      EXPECT_EQ(capped.sizes[i], capped.sizes[i - 1] + capped.sizes[i - 1] / 2) << c.name << " request " << i;
    }
    if (c.result == PDF_RESULT_OK) {
      ASSERT_EQ(length, decoded) << c.name;
      EXPECT_EQ(std::count(buffer, buffer + length, 0), static_cast<std::ptrdiff_t>(decoded)) << c.name;
      EXPECT_GE(capped.sizes.back(), decoded) << c.name;
      PDF_Memory_Free(memory, &buffer);
    } else {
      EXPECT_EQ(buffer, nullptr) << c.name;
      EXPECT_GT(capped.sizes.back(), c.refuse_above) << c.name << ": the refused request ended it";
      EXPECT_LE(capped.sizes[capped.sizes.size() - 2], c.refuse_above) << c.name;
    }
    EXPECT_EQ(capped.live, 0) << c.name;
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
  EXPECT_EQ(PDF_Flate_Decode(memory, nullptr, 5, &buffer, &length), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_Flate_Decode(nullptr, Decoder_Bytes(input), input.size(), &buffer, &length), PDF_RESULT_OUT_OF_MEMORY);
  EXPECT_EQ(recorder.requests, 0u);
}

}  // namespace
