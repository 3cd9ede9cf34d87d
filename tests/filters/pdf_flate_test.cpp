#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "filters/decoder_test_memory.h"
#include "filters/pdf_flate.h"

namespace {

std::string Deflate(const std::string& data, int level = Z_DEFAULT_COMPRESSION) {
  uLongf size = compressBound(static_cast<uLong>(data.size()));
  std::string out(size, '\0');
  int status = compress2(reinterpret_cast<Bytef*>(&out[0]), &size, reinterpret_cast<const Bytef*>(data.data()),
                         static_cast<uLong>(data.size()), level);
  EXPECT_EQ(status, Z_OK);
  out.resize(size);
  return out;
}

std::string Random_Bytes(size_t count, uint32_t seed) {
  std::mt19937 generator(seed);
  std::string bytes(count, '\0');
  for (char& c : bytes) c = static_cast<char>(generator() & 0xFF);
  return bytes;
}

struct Flate_Outcome {
  PDF_Result result;
  std::string output;
  std::vector<uint64_t> sizes;  // every buffer asked for, in order
  int64_t live_after_release;
};

Flate_Outcome Decode(const std::string& input, Decoder_Memory* recorder) {
  PDF_Memory* memory = Decoder_Memory_Open(recorder);
  uint8_t* buffer = reinterpret_cast<uint8_t*>(recorder);  // must be cleared
  uint64_t length = 99;
  Flate_Outcome outcome;
  outcome.result = PDF_Flate_Decode(memory, Decoder_Bytes(input), input.size(), &buffer, &length);
  if (outcome.result == 0) {
    outcome.output = Decoder_Text(buffer, length);
    EXPECT_EQ(recorder->allocator.live, 1);
    PDF_Memory_Free(memory, &buffer);
  } else {
    EXPECT_EQ(buffer, nullptr);
    EXPECT_EQ(length, 0u);
  }
  outcome.sizes = recorder->sizes;
  outcome.live_after_release = recorder->allocator.live;
  return outcome;
}

Flate_Outcome Decode(const std::string& input) {
  Decoder_Memory recorder;
  return Decode(input, &recorder);
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
    Flate_Outcome outcome = Decode(input);
    ASSERT_EQ(outcome.result, 0) << c.name;
    EXPECT_TRUE(outcome.output == c.data) << c.name;
    EXPECT_EQ(outcome.live_after_release, 0) << c.name;
    // The first buffer is twice the input; each retry adds half. A retry is
    // made only after a buffer that was too small.
    ASSERT_FALSE(outcome.sizes.empty()) << c.name;
    EXPECT_EQ(outcome.sizes[0], 2 * input.size()) << c.name;
    for (size_t i = 1; i < outcome.sizes.size(); ++i) {
      EXPECT_EQ(outcome.sizes[i], outcome.sizes[i - 1] + outcome.sizes[i - 1] / 2) << c.name;
      EXPECT_LT(outcome.sizes[i - 1], c.data.size()) << c.name;
    }
    EXPECT_GE(outcome.sizes.back(), c.data.size()) << c.name;
  }
}

TEST(PdfFlate, TenfoldExpansionTakesFivePasses) {
  // 1000 bytes behind a 100-byte input (the zlib stream padded: bytes after
  // its end are ignored): 2, 3, 4.5, 6.75 and 10.125 times the input.
  std::string input = Deflate(std::string(1000, 'a'));
  ASSERT_LT(input.size(), 100u);
  input.resize(100, '\x55');
  Flate_Outcome outcome = Decode(input);
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.output, std::string(1000, 'a'));
  EXPECT_EQ(outcome.sizes, (std::vector<uint64_t>{200, 300, 450, 675, 1012}));
  EXPECT_EQ(outcome.live_after_release, 0);
}

TEST(PdfFlate, OutputOfExactlyTwiceTheInputTakesOnePass) {
  std::string input = Deflate(std::string(1000, 'b'));
  ASSERT_LT(input.size(), 500u);
  input.resize(500, '\0');
  Flate_Outcome outcome = Decode(input);
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.output.size(), 1000u);
  EXPECT_EQ(outcome.sizes, (std::vector<uint64_t>{1000}));
}

TEST(PdfFlate, BadDataGivesNoOutput) {
  std::string good = Deflate(Random_Bytes(3000, 5) + std::string(3000, 'q'));
  std::string bad_check = good;
  bad_check.back() = static_cast<char>(bad_check.back() ^ 1);
  std::string raw = good.substr(2);  // no zlib header
  // Cut where its output is far larger than the first buffer: the passes grow
  // until the output fits, and the end of the input is then a data error.
  std::string long_run = Deflate(std::string(200000, 'r') + Random_Bytes(100, 6));
  struct Case {
    const char* name;
    std::string input;
    PDF_Result result;
  } cases[] = {
      {"cut in the middle", good.substr(0, good.size() / 2), -300},
      {"cut before the checksum", good.substr(0, good.size() - 4), -300},
      {"cut after the header", good.substr(0, 2), -300},
      {"cut after much output", long_run.substr(0, long_run.size() - 60), -300},
      {"bad checksum", bad_check, -300},
      {"no header", raw, -300},
      {"plain text", "<?xml version=\"1.0\"?>", -300},
      {"empty input asks for 0 bytes", "", -7},
  };
  for (const Case& c : cases) {
    Flate_Outcome outcome = Decode(c.input);
    EXPECT_EQ(outcome.result, c.result) << c.name;
    EXPECT_EQ(outcome.live_after_release, 0) << c.name;
  }
}

TEST(PdfFlate, FailedAllocationOnAnyPassLeavesNothing) {
  std::string input = Deflate(std::string(1000, 'a'));
  input.resize(100, '\0');
  for (uint64_t n = 1; n <= 5; ++n) {
    Decoder_Memory recorder;
    recorder.allocator.fail_at = n;
    Flate_Outcome outcome = Decode(input, &recorder);
    EXPECT_EQ(outcome.result, -7) << n;
    EXPECT_EQ(outcome.sizes.size(), n) << n;
    EXPECT_EQ(outcome.live_after_release, 0) << n;
  }
}

TEST(PdfFlate, FailedReleaseOfATooSmallBufferIsReturned) {
  std::string input = Deflate(std::string(1000, 'a'));
  Decoder_Memory recorder;
  recorder.free_result = -42;
  Flate_Outcome outcome = Decode(input, &recorder);
  EXPECT_EQ(outcome.result, -42);
  EXPECT_EQ(outcome.sizes.size(), 1u);
  EXPECT_EQ(outcome.live_after_release, 0);
}

TEST(PdfFlate, RefusesMissingArguments) {
  Decoder_Memory recorder;
  PDF_Memory* memory = Decoder_Memory_Open(&recorder);
  std::string input = Deflate("abc");
  uint8_t* buffer = nullptr;
  uint64_t length = 0;
  EXPECT_EQ(PDF_Flate_Decode(memory, Decoder_Bytes(input), input.size(), nullptr, &length), -500);
  EXPECT_EQ(PDF_Flate_Decode(memory, Decoder_Bytes(input), input.size(), &buffer, nullptr), -500);
  EXPECT_EQ(PDF_Flate_Decode(memory, nullptr, 5, &buffer, &length), -500);
  EXPECT_EQ(PDF_Flate_Decode(nullptr, Decoder_Bytes(input), input.size(), &buffer, &length), -7);
  EXPECT_EQ(recorder.allocator.requests, 0u);
}

}  // namespace
