// Text conversions: the first byte chooses the operation and its flags, the
// rest is the text.
//
// Some reads behind the input are part of the conversions' contract: a UTF-8
// sequence cut at the end reads the byte behind it and relies on a NUL there,
// an odd last byte of UTF-16 is read with the byte behind it, and a trailing
// high surrogate makes the writing pass read two bytes behind. So the text is
// copied with four NUL bytes behind it, as the callers' strings have.
#include <cstdint>
#include <cstring>
#include <vector>

#include "fuzz_common.h"
#include "runtime/pdf_result.h"
#include "text/pdf_text.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  uint8_t selector = data[0];
  std::vector<uint8_t> text(data + 1, data + size);
  uint64_t length = text.size();
  text.resize(text.size() + 4, 0);

  Fuzz_Allocator allocator;
  PDF_Memory memory = Fuzz_Memory(&allocator);
  bool measure_only = (selector & 0x80) != 0;
  switch (selector % 7) {
    case 0:
    case 1: {
      uint8_t wide = selector % 7;
      uint8_t* out = nullptr;
      uint64_t out_length = 0;
      uint64_t measured = 0;
      uint8_t measured_wide = wide;
      PDF_Result measure = PDF_Text_From_UTF8(nullptr, text.data(), length, nullptr, &measured, &measured_wide, true);
      PDF_Result result = PDF_Text_From_UTF8(&memory, text.data(), length, &out, &out_length, &wide, measure_only);
      if (measure != result) __builtin_trap();
      if (result == PDF_RESULT_OK && !measure_only) {
        if (out_length != measured || wide != measured_wide || out[out_length] != 0) __builtin_trap();
        PDF_Memory_Free(&memory, &out);
      }
      break;
    }
    case 2:
    case 3:
    case 4:
    case 5: {
      static const PDF_Text_Encoding kEncodings[] = {PDF_TEXT_LATIN1, PDF_TEXT_WIN_ANSI, PDF_TEXT_PDF_DOC,
                                                     PDF_TEXT_UTF16};
      PDF_Text_Encoding encoding = kEncodings[selector % 7 - 2];
      char* out = nullptr;
      uint64_t out_length = 0;
      PDF_Result result = PDF_Text_To_UTF8(&memory, text.data(), length, encoding, &out, &out_length, measure_only);
      if (result == PDF_RESULT_OK && !measure_only) {
        if (out[out_length] != 0) __builtin_trap();
        PDF_Memory_Free(&memory, &out);
      }
      break;
    }
    default: {
      char* out = nullptr;
      uint64_t out_length = 0;
      PDF_Result result = PDF_Text_To_Hex(&memory, text.data(), length, &out, &out_length, measure_only);
      if (result == PDF_RESULT_OK && !measure_only) {
        if (out_length != 2 * length || PDF_Text_Length(out) != out_length) __builtin_trap();
        PDF_Memory_Free(&memory, &out);
      }
      break;
    }
  }
  if (allocator.live_blocks != 0) __builtin_trap();
  return 0;
}
