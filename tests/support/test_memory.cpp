#include "support/test_memory.h"

#include <cstdlib>
#include <cstring>

void* Test_Alloc(uint64_t size, void* data) {
  Test_Allocator* allocator = static_cast<Test_Allocator*>(data);
  allocator->requests += 1;
  allocator->sizes.push_back(size);
  if (allocator->fail_at != 0 && (allocator->requests == allocator->fail_at ||
                                  (allocator->fail_after && allocator->requests > allocator->fail_at))) {
    return nullptr;
  }
  // A size no machine can give (a length of -1, say) fails like exhausted memory.
  if (size > (allocator->refuse_above != 0 ? allocator->refuse_above : uint64_t{1} << 40)) return nullptr;
  void* block = malloc(size);
  if (block != nullptr) {
    allocator->live += 1;
    allocator->blocks.insert(block);
  }
  return block;
}

int32_t Test_Free(void* block, void* data) {
  Test_Allocator* allocator = static_cast<Test_Allocator*>(data);
  if (block == nullptr) return PDF_RESULT_NOTHING_TO_FREE;
  allocator->released.push_back(block);
  if (block == allocator->refused_block) return allocator->refused_result;
  if (allocator->blocks.erase(block) == 0) {
    allocator->bad_frees += 1;
    return PDF_RESULT_NOTHING_TO_FREE;
  }
  free(block);
  allocator->live -= 1;
  allocator->frees += 1;
  return allocator->free_result;
}

PDF_Memory Test_Memory(Test_Allocator* allocator) {
  PDF_Memory memory{};
  memory.alloc = Test_Alloc;
  memory.alloc_data = allocator;
  memory.free = Test_Free;
  memory.free_data = allocator;
  return memory;
}

int32_t Test_Message_Callback(const char* text, int32_t code, int32_t level, void* data) {
  Test_Message_Log* log = static_cast<Test_Message_Log*>(data);
  log->messages.push_back(Test_Message{text, code, level});
  return 0;
}

PDF_Read_Data* Test_Input_Reader(Test_Input* input) {
  input->source.bytes = reinterpret_cast<const uint8_t*>(input->bytes.data());
  input->source.size = input->bytes.size();
  input->reader.read = PDF_Read_Data_Read_Memory;
  input->reader.context = &input->source;
  input->reader.hold_count = 1;
  input->reader.windows = nullptr;
  return &input->reader;
}

uint64_t Test_Counted_Read(void* buffer, uint32_t mode, uint64_t position, uint64_t count, const char*, void* context) {
  Test_Counted_Input* input = static_cast<Test_Counted_Input*>(context);
  input->calls += 1;
  if (mode != 1 || position >= input->bytes.size()) return 0;
  uint64_t available = input->bytes.size() - position;
  uint64_t n = count < available ? count : available;
  memcpy(buffer, input->bytes.data() + position, n);
  return n;
}

int64_t Test_Allocator_Reclaim(Test_Allocator* allocator) {
  int64_t count = 0;
  for (void* block : allocator->blocks) {
    free(block);
    count += 1;
  }
  allocator->blocks.clear();
  allocator->live -= count;
  return count;
}
