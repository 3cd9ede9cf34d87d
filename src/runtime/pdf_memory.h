// The allocator of the PDF library: every block comes from the caller's two
// callbacks through one PDF_Memory per document handle.
#ifndef INVOICE_EXTRACT_PDF_MEMORY_H
#define INVOICE_EXTRACT_PDF_MEMORY_H

#include <cstdint>

#include "runtime/pdf_result.h"

typedef void* (*PDF_Alloc_Callback)(uint64_t size, void* alloc_data);
typedef int32_t (*PDF_Free_Callback)(void* block, void* free_data);
// Optional: told, with the alloc data, that about size bytes in small blocks
// (a cross-reference table's entries) are about to be asked for, so that an
// allocator that takes memory in large pieces can take no more than that. A
// hint that may be ignored; nothing is allocated by it.
typedef void (*PDF_Expect_Callback)(uint64_t size, void* alloc_data);

struct PDF_Memory {
  PDF_Alloc_Callback alloc;
  void* alloc_data;
  PDF_Free_Callback free;
  void* free_data;
  uint64_t failures;           // allocations the callback refused so far
  PDF_Expect_Callback expect;  // may be null
};

PDF_Result PDF_Memory_Create(PDF_Memory** out_memory, PDF_Alloc_Callback alloc, void* alloc_data,
                             PDF_Free_Callback free, void* free_data);
void* PDF_Memory_Alloc(PDF_Memory* memory, uint64_t size);
// Releases *holder and clears it, whatever the callback answers.
PDF_Result PDF_Memory_Free(PDF_Memory* memory, void** holder);
// Passes the hint on to the expect callback, if there is one.
void PDF_Memory_Expect(PDF_Memory* memory, uint64_t size);
PDF_Result PDF_Memory_Delete(PDF_Memory** holder);

// Typed form of PDF_Memory_Free, so that callers pass &pointer of any type.
template <typename T>
inline PDF_Result PDF_Memory_Free(PDF_Memory* memory, T** holder) {
  if (holder == nullptr) return PDF_Memory_Free(memory, static_cast<void**>(nullptr));
  void* block = const_cast<void*>(static_cast<const void*>(*holder));
  PDF_Result result = PDF_Memory_Free(memory, &block);
  *holder = static_cast<T*>(block);
  return result;
}

// Allocates and clears a block of n records of T.
template <typename T>
inline T* PDF_Memory_Alloc_Zeroed(PDF_Memory* memory, uint64_t count = 1) {
  void* block = PDF_Memory_Alloc(memory, sizeof(T) * count);
  if (block != nullptr) {
    unsigned char* bytes = static_cast<unsigned char*>(block);
    for (uint64_t i = 0; i < sizeof(T) * count; ++i) bytes[i] = 0;
  }
  return static_cast<T*>(block);
}

#endif
