// Flate decoder over the whole input. The allocator refuses nothing: the
// decoder's own ceiling on the decoded size must stop a data bomb, and the
// memory it holds at any time must stay within twice that ceiling (the last
// two output buffers during a growth) and zlib's state.
#include <cstdint>

#include "filters/pdf_decode_limit.h"
#include "filters/pdf_flate.h"
#include "fuzz_common.h"
#include "runtime/pdf_result.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Fuzz_Allocator allocator;
  allocator.byte_ceiling = UINT64_MAX;
  PDF_Memory memory = Fuzz_Memory(&allocator);
  uint8_t* output = nullptr;
  uint64_t length = 0;
  PDF_Result result = PDF_Flate_Decode(&memory, data, size, &output, &length);
  if (result == PDF_RESULT_OK) {
    if (length > PDF_DECODED_SIZE_LIMIT) __builtin_trap();
    // Touch every decoded byte, so that a wrong length shows.
    volatile uint8_t sum = 0;
    for (uint64_t i = 0; i < length; ++i) sum = static_cast<uint8_t>(sum + output[i]);
    PDF_Memory_Free(&memory, &output);
  } else if (output != nullptr || (result != PDF_RESULT_BAD_COMPRESSED_DATA && result != PDF_RESULT_OUT_OF_MEMORY)) {
    __builtin_trap();  // a failing decode leaves nothing behind, and damage is -300
  }
  if (allocator.live_blocks != 0 || allocator.peak_bytes > 2 * PDF_DECODED_SIZE_LIMIT + (1u << 20)) __builtin_trap();
  return 0;
}
