// LZW decoder over the whole input. The allocator refuses nothing: the
// decoder's own ceiling on the decoded size must stop a data bomb, and the
// memory it holds at any time must stay within twice that ceiling (the last
// two output buffers during a growth) and the code table.
#include <cstdint>
#include <cstring>
#include <vector>

#include "filters/pdf_decode_limit.h"
#include "filters/pdf_lzw.h"
#include "fuzz_common.h"
#include "runtime/pdf_result.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Fuzz_Allocator allocator;
  allocator.byte_ceiling = UINT64_MAX;
  PDF_Memory memory = Fuzz_Memory(&allocator);
  // A copy of exactly the input's size, so that a read behind it shows.
  std::vector<uint8_t> input(data, data + size);
  uint8_t* output = nullptr;
  uint64_t length = 0;
  PDF_Result result = PDF_LZW_Decode(&memory, input.data(), input.size(), &output, &length);
  if (result == PDF_RESULT_OK) {
    if (length > PDF_DECODED_SIZE_LIMIT) __builtin_trap();
    volatile uint8_t sum = 0;
    for (uint64_t i = 0; i < length; ++i) sum = static_cast<uint8_t>(sum + output[i]);
    PDF_Memory_Free(&memory, &output);
  } else if (output != nullptr) {
    __builtin_trap();
  }
  if (allocator.live_blocks != 0 || allocator.peak_bytes > 2 * PDF_DECODED_SIZE_LIMIT + (1u << 20)) __builtin_trap();
  return 0;
}
