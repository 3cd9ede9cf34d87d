#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "filters/decoder_test_memory.h"
#include "filters/pdf_lzw.h"
#include "support/lzw_encoder.h"

namespace {

struct Lzw_Outcome {
  PDF_Result result;
  std::string output;
  std::vector<uint64_t> buffer_sizes;  // the output buffers asked for, in order
  int64_t live_after_release;          // blocks left once the output is released
};

// Decodes and releases the output. The requests are the first buffer, the
// state, the table, then one buffer per growth.
Lzw_Outcome Decode(const std::string& input, uint64_t input_length) {
  Decoder_Memory recorder;
  PDF_Memory* memory = Decoder_Memory_Open(&recorder);
  uint8_t* buffer = reinterpret_cast<uint8_t*>(&recorder);  // must be cleared
  uint64_t length = 99;
  Lzw_Outcome outcome;
  outcome.result = PDF_LZW_Decode(memory, Decoder_Bytes(input), input_length, &buffer, &length);
  if (outcome.result == 0) {
    EXPECT_NE(buffer, nullptr);
    outcome.output = Decoder_Text(buffer, length);
    EXPECT_EQ(recorder.allocator.live, 1);
    EXPECT_EQ(PDF_Memory_Free(memory, &buffer), 0);
  } else {
    EXPECT_EQ(buffer, nullptr);
    EXPECT_EQ(length, 0u);
  }
  for (size_t i = 0; i < recorder.sizes.size(); ++i) {
    if (i != 1 && i != 2) outcome.buffer_sizes.push_back(recorder.sizes[i]);
  }
  outcome.live_after_release = recorder.allocator.live;
  return outcome;
}

Lzw_Outcome Decode(const std::string& input) { return Decode(input, input.size()); }

std::string Random_Bytes(size_t count, uint32_t seed) {
  std::mt19937 generator(seed);
  std::string bytes(count, '\0');
  for (char& c : bytes) c = static_cast<char>(generator() & 0xFF);
  return bytes;
}

std::string Words(size_t count) {
  static const char* const words[] = {"invoice ", "total ", "amount ", "tax ", "line ", "item ", "EUR ", "net "};
  std::mt19937 generator(7);
  std::string text;
  while (text.size() < count) text += words[generator() % 8];
  text.resize(count);
  return text;
}

TEST(PdfLzw, LimitAndInitialSize) {
  struct Case {
    uint64_t input_length, limit, initial;
  } cases[] = {{0, 0, 8}, {1, 1365, 8}, {3, 4095, 8}, {4, 5460, 8}, {5, 6825, 10}, {1000, 1365000, 2000}};
  for (const Case& c : cases) {
    EXPECT_EQ(PDF_LZW_Input_Limit(c.input_length), c.limit) << c.input_length;
    EXPECT_EQ(PDF_LZW_Initial_Size(c.input_length), c.initial) << c.input_length;
  }
}

TEST(PdfLzw, DecodesWhatAnIndependentEncoderWrote) {
  std::string all_bytes;
  for (int round = 0; round < 4; ++round) {
    for (int b = 0; b < 256; ++b) all_bytes.push_back(static_cast<char>(b));
  }
  struct Case {
    const char* name;
    std::string data;
  } cases[] = {
      {"one byte", "A"},
      {"repeat inside the string being built", "ABABABA"},
      {"classic", "TOBEORNOTTOBEORTOBEORNOT#"},
      {"every byte value", all_bytes},
      {"text through all widths", Words(60000)},
      {"random, table fills and clears", Random_Bytes(30000, 1)},
      {"long run, long strings", std::string(200000, '\0')},
  };
  for (const Case& c : cases) {
    std::string encoded = Test_LZW_Encode(c.data);
    Lzw_Outcome outcome = Decode(encoded);
    EXPECT_EQ(outcome.result, 0) << c.name;
    EXPECT_TRUE(outcome.output == c.data) << c.name << ": " << outcome.output.size() << " bytes";
    EXPECT_EQ(outcome.live_after_release, 0) << c.name;
  }
}

TEST(PdfLzw, GrowsByHalfAndRestartsFromTheFirstCode) {
  // 5000 equal bytes are 100 codes (strings of 1 to 99 bytes, then one of
  // 50) between a clear and an end code: 918 bits in 115 bytes. Several passes
  // run, each from the start, until the buffer is larger than 5000 bytes.
  std::string data(5000, 'x');
  std::string encoded = Test_LZW_Encode(data);
  ASSERT_EQ(encoded.size(), 115u);
  Lzw_Outcome outcome = Decode(encoded);
  EXPECT_EQ(outcome.result, 0);
  EXPECT_TRUE(outcome.output == data);
  std::vector<uint64_t> expected = {230, 345, 517, 775, 1162, 1743, 2614, 3921, 5881};
  EXPECT_EQ(outcome.buffer_sizes, expected);
  EXPECT_EQ(outcome.live_after_release, 0);
}

TEST(PdfLzw, BufferFilledExactlyIsRunAgain) {
  // 18 equal bytes: a, aa, aaa, aaaa, aaaaa, aaa, between a clear code and an
  // end code, in 9 bytes. The first buffer of 18 bytes is filled exactly
  // before the end code is read, which counts as too small.
  std::string data(18, 'a');
  std::string encoded = Test_LZW_Encode(data);
  ASSERT_EQ(encoded.size(), 9u);
  Lzw_Outcome outcome = Decode(encoded);
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.output, data);
  EXPECT_EQ(outcome.buffer_sizes, (std::vector<uint64_t>{18, 27}));

  // One byte less fits with room to spare.
  std::string shorter(17, 'a');
  outcome = Decode(Test_LZW_Encode(shorter));
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.output, shorter);
  EXPECT_EQ(outcome.buffer_sizes, (std::vector<uint64_t>{18}));
}

TEST(PdfLzw, CodeOfTheStringBeingBuilt) {
  // 258 right after the first literal is that literal twice.
  Lzw_Outcome outcome = Decode(Test_LZW_Pack({256, 'A', 258, 257}));
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.output, "AAA");
  // And a longer chain of them: each new code repeats the last string plus
  // its first byte.
  outcome = Decode(Test_LZW_Pack({256, 'A', 'B', 259, 260, 257}));
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.output, "AB" "BB" "BBB");
}

TEST(PdfLzw, DocumentedFailures) {
  std::vector<int> full_table = {256};
  for (int i = 0; i < 3840; ++i) full_table.push_back('a' + i % 26);
  full_table.push_back(257);
  struct Case {
    const char* name;
    std::string input;
    PDF_Result result;
  } cases[] = {
      {"old bit order 00 01", std::string("\x00\x01\x80\x40", 4), -301},
      {"old bit order 00 03", std::string("\x00\x03", 2), -301},
      {"old bit order 00 FF", std::string("\x00\xFF\xFF", 3), -301},
      {"first code not a clear code", Test_LZW_Pack({'A', 257}), -300},
      {"first code a string code", Test_LZW_Pack({258, 257}), -300},
      {"code of an entry not in use", Test_LZW_Pack({256, 'A', 300, 257}), -300},
      {"all entries used and no clear code", Test_LZW_Pack(full_table), -300},
      // 259 survives the second clear code as "BC"; filling entry 259 again
      // while 259 is the previous code makes it its own prefix, and its chain
      // is longer than its length.
      {"chain longer than the string", Test_LZW_Pack({256, 'A', 'B', 'C', 256, 'X', 259, 259, 257}), -300},
  };
  for (const Case& c : cases) {
    Lzw_Outcome outcome = Decode(c.input);
    EXPECT_EQ(outcome.result, c.result) << c.name;
    EXPECT_EQ(outcome.live_after_release, 0) << c.name;
  }
}

TEST(PdfLzw, LastEntryOfTheTableStillDecodes) {
  // A clear code and 3839 codes fill entries 258 to 4095, all of them; the
  // end code then still ends the data (one more code fails, see above).
  std::vector<int> codes = {256};
  std::string expected;
  for (int i = 0; i < 3839; ++i) {
    codes.push_back('a' + i % 26);
    expected.push_back(static_cast<char>('a' + i % 26));
  }
  codes.push_back(257);
  Lzw_Outcome outcome = Decode(Test_LZW_Pack(codes));
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.output, expected);
}

TEST(PdfLzw, NotOldBitOrder) {
  // The mark needs a zero byte followed by a byte with its low bit set.
  // 00 02 starts with the literal 0 without a clear code.
  EXPECT_EQ(Decode(std::string("\x00\x02", 2)).result, -300);
  // 01 01: the nine bits 000000010 are the literal 2, again without a clear.
  EXPECT_EQ(Decode(std::string("\x01\x01", 2)).result, -300);
  // A single zero byte carries no mark and holds no whole code.
  Lzw_Outcome outcome = Decode(std::string("\x00", 1));
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.output, "");
}

TEST(PdfLzw, ClearCodeThenEndCodeIsNoEnd) {
  // Each pass decodes HELLO and stops at the clear code and end code without
  // finishing, as if the buffer were too small. The buffer grows until it
  // passes 1365 times the 9 input bytes, and then comes back as it is: fresh
  // and undecoded, with the count of the last pass.
  Lzw_Outcome outcome = Decode(Test_LZW_Pack({256, 'H', 'E', 'L', 'L', 'O', 256, 257}));
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.output.size(), 5u);
  std::vector<uint64_t> expected = {18,  27,   40,   60,   90,   135,  202,  303,   454,
                                    681, 1021, 1531, 2296, 3444, 5166, 7749, 11623, 17434};
  EXPECT_EQ(outcome.buffer_sizes, expected);
  EXPECT_EQ(outcome.live_after_release, 0);

  // With nothing before them no pass stores more than 0.
  outcome = Decode(Test_LZW_Encode(""));
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.output, "");
  ASSERT_EQ(outcome.buffer_sizes.size(), 17u);
  EXPECT_EQ(outcome.buffer_sizes.back(), 5166u);
}

TEST(PdfLzw, EntriesSurviveAClearCode) {
  // After the second clear code, 259 is still "BC" from before it.
  Lzw_Outcome outcome = Decode(Test_LZW_Pack({256, 'A', 'B', 'C', 256, 'X', 259, 257}));
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.output, "ABCXBC");
}

TEST(PdfLzw, EarlyChangeZeroIsDecodedAsOne) {
  // Until 253 entries exist both kinds of data agree.
  std::string short_text = Words(200);
  Lzw_Outcome outcome = Decode(Test_LZW_Encode(short_text, 0));
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.output, short_text);
  // Past that the decoder reads ten-bit codes one code too soon.
  std::string long_text = Words(20000);
  std::string late = Test_LZW_Encode(long_text, 0);
  ASSERT_NE(late, Test_LZW_Encode(long_text, 1));
  outcome = Decode(late);
  EXPECT_FALSE(outcome.result == 0 && outcome.output == long_text);
  EXPECT_EQ(outcome.live_after_release, 0);
}

TEST(PdfLzw, DataWithoutEndCodeStopsAtTheEndOfInput) {
  // The pass that reaches the end of the input finishes: the buffer grows
  // only until the data fits, and not on up to the limit.
  for (const std::string& data : {Random_Bytes(3000, 2), Words(30000)}) {
    Lzw_Outcome outcome = Decode(Test_LZW_Encode(data, 1, false));
    EXPECT_EQ(outcome.result, 0);
    EXPECT_TRUE(outcome.output == data);
    size_t passes = outcome.buffer_sizes.size();
    EXPECT_TRUE(passes == 1 || outcome.buffer_sizes[passes - 2] <= data.size()) << passes;
  }
  // Also right after a clear code: that is not taken for a clear and end code.
  Lzw_Outcome outcome = Decode(Test_LZW_Pack({256, 'A', 'B', 256}));
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.output, "AB");
  EXPECT_EQ(outcome.buffer_sizes.size(), 1u);
}

TEST(PdfLzw, EmptyInputGivesEmptyOutput) {
  Lzw_Outcome outcome = Decode("", 0);
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(outcome.buffer_sizes, (std::vector<uint64_t>{8}));
  EXPECT_EQ(outcome.live_after_release, 0);
}

TEST(PdfLzw, RefusesMissingArguments) {
  Decoder_Memory recorder;
  PDF_Memory* memory = Decoder_Memory_Open(&recorder);
  std::string input = Test_LZW_Encode("abc");
  uint8_t* buffer = nullptr;
  uint64_t length = 0;
  EXPECT_EQ(PDF_LZW_Decode(nullptr, Decoder_Bytes(input), input.size(), &buffer, &length), -500);
  EXPECT_EQ(PDF_LZW_Decode(memory, Decoder_Bytes(input), input.size(), nullptr, &length), -500);
  EXPECT_EQ(PDF_LZW_Decode(memory, Decoder_Bytes(input), input.size(), &buffer, nullptr), -500);
  EXPECT_EQ(PDF_LZW_Decode(memory, nullptr, 3, &buffer, &length), -500);
  EXPECT_EQ(recorder.allocator.requests, 0u);
}

TEST(PdfLzw, RunStagesOnOneSource) {
  Decoder_Memory recorder;
  PDF_Memory* memory = Decoder_Memory_Open(&recorder);
  std::string input = Test_LZW_Pack({256, 'A', 258, 257});
  PDF_LZW_Source source = {};
  ASSERT_EQ(PDF_LZW_Setup(memory, &source, Decoder_Bytes(input), input.size()), 0);
  ASSERT_EQ(PDF_LZW_Reset(&source), 0);
  uint8_t output[4] = {0, 0, 0, 0};
  // No room for "AA" after "A": given up at once, the count not stored.
  uint64_t count = 77;
  EXPECT_EQ(PDF_LZW_Run(memory, &source, output, 2, &count), 1);
  EXPECT_EQ(count, 77u);
  // Exactly "AAA": the end code isn't reached, but the count is stored.
  EXPECT_EQ(PDF_LZW_Run(memory, &source, output, 3, &count), 1);
  EXPECT_EQ(count, 3u);
  // Room to spare: finished, and every pass started from the first code.
  count = 77;
  EXPECT_EQ(PDF_LZW_Run(memory, &source, output, 4, &count), 0);
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(Decoder_Text(output, 3), "AAA");
  // The output size is taken as a signed 32-bit count: 2^32 + 2 is 2.
  count = 77;
  EXPECT_EQ(PDF_LZW_Run(memory, &source, output, (uint64_t(1) << 32) + 2, &count), 1);
  EXPECT_EQ(count, 77u);
  EXPECT_EQ(PDF_LZW_Cleanup(memory, &source), 0);
  EXPECT_EQ(source.state, nullptr);
  EXPECT_EQ(recorder.allocator.live, 0);
}

TEST(PdfLzw, ResetFillsTheSingleBytesAndEmptiesTheRest) {
  Decoder_Memory recorder;
  PDF_Memory* memory = Decoder_Memory_Open(&recorder);
  std::string input = Test_LZW_Encode("abc");
  PDF_LZW_Source source = {};
  ASSERT_EQ(PDF_LZW_Setup(memory, &source, Decoder_Bytes(input), input.size()), 0);
  ASSERT_EQ(PDF_LZW_Reset(&source), 0);
  const PDF_LZW_State* state = source.state;
  EXPECT_EQ(state->code_bits, 9);
  EXPECT_EQ(state->code_mask, 511u);
  EXPECT_EQ(state->old_code_limit, 510);
  EXPECT_EQ(state->free_entry, state->table + 258);
  EXPECT_EQ(state->max_entry, state->table + 510);
  EXPECT_EQ(source.read_pointer, Decoder_Bytes(input));
  for (int code : {0, 65, 255}) {
    EXPECT_EQ(state->table[code].length, 1);
    EXPECT_EQ(state->table[code].value, code);
    EXPECT_EQ(state->table[code].first_char, code);
    EXPECT_EQ(state->table[code].next, nullptr);
  }
  for (int code : {258, 1000, 4095}) EXPECT_EQ(state->table[code].length, 0);
  EXPECT_EQ(PDF_LZW_Cleanup(memory, &source), 0);
  EXPECT_EQ(recorder.allocator.live, 0);
}

TEST(PdfLzw, EveryFailedAllocationLeavesNothing) {
  // The buffer, the state, the table, and the buffers of later passes.
  std::string encoded = Test_LZW_Encode(std::string(5000, 'x'));
  Decoder_Memory clean;
  uint8_t* buffer = nullptr;
  uint64_t length = 0;
  ASSERT_EQ(PDF_LZW_Decode(Decoder_Memory_Open(&clean), Decoder_Bytes(encoded), encoded.size(), &buffer, &length), 0);
  PDF_Memory_Free(&clean.memory, &buffer);
  uint64_t requests = clean.allocator.requests;
  ASSERT_GT(requests, 5u);
  for (uint64_t n = 1; n <= requests; ++n) {
    Decoder_Memory recorder;
    PDF_Memory* memory = Decoder_Memory_Open(&recorder);
    recorder.allocator.fail_at = n;
    EXPECT_EQ(PDF_LZW_Decode(memory, Decoder_Bytes(encoded), encoded.size(), &buffer, &length), -7) << n;
    EXPECT_EQ(buffer, nullptr) << n;
    EXPECT_EQ(recorder.allocator.live, 0) << n;
  }
}

}  // namespace
