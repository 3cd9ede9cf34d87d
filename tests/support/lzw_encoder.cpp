#include "lzw_encoder.h"

#include <map>
#include <utility>

namespace {

// Packs codes and follows the table the way an encoder builds it: every code
// but a clear or end code creates one entry, and the width grows when the
// next entry would no longer be reachable (one code earlier with
// early_change 1). A clear code goes back to 9 bits.
struct Test_LZW_Writer {
  int early_change = 1;
  std::string bytes;
  uint32_t bits = 0;    // bits waiting, aligned to the low end
  int bit_count = 0;    // how many
  int width = 9;        // width of the next code
  int next_code = 258;  // entry that the next code creates
};

void Test_LZW_Writer_Put(Test_LZW_Writer* writer, int code) {
  for (int bit = writer->width - 1; bit >= 0; --bit) {
    writer->bits = (writer->bits << 1) | ((static_cast<uint32_t>(code) >> bit) & 1u);
    writer->bit_count += 1;
    if (writer->bit_count == 8) {
      writer->bytes.push_back(static_cast<char>(writer->bits & 0xFF));
      writer->bits = 0;
      writer->bit_count = 0;
    }
  }
  if (code == 256) {
    writer->width = 9;
    writer->next_code = 258;
    return;
  }
  if (code == 257) return;
  // This code created entry next_code. The code after it may be any entry up
  // to that one, so a wider code is due once next_code no longer fits; with
  // early_change the switch comes one code sooner.
  writer->next_code += 1;
  if (writer->width < 12 && writer->next_code + writer->early_change > (1 << writer->width)) writer->width += 1;
}

// Pads the last byte with zero bits and returns the bytes.
std::string Test_LZW_Writer_Finish(Test_LZW_Writer* writer) {
  if (writer->bit_count > 0) {
    writer->bytes.push_back(static_cast<char>((writer->bits << (8 - writer->bit_count)) & 0xFF));
  }
  return writer->bytes;
}

}  // namespace

std::string Test_LZW_Pack(const std::vector<int>& codes, int early_change) {
  Test_LZW_Writer writer;
  writer.early_change = early_change;
  for (int code : codes) Test_LZW_Writer_Put(&writer, code);
  return Test_LZW_Writer_Finish(&writer);
}

std::string Test_LZW_Encode(const std::string& data, int early_change, bool with_end_code) {
  Test_LZW_Writer writer;
  writer.early_change = early_change;
  std::map<std::pair<int, uint8_t>, int> dictionary;
  int next_code = 258;
  Test_LZW_Writer_Put(&writer, 256);
  int prefix = -1;
  for (char c : data) {
    uint8_t byte = static_cast<uint8_t>(c);
    if (prefix < 0) {
      prefix = byte;
      continue;
    }
    auto found = dictionary.find(std::make_pair(prefix, byte));
    if (found != dictionary.end()) {
      prefix = found->second;
      continue;
    }
    Test_LZW_Writer_Put(&writer, prefix);
    dictionary[std::make_pair(prefix, byte)] = next_code++;
    if (next_code == 4096) {
      // Table full: start over before any code would need a thirteenth bit.
      Test_LZW_Writer_Put(&writer, 256);
      dictionary.clear();
      next_code = 258;
    }
    prefix = byte;
  }
  if (prefix >= 0) Test_LZW_Writer_Put(&writer, prefix);
  if (with_end_code) Test_LZW_Writer_Put(&writer, 257);
  return Test_LZW_Writer_Finish(&writer);
}

std::string Test_LZW_Zeros(uint64_t count, int last) {
  std::vector<int> codes;
  uint64_t made = 0;
  while (made < count) {
    codes.push_back(256);
    codes.push_back(0);
    made += 1;
    for (int code = 258; code <= last && made < count; ++code) {
      // Each code makes the entry of its own number; it is the run one longer
      // than the code before it, and once a run no longer fits, literals
      // finish the data.
      const uint64_t run = static_cast<uint64_t>(code) - 256;
      const bool longer = codes.back() == code - 1 || code == 258;
      codes.push_back(longer && made + run <= count ? code : 0);
      made += codes.back() == 0 ? 1 : run;
    }
  }
  codes.push_back(257);
  return Test_LZW_Pack(codes);
}
