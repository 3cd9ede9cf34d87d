#include "front/zugf_memory.h"

#include <cerrno>
#include <cstdint>
#include <cstring>

namespace {

ssize_t Memory_Read(void* cookie, char* buffer, size_t size) {
  ZUGF_Memory* memory = static_cast<ZUGF_Memory*>(cookie);
  if (memory->position >= memory->size) return 0;
  uint64_t count = memory->size - memory->position;
  if (count > size) count = size;
  memcpy(buffer, memory->data + memory->position, count);
  memory->position += count;
  return static_cast<ssize_t>(count);
}

// As lseek on a file: any position from 0 on, past the end too.
int Memory_Seek(void* cookie, off64_t* offset, int whence) {
  ZUGF_Memory* memory = static_cast<ZUGF_Memory*>(cookie);
  int64_t base = 0;
  if (whence == SEEK_CUR) base = static_cast<int64_t>(memory->position);
  if (whence == SEEK_END) base = static_cast<int64_t>(memory->size);
  if (whence != SEEK_SET && whence != SEEK_CUR && whence != SEEK_END) {
    errno = EINVAL;
    return -1;
  }
  if (*offset < -base) {
    errno = EINVAL;
    return -1;
  }
  if (*offset > INT64_MAX - base) {
    errno = EOVERFLOW;
    return -1;
  }
  memory->position = static_cast<uint64_t>(base + *offset);
  *offset = static_cast<off64_t>(memory->position);
  return 0;
}

}  // namespace

FILE* ZUGF_Open_Memory(ZUGF_Memory* memory) {
  cookie_io_functions_t functions = {Memory_Read, nullptr, Memory_Seek, nullptr};
  return fopencookie(memory, "rb", functions);
}
