// The linker sends every call of malloc, calloc and realloc made by the tool
// and by the static library here (-Wl,--wrap): a failed allocation is the
// first sign that a file ran into the worker's memory limit, and the library
// may turn it into an ordinary verdict (a metadata query that fails for want
// of memory reads as "not PDF/A-3"). Calls from shared libraries and from
// operator new don't pass here; the worker's new handler covers the latter.
#include <cstddef>

#include "worker.h"

extern "C" {

void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
void* __real_realloc(void* block, size_t size);

void* __wrap_malloc(size_t size) {
  void* block = __real_malloc(size);
  if (block == nullptr && size != 0) tool::Note_Allocation_Failure();
  return block;
}

void* __wrap_calloc(size_t count, size_t size) {
  void* block = __real_calloc(count, size);
  if (block == nullptr && count != 0 && size != 0) tool::Note_Allocation_Failure();
  return block;
}

void* __wrap_realloc(void* block, size_t size) {
  void* grown = __real_realloc(block, size);
  if (grown == nullptr && size != 0) tool::Note_Allocation_Failure();
  return grown;
}

}  // extern "C"
