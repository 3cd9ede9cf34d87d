#include "reader/pdf_startxref.h"
#include "runtime/pdf_memory.h"

#include <cstring>

#include "reader/pdf_file.h"
#include "reader/pdf_read_data.h"

PDF_Result PDF_Header_Find_Startxref(PDF_File* file, PDF_Read_Data* reader, uint64_t* out_offset) {
  if (file == nullptr || reader == nullptr || out_offset == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_offset = 0;
  char* buffer = static_cast<char*>(PDF_Memory_Alloc(file->memory, 1024));
  if (buffer == nullptr) return PDF_RESULT_OUT_OF_MEMORY;
  memset(buffer, 0, 1024);

  // The length of the input, probed in strides that halve on each miss. An
  // empty input leaves the probe at 1.
  uint64_t step = 1048576;
  uint64_t probe = step;
  uint8_t byte = 0;
  for (;;) {
    if (PDF_Read_Data_Read(reader, &byte, probe, 1) == 1) {
      probe += step;
      continue;
    }
    if (step == 1) break;
    step /= 2;
    if (step < 1) step = 1;
    probe -= step;
  }

  // Backward, one byte at a time, to the last "startxref". The first compare
  // sees the cleared buffer; the search gives up when it reaches offset 0.
  probe -= 9;
  for (;;) {
    if (memcmp(buffer, "startxref", 9) == 0) break;
    uint64_t got = PDF_Read_Data_Read(reader, buffer, probe, 9);
    probe -= 1;
    if (got != 9 || probe == 0) {
      PDF_Memory_Free(file->memory, &buffer);
      return PDF_RESULT_UNREADABLE;
    }
  }
  PDF_Memory_Free(file->memory, &buffer);

  uint64_t value = 0;
  int32_t sign = 1;
  if (PDF_Read_Data_Read_Integer(reader, &value, probe + 10, &sign) == 0) return PDF_RESULT_BAD_TRAILER;
  *out_offset = value;  // the sign is ignored
  return PDF_RESULT_OK;
}
