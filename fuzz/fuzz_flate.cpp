// Flate decoder over the whole input. The allocator's ceiling stops a data
// bomb with -7, which is how the decoder itself ends one.
#include <cstdint>

#include "filters/pdf_flate.h"
#include "fuzz_common.h"
#include "runtime/pdf_result.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Fuzz_Allocator allocator;
  allocator.byte_ceiling = 32ull << 20;
  PDF_Memory memory = Fuzz_Memory(&allocator);
  uint8_t* output = nullptr;
  uint64_t length = 0;
  PDF_Result result = PDF_Flate_Decode(&memory, data, size, &output, &length);
  if (result == PDF_RESULT_OK) {
    // Touch every decoded byte, so that a wrong length shows.
    volatile uint8_t sum = 0;
    for (uint64_t i = 0; i < length; ++i) sum = static_cast<uint8_t>(sum + output[i]);
    PDF_Memory_Free(&memory, &output);
  } else if (output != nullptr) {
    __builtin_trap();  // a failing decode must leave nothing behind
  }
  if (allocator.live_blocks != 0) __builtin_trap();
  return 0;
}
