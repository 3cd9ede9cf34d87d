#include "runtime/pdf_memory.h"

PDF_Result PDF_Memory_Create(PDF_Memory** out_memory, PDF_Alloc_Callback alloc, void* alloc_data,
                             PDF_Free_Callback free, void* free_data) {
  if (out_memory == nullptr || alloc == nullptr || free == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Memory* memory = static_cast<PDF_Memory*>(alloc(sizeof(PDF_Memory), alloc_data));
  if (memory == nullptr) {
    // No reporter exists yet, so nothing is reported.
    *out_memory = nullptr;
    return PDF_RESULT_OUT_OF_MEMORY;
  }
  memory->alloc = alloc;
  memory->alloc_data = alloc_data;
  memory->free = free;
  memory->free_data = free_data;
  memory->failures = 0;
  memory->expect = nullptr;
  *out_memory = memory;
  return PDF_RESULT_OK;
}

void* PDF_Memory_Alloc(PDF_Memory* memory, uint64_t size) {
  // Kept: a request for 0 bytes gives null without calling the callback, so
  // every length taken from a file must treat an empty payload apart (an
  // empty Flate stream fails as out of memory because of it).
  if (memory == nullptr || memory->alloc == nullptr || size == 0) return nullptr;
  void* block = memory->alloc(size, memory->alloc_data);
  if (block == nullptr) ++memory->failures;
  return block;
}

void PDF_Memory_Expect(PDF_Memory* memory, uint64_t size) {
  if (memory != nullptr && memory->expect != nullptr) memory->expect(size, memory->alloc_data);
}

PDF_Result PDF_Memory_Free(PDF_Memory* memory, void** holder) {
  // Kept: -8 rather than the -500 of every other operation: a release of
  // nothing is a condition of its own, which callers that guard their
  // pointers never see, and the callback is not reached.
  if (memory == nullptr || memory->free == nullptr || holder == nullptr || *holder == nullptr) {
    return PDF_RESULT_NOTHING_TO_FREE;
  }
  PDF_Result result = memory->free(*holder, memory->free_data);
  // Kept: the holder is cleared whatever the callback answered, so no freed
  // pointer stays behind; a block whose release failed is then held by
  // nobody.
  *holder = nullptr;
  return result;
}

PDF_Result PDF_Memory_Delete(PDF_Memory** holder) {
  if (holder == nullptr || *holder == nullptr || (*holder)->free == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Memory* memory = *holder;
  PDF_Result result = memory->free(memory, memory->free_data);
  *holder = nullptr;
  return result;
}
