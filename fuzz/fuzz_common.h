// Shared pieces of the fuzz targets: an allocator with a ceiling, a read
// callback over bytes in memory with a budget of calls, and a worker thread
// with a large stack.
//
// The library keeps some hazards on hostile input on purpose: a Prev chain
// that loops is walked for ever, nesting recurses without a depth counter.
// The harnesses stop such inputs early from outside, so that the fuzzer
// reports real findings only:
//   - the allocator refuses requests beyond a ceiling on live blocks, which
//     the library answers with -7 (that ends deep nesting, since every level
//     of an array or dictionary holds a block), and beyond a ceiling on live
//     bytes set above what a stream's decoding may hold (the decoders stop a
//     Flate or LZW bomb themselves, at the ceiling on the decoded size);
//   - the read callback answers nothing once its budget of calls is spent, so
//     that a Prev cycle ends as a read failure;
//   - the library runs on a thread whose stack holds the deepest nesting that
//     the block ceiling lets through.
#ifndef INVOICE_EXTRACT_FUZZ_COMMON_H
#define INVOICE_EXTRACT_FUZZ_COMMON_H

#include <pthread.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>

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
  uint64_t byte_ceiling = 2 * PDF_DECODED_SIZE_LIMIT + (64ull << 20);
  uint64_t block_ceiling = 200000;
  Fuzz_Block* blocks = nullptr;  // every live block
};

// Each block carries a header that keeps it in the allocator's list, so that
// release can keep the counts and the harness can reclaim what is left.
inline void* Fuzz_Alloc(uint64_t size, void* data) {
  Fuzz_Allocator* allocator = static_cast<Fuzz_Allocator*>(data);
  if (size > allocator->byte_ceiling || allocator->live_bytes + size > allocator->byte_ceiling ||
      allocator->live_blocks + 1 > allocator->block_ceiling) {
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

// Read callback context: the bytes and the calls left.
struct Fuzz_Input {
  const uint8_t* bytes;
  uint64_t size;
  uint64_t calls_left;
};

// Budget of read calls for an input: generous for every honest walk of a
// file of that size (each byte is read a few times over by the token readers,
// and the startxref search reads 9 bytes at every offset), small enough that
// a Prev cycle ends within a fraction of a second.
inline uint64_t Fuzz_Read_Budget(uint64_t size) { return 64 * size + 100000; }

inline uint64_t Fuzz_Read(void* buffer, uint32_t mode, uint64_t position, uint64_t count, const char* path,
                          void* context) {
  (void)path;
  Fuzz_Input* input = static_cast<Fuzz_Input*>(context);
  if (input == nullptr || buffer == nullptr || mode != 1) return 0;
  if (input->calls_left == 0) return 0;
  input->calls_left -= 1;
  if (position >= input->size) return 0;
  uint64_t available = input->size - position;
  if (count > available) count = available;
  memcpy(buffer, input->bytes + position, count);
  return count;
}

// Runs work on a thread with a 1 GiB stack (reserved, touched only as deep as
// the work goes) and waits for it.
inline void Fuzz_Run_With_Large_Stack(const std::function<void()>& work) {
  struct Call {
    const std::function<void()>* work;
  } call{&work};
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, size_t{1} << 30);
  pthread_t thread;
  auto body = [](void* argument) -> void* {
    (*static_cast<Call*>(argument)->work)();
    return nullptr;
  };
  if (pthread_create(&thread, &attributes, body, &call) != 0) {
    pthread_attr_destroy(&attributes);
    work();
    return;
  }
  pthread_attr_destroy(&attributes);
  pthread_join(thread, nullptr);
}

#endif
