// LZW decoder over the whole input.
#include <cstdint>
#include <cstring>
#include <vector>

#include "filters/pdf_lzw.h"
#include "fuzz_common.h"
#include "runtime/pdf_result.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Fuzz_Allocator allocator;
  allocator.byte_ceiling = 64ull << 20;
  PDF_Memory memory = Fuzz_Memory(&allocator);
  // A copy of exactly the input's size, so that a read behind it shows.
  std::vector<uint8_t> input(data, data + size);
  uint8_t* output = nullptr;
  uint64_t length = 0;
  PDF_Result result = PDF_LZW_Decode(&memory, input.data(), input.size(), &output, &length);
  if (result == PDF_RESULT_OK) {
    volatile uint8_t sum = 0;
    for (uint64_t i = 0; i < length; ++i) sum = static_cast<uint8_t>(sum + output[i]);
    PDF_Memory_Free(&memory, &output);
  }
  if (allocator.live_blocks != 0) __builtin_trap();
  return 0;
}
