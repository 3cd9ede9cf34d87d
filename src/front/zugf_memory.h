// A read-only stdio stream over bytes in memory, so that a PDF held by the
// caller goes through the same input callbacks as a file.
#ifndef INVOICE_EXTRACT_ZUGF_MEMORY_H
#define INVOICE_EXTRACT_ZUGF_MEMORY_H

#include <cstdint>
#include <cstdio>

// The bytes and the stream's position; the caller keeps the record (and the
// bytes) alive until the stream is closed.
struct ZUGF_Memory {
  const uint8_t* data;
  uint64_t size;
  uint64_t position;
};

// A stream that reads and seeks as a file of these bytes opened with "rb"
// would: a seek may go past the end (a read there gives nothing), a negative
// position fails. Null when the stream can't be had.
FILE* ZUGF_Open_Memory(ZUGF_Memory* memory);

#endif
