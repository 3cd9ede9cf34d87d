// Shared pieces of the fuzz targets: an allocator that keeps count of what is
// live (with an optional ceiling, which only the decoder targets set) and a
// read callback over bytes in memory.
//
// The library bounds every walk itself (a Prev chain ends at a section
// already read, nesting has a limit, a stream's decoded size has a ceiling),
// so the targets over whole files call it with no allowance: no read budget,
// no block ceiling, the ordinary stack. A hang, a crash or an exhausted
// process is a finding.
#ifndef INVOICE_EXTRACT_FUZZ_COMMON_H
#define INVOICE_EXTRACT_FUZZ_COMMON_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "filters/pdf_decode_limit.h"
#include "runtime/pdf_memory.h"

struct Fuzz_Block {
  uint64_t size;
  Fuzz_Block* previous;
  Fuzz_Block* next;
  uint64_t padding;  // keeps the caller's block 16-byte aligned
};

struct Fuzz_Allocator {
  uint64_t live_bytes = 0;
  uint64_t peak_bytes = 0;  // the most live_bytes has been
  uint64_t live_blocks = 0;
  uint64_t byte_ceiling = UINT64_MAX;  // live bytes refused beyond this; set by the decoder targets
  Fuzz_Block* blocks = nullptr;        // every live block
};

// Each block carries a header that keeps it in the allocator's list, so that
// release can keep the counts and the harness can reclaim what is left.
inline void* Fuzz_Alloc(uint64_t size, void* data) {
  Fuzz_Allocator* allocator = static_cast<Fuzz_Allocator*>(data);
  if (size > allocator->byte_ceiling || allocator->live_bytes + size > allocator->byte_ceiling) {
    return nullptr;
  }
  Fuzz_Block* block = static_cast<Fuzz_Block*>(malloc(sizeof(Fuzz_Block) + size));
  if (block == nullptr) return nullptr;
  block->size = size;
  block->previous = nullptr;
  block->next = allocator->blocks;
  if (allocator->blocks != nullptr) allocator->blocks->previous = block;
  allocator->blocks = block;
  allocator->live_bytes += size;
  if (allocator->live_bytes > allocator->peak_bytes) allocator->peak_bytes = allocator->live_bytes;
  allocator->live_blocks += 1;
  return block + 1;
}

inline int32_t Fuzz_Free(void* data_block, void* data) {
  if (data_block == nullptr) return -8;
  Fuzz_Allocator* allocator = static_cast<Fuzz_Allocator*>(data);
  Fuzz_Block* block = static_cast<Fuzz_Block*>(data_block) - 1;
  if (block->previous != nullptr)
    block->previous->next = block->next;
  else
    allocator->blocks = block->next;
  if (block->next != nullptr) block->next->previous = block->previous;
  allocator->live_bytes -= block->size;
  allocator->live_blocks -= 1;
  free(block);
  return 0;
}

// Frees the blocks still live and returns how many there were. The object
// layer keeps a few blocks on some failure paths by design (a variant whose
// value can't be built, a stream copy whose source can't be loaded, a buffer
// of a failed filter step, the object that a failed header read leaves), so
// the targets over files reclaim instead of treating them as findings.
inline uint64_t Fuzz_Reclaim(Fuzz_Allocator* allocator) {
  uint64_t count = 0;
  while (allocator->blocks != nullptr) {
    Fuzz_Free(allocator->blocks + 1, allocator);
    count += 1;
  }
  return count;
}

// A PDF_Memory on the stack over a Fuzz_Allocator.
inline PDF_Memory Fuzz_Memory(Fuzz_Allocator* allocator) {
  PDF_Memory memory{};
  memory.alloc = Fuzz_Alloc;
  memory.alloc_data = allocator;
  memory.free = Fuzz_Free;
  memory.free_data = allocator;
  return memory;
}

// Read callback context: the bytes.
struct Fuzz_Input {
  const uint8_t* bytes;
  uint64_t size;
};

inline uint64_t Fuzz_Read(void* buffer, uint32_t mode, uint64_t position, uint64_t count, const char* path,
                          void* context) {
  (void)path;
  Fuzz_Input* input = static_cast<Fuzz_Input*>(context);
  if (input == nullptr || buffer == nullptr || mode != 1) return 0;
  if (position >= input->size) return 0;
  uint64_t available = input->size - position;
  if (count > available) count = available;
  memcpy(buffer, input->bytes + position, count);
  return count;
}

#endif
