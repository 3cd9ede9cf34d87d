// The one allocator double of the tests (counts blocks, records every request,
// fails the Nth request or every one above a size, reclaims leftovers) and a
// message log.
#ifndef INVOICE_EXTRACT_TEST_MEMORY_H
#define INVOICE_EXTRACT_TEST_MEMORY_H

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "reader/pdf_read_data.h"
#include "runtime/pdf_memory.h"
#include "runtime/pdf_message.h"

struct Test_Allocator {
  uint64_t requests;  // allocation requests seen
  uint64_t fail_at;   // request number (from 1) that fails; 0 never
  bool fail_after;    // with fail_at: every later request fails as well
  int64_t live;       // blocks handed out and not yet freed
  uint64_t frees;
  std::set<void*> blocks;       // blocks handed out and not yet freed
  std::vector<uint64_t> sizes;  // the size of every request, failed ones included
  uint64_t refuse_above;        // requests above this size fail; 0: only sizes no machine gives
  int32_t free_result;          // answered by a release that succeeded (the block is freed all the same)
  uint64_t bad_frees;           // releases of blocks this allocator does not hold (not freed)
  std::vector<void*> released;  // every release, in order
  void* refused_block;          // its release frees nothing and answers refused_result
  int32_t refused_result;
};

// A PDF_Memory over the allocator, without a block of its own.
PDF_Memory Test_Memory(Test_Allocator* allocator);

// Frees every block still outstanding (for paths that leak by design) and
// returns how many there were.
int64_t Test_Allocator_Reclaim(Test_Allocator* allocator);

void* Test_Alloc(uint64_t size, void* allocator);
int32_t Test_Free(void* block, void* allocator);

struct Test_Message {
  std::string text;
  int32_t code;
  int32_t level;
};

struct Test_Message_Log {
  std::vector<Test_Message> messages;
};

int32_t Test_Message_Callback(const char* text, int32_t code, int32_t level, void* log);

// Reader over bytes held in a string; the string must outlive the reader.
struct Test_Input {
  std::string bytes;
  PDF_Memory_Source source;
  PDF_Read_Data reader;
};

// Points input->reader at input->bytes (call again after changing the bytes).
PDF_Read_Data* Test_Input_Reader(Test_Input* input);

// Read callback over a std::string given as context, counting its calls
// through the optional counter that follows it in Test_Counted_Input.
struct Test_Counted_Input {
  std::string bytes;
  uint64_t calls;
};
uint64_t Test_Counted_Read(void* buffer, uint32_t mode, uint64_t position, uint64_t count, const char* path,
                           void* context);

#endif
