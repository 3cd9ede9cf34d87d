// A PDF_Memory over the counting test allocator that also records the size of
// every request, and whose release callback can be made to answer a failure
// (after releasing the block all the same).
#ifndef INVOICE_EXTRACT_DECODER_TEST_MEMORY_H
#define INVOICE_EXTRACT_DECODER_TEST_MEMORY_H

#include <cstdint>
#include <string>
#include <vector>

#include "runtime/pdf_memory.h"
#include "support/test_memory.h"

struct Decoder_Memory {
  Test_Allocator allocator{};
  std::vector<uint64_t> sizes;  // every request, failed ones included
  int32_t free_result = 0;
  PDF_Memory memory{};
};

inline void* Decoder_Memory_Alloc(uint64_t size, void* data) {
  Decoder_Memory* recorder = static_cast<Decoder_Memory*>(data);
  recorder->sizes.push_back(size);
  return Test_Alloc(size, &recorder->allocator);
}

inline int32_t Decoder_Memory_Free(void* block, void* data) {
  Decoder_Memory* recorder = static_cast<Decoder_Memory*>(data);
  int32_t result = Test_Free(block, &recorder->allocator);
  return result != 0 ? result : recorder->free_result;
}

inline PDF_Memory* Decoder_Memory_Open(Decoder_Memory* recorder) {
  recorder->memory.alloc = Decoder_Memory_Alloc;
  recorder->memory.alloc_data = recorder;
  recorder->memory.free = Decoder_Memory_Free;
  recorder->memory.free_data = recorder;
  return &recorder->memory;
}

inline const uint8_t* Decoder_Bytes(const std::string& text) { return reinterpret_cast<const uint8_t*>(text.data()); }

inline std::string Decoder_Text(const uint8_t* bytes, uint64_t length) {
  return std::string(reinterpret_cast<const char*>(bytes), static_cast<size_t>(length));
}

#endif
