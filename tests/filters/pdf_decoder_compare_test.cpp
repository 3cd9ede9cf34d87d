// The one-pass decoders against the decoders they replaced, which ran every
// growth from the start (zlib's uncompress for Flate, a pass from the first
// code for LZW), kept here as the reference: the same code and the same bytes
// over generated, cut, damaged and random streams and every stream of the
// sample invoices.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "filters/pdf_flate.h"
#include "filters/pdf_lzw.h"
#include "support/corpus.h"
#include "support/filter_test_support.h"
#include "support/lzw_encoder.h"

namespace {

struct Reference {
  PDF_Result result;
  std::string output;
  bool unwritten;     // the buffer handed over was never written: only its length counts
  bool earlier_pass;  // a pass drew on what a shorter pass before it left in the table
};

// A buffer of zeros, which the system hands over untouched when it is large:
// the old decoders took buffers of up to 1365 times their input.
typedef std::unique_ptr<uint8_t, void (*)(void*)> Fresh_Buffer;
Fresh_Buffer Fresh(uint64_t size) { return Fresh_Buffer(static_cast<uint8_t*>(calloc(size, 1)), free); }

// Flate as it was: uncompress into a buffer twice the input, again from the
// start into one half as large again while zlib has no room.
Reference Reference_Flate(const std::string& input) {
  if (input.empty()) return {PDF_RESULT_OUT_OF_MEMORY, "", false, false};
  uint64_t size = input.size() * 2;
  for (;;) {
    const Fresh_Buffer buffer = Fresh(size);
    uLongf produced = static_cast<uint32_t>(size);
    int status = uncompress(buffer.get(), &produced, Decoder_Bytes(input), input.size());
    if (status == Z_OK)
      return {PDF_RESULT_OK, std::string(reinterpret_cast<char*>(buffer.get()), produced), false, false};
    if (status != Z_BUF_ERROR && status != Z_MEM_ERROR) return {PDF_RESULT_BAD_COMPRESSED_DATA, "", false, false};
    size = static_cast<uint32_t>(size);
    size += size / 2;
  }
}

uint32_t Reference_Read_Code(const uint8_t** read_pointer, uint64_t* read_left, uint32_t* next_data, int32_t* next_bits,
                             uint32_t code_bits, uint32_t code_mask) {
  for (int byte = 0; byte < 2; ++byte) {
    if (byte == 1 && *next_bits >= static_cast<int32_t>(code_bits)) break;
    if (*read_left == 0) return 0xFFFFFFFFu;
    *next_data = (*next_data << 8) | **read_pointer;
    *read_pointer += 1;
    *read_left -= 1;
    *next_bits += 8;
  }
  uint32_t code = (*next_data >> (*next_bits - static_cast<int32_t>(code_bits))) & code_mask;
  *next_bits -= static_cast<int32_t>(code_bits);
  return code;
}

bool In_Table(const PDF_LZW_Code* table, const PDF_LZW_Code* entry) {
  return entry >= table && entry < table + PDF_LZW_TABLE_SIZE;
}

// One LZW pass as it was: from the state of PDF_LZW_Reset every time, into a
// room of the size as a signed 32-bit count; the count is not stored when a
// string doesn't fit.
PDF_Result Reference_LZW_Pass(PDF_LZW_Source* source, uint8_t* output, uint64_t out_size, uint64_t* out_count,
                              bool later_pass, bool* earlier_pass) {
  const PDF_LZW_State* state = source->state;
  PDF_LZW_Code* const table = state->table;
  uint32_t code_bits = state->code_bits, code_mask = state->code_mask, next_data = state->next_data;
  int32_t next_bits = state->next_bits;
  PDF_LZW_Code *old_code = state->old_code, *free_entry = state->free_entry, *max_entry = state->max_entry;
  const uint8_t* read_pointer = source->read_pointer;
  uint64_t read_left = source->read_left;
  int32_t room = static_cast<int32_t>(out_size);
  uint8_t* out = output;
  bool finished = false;
  while (room > 0) {
    uint32_t code = Reference_Read_Code(&read_pointer, &read_left, &next_data, &next_bits, code_bits, code_mask);
    if (code == PDF_LZW_END_CODE || code == 0xFFFFFFFFu) {
      finished = true;
      break;
    }
    if (code == PDF_LZW_CLEAR_CODE) {
      free_entry = table + PDF_LZW_FIRST_FREE;
      code_bits = 9;
      code_mask = 511;
      max_entry = table + 510;
      code = Reference_Read_Code(&read_pointer, &read_left, &next_data, &next_bits, code_bits, code_mask);
      if (code == 0xFFFFFFFFu) {
        finished = true;
        break;
      }
      if (code == PDF_LZW_END_CODE) break;
      // An entry that this pass may not have built yet becomes the prefix of
      // the next one: a later pass sees what the pass before it left there.
      if (later_pass && code >= PDF_LZW_FIRST_FREE) *earlier_pass = true;
      *out++ = static_cast<uint8_t>(code);
      room -= 1;
      old_code = table + code;
      continue;
    }
    PDF_LZW_Code* entry = table + code;
    if (!In_Table(table, free_entry)) return PDF_RESULT_BAD_COMPRESSED_DATA;
    free_entry->next = old_code;
    if (!In_Table(table, old_code)) return PDF_RESULT_BAD_COMPRESSED_DATA;
    free_entry->first_char = old_code->first_char;
    free_entry->length = static_cast<uint16_t>(old_code->length + 1);
    free_entry->value = entry < free_entry ? entry->first_char : free_entry->first_char;
    free_entry += 1;
    if (free_entry > max_entry) {
      code_bits = code_bits < 12 ? code_bits + 1 : 12;
      code_mask = (1u << code_bits) - 1;
      max_entry = table + code_mask - 1;
    }
    old_code = entry;
    if (code < 256) {
      *out++ = static_cast<uint8_t>(code);
      room -= 1;
      continue;
    }
    int32_t length = entry->length;
    if (length == 0) return PDF_RESULT_BAD_COMPRESSED_DATA;
    if (length > room) return PDF_LZW_RUN_NOT_FINISHED;
    uint8_t* write = out + length;
    const PDF_LZW_Code* link = entry;
    while (link != nullptr && write > out) {
      *--write = link->value;
      link = link->next;
    }
    if (link != nullptr) return PDF_RESULT_BAD_COMPRESSED_DATA;
    out += length;
    room -= length;
  }
  *out_count = static_cast<uint64_t>(out - output);
  return finished ? PDF_LZW_RUN_FINISHED : PDF_LZW_RUN_NOT_FINISHED;
}

// LZW as it was: every pass from the first code, into a buffer half as large
// again each time, until a pass finishes or the size passes the limit.
Reference Reference_LZW(const std::string& input) {
  Test_Allocator allocator{};
  PDF_Memory memory = Test_Memory(&allocator);
  PDF_LZW_Source source = {};
  PDF_Result result = PDF_LZW_Setup(&memory, &source, Decoder_Bytes(input), input.size());
  if (result == PDF_RESULT_OK) result = PDF_LZW_Reset(&source);
  Reference reference = {result, "", false, false};
  uint64_t size = PDF_LZW_Initial_Size(input.size());
  uint64_t count = 0;
  for (bool later_pass = false; result == PDF_RESULT_OK; later_pass = true) {
    if (size > PDF_LZW_Input_Limit(input.size())) {
      reference.unwritten = true;
      reference.output.resize(count);
      break;
    }
    const Fresh_Buffer buffer = Fresh(size);
    result = Reference_LZW_Pass(&source, buffer.get(), size, &count, later_pass, &reference.earlier_pass);
    if (result == PDF_LZW_RUN_FINISHED) {
      reference.output.assign(reinterpret_cast<char*>(buffer.get()), count);
      break;
    }
    if (result == PDF_LZW_RUN_NOT_FINISHED) {
      result = PDF_RESULT_OK;
      size = static_cast<uint64_t>(static_cast<double>(size) * 1.5);
    }
  }
  reference.result = result;
  PDF_LZW_Cleanup(&memory, &source);
  return reference;
}

// Text that compresses a little or a lot, by seed.
std::string Sample_Text(std::mt19937* random) {
  std::string text;
  size_t size = (*random)() % 6000;
  uint32_t alphabet = 1 + (*random)() % 255;
  while (text.size() < size) {
    if ((*random)() % 4 == 0 && !text.empty()) {
      size_t from = (*random)() % text.size();
      text += text.substr(from, 1 + (*random)() % 300);
    } else {
      text.push_back(static_cast<char>((*random)() % alphabet));
    }
  }
  return text;
}

// The stream cut, or with a few bytes changed, or as it is.
std::string Damage(std::string bytes, std::mt19937* random) {
  if (bytes.empty()) return bytes;
  switch ((*random)() % 4) {
    case 0:
      return bytes.substr(0, (*random)() % bytes.size());
    case 1:
      for (uint32_t flips = 1 + (*random)() % 3; flips > 0; --flips) {
        bytes[(*random)() % bytes.size()] ^= static_cast<char>(1u << ((*random)() % 8));
      }
      return bytes;
    case 2:
      return bytes + Random_Bytes((*random)() % 40, (*random)());
    default:
      return bytes;
  }
}

// LZW codes as an encoder would write them, with now and then a code that
// breaks the rules: an entry beyond the table, a clear code followed by the
// end code, no clear code for too long.
std::string Sample_Codes(std::mt19937* random) {
  std::vector<int> codes;
  int next_entry = 258;
  bool after_clear = false;
  if ((*random)() % 20 != 0) codes.push_back(256), after_clear = true;
  for (uint32_t n = (*random)() % 5000; n > 0; --n) {
    uint32_t pick = (*random)() % 1000;
    int code = 0;
    if (pick < 8) {
      code = 256;
    } else if (pick < 10) {
      code = 257;
    } else if (pick < 15) {
      code = next_entry + static_cast<int>((*random)() % 40);  // not built yet
    } else if (pick < 500 || after_clear || next_entry == 258) {
      code = static_cast<int>((*random)() % 256);
    } else {
      code = 258 + static_cast<int>((*random)() % static_cast<uint32_t>(next_entry - 257));
    }
    if (code > 4095) code = 4095;
    codes.push_back(code);
    if (code == 256) {
      next_entry = 258;
      after_clear = true;
    } else if (code != 257) {
      if (!after_clear && next_entry < 4096) next_entry += 1;
      after_clear = false;
    }
    if (next_entry == 4096 && (*random)() % 2 == 0) codes.push_back(256), next_entry = 258, after_clear = true;
  }
  if ((*random)() % 4 != 0) codes.push_back(257);
  return Test_LZW_Pack(codes);
}

// The bytes between each stream keyword and the endstream after it, in
// every sample invoice.
std::vector<std::string> Corpus_Streams() {
  std::vector<std::string> streams;
  for (const Corpus_Row& row : Read_Expected()) {
    std::ifstream file(kCorpus + row.file, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    for (size_t at = bytes.find("stream"); at != std::string::npos; at = bytes.find("stream", at + 6)) {
      if (at >= 3 && bytes.compare(at - 3, 3, "end") == 0) continue;
      size_t start = at + 6;
      if (bytes.compare(start, 2, "\r\n") == 0) {
        start += 2;
      } else if (start < bytes.size() && (bytes[start] == '\n' || bytes[start] == '\r')) {
        start += 1;
      } else {
        continue;
      }
      size_t end = bytes.find("endstream", start);
      if (end == std::string::npos) break;
      streams.push_back(bytes.substr(start, end - start));
    }
  }
  return streams;
}

struct Tally {
  std::map<PDF_Result, int> results;
  int unwritten = 0;
  int earlier_pass = 0;
};

struct Input_Row {
  const char* name;
  int count;  // -1 with no make: every stream of the sample invoices
  std::string (*make)(std::mt19937*, int);
};

void Expect_Same(Decode_Function decode, Reference (*reference_decode)(const std::string&), const std::string& input,
                 Tally* tally, const std::string& name) {
  const Reference reference = reference_decode(input);
  if (reference.earlier_pass) {
    tally->earlier_pass += 1;
    return;
  }
  Test_Allocator allocator{};
  const Decode_Outcome outcome = Decoder_Run(decode, input, &allocator);
  tally->results[reference.result] += 1;
  tally->unwritten += reference.unwritten ? 1 : 0;
  EXPECT_EQ(outcome.result, reference.result) << name;
  EXPECT_EQ(outcome.output.size(), reference.output.size()) << name;
  if (!reference.unwritten) {
    EXPECT_TRUE(outcome.output == reference.output) << name;
  }
  EXPECT_EQ(outcome.live_after_release, 0) << name;
}

// Every row's inputs through the decoder and its reference; the corpus
// streams damaged first when asked.
Tally Compare_Rows(Decode_Function decode, Reference (*reference_decode)(const std::string&),
                   const std::vector<Input_Row>& rows, bool damage_corpus) {
  const std::vector<std::string> corpus = Corpus_Streams();
  EXPECT_GT(corpus.size(), 100u);
  Tally tally;
  std::mt19937 random(22);
  for (const Input_Row& row : rows) {
    const int count = row.make != nullptr ? row.count : static_cast<int>(corpus.size());
    for (int i = 0; i < count; ++i) {
      std::string input = row.make != nullptr ? row.make(&random, i) : corpus[i];
      if (row.make == nullptr && damage_corpus) input = Damage(input, &random);
      Expect_Same(decode, reference_decode, input, &tally, row.name + std::string(" ") + std::to_string(i));
    }
  }
  return tally;
}

TEST(DecoderCompare, FlateGivesWhatUncompressGave) {
  Tally tally = Compare_Rows(
      PDF_Flate_Decode, Reference_Flate,
      {
          {"deflated text", 400,
           [](std::mt19937* random, int) { return Deflate(Sample_Text(random), static_cast<int>((*random)() % 10)); }},
          {"cut, changed or padded", 1500,
           [](std::mt19937* random, int) {
             return Damage(Deflate(Sample_Text(random), static_cast<int>((*random)() % 10)), random);
           }},
          {"a zlib header and random bytes", 300,
           [](std::mt19937* random, int) { return "\x78\x9c" + Random_Bytes((*random)() % 300, (*random)()); }},
          {"sample invoice streams, damaged", -1, nullptr},
      },
      true);
  EXPECT_GT(tally.results[PDF_RESULT_OK], 800);
  EXPECT_GT(tally.results[PDF_RESULT_BAD_COMPRESSED_DATA], 800);
}

TEST(DecoderCompare, LzwGivesWhatEveryPassFromTheStartGave) {
  Tally tally = Compare_Rows(
      PDF_LZW_Decode, Reference_LZW,
      {
          {"encoded text", 300,
           [](std::mt19937* random, int i) { return Test_LZW_Encode(Sample_Text(random), i % 5 == 0 ? 0 : 1); }},
          {"cut, changed or padded", 1000,
           [](std::mt19937* random, int i) { return Damage(Test_LZW_Encode(Sample_Text(random), i % 2), random); }},
          {"codes that break the rules", 2000, [](std::mt19937* random, int) { return Sample_Codes(random); }},
          {"random bytes", 300, [](std::mt19937* random, int) { return Random_Bytes((*random)() % 64, (*random)()); }},
          {"the old bit order", 20,
           [](std::mt19937* random, int i) { return std::string(1, '\0') + char(1 + 2 * i) + Sample_Codes(random); }},
          {"sample invoice streams", -1, nullptr},
      },
      false);
  EXPECT_GT(tally.results[PDF_RESULT_OK], 800);
  EXPECT_GT(tally.results[PDF_RESULT_BAD_COMPRESSED_DATA], 800);
  EXPECT_GT(tally.results[PDF_RESULT_OLD_LZW], 0);
  EXPECT_GT(tally.unwritten, 5) << "limits passed";
  EXPECT_LT(tally.earlier_pass, 100) << "only these may differ, and they are rare";
}

}  // namespace
