#include "filters/pdf_flate.h"

#include <zlib.h>

PDF_Result PDF_Flate_Decode(PDF_Memory* memory, const uint8_t* input, uint64_t input_length, uint8_t** out_buffer,
                            uint64_t* out_length) {
  if (out_buffer != nullptr) *out_buffer = nullptr;
  if (out_length != nullptr) *out_length = 0;
  if (out_buffer == nullptr || out_length == nullptr || (input == nullptr && input_length != 0)) {
    return PDF_RESULT_INVALID_ARGUMENT;
  }

  uint64_t size = input_length * 2;
  // The source length is cut to 32 bits, without complaint.
  const uLong source_length = static_cast<uint32_t>(input_length);
  // Kept: no ceiling on the decoded size but a failed allocation; a data bomb
  // grows the buffer, decoding again from the start each time, until the
  // allocator says no.
  for (;;) {
    uint8_t* buffer = static_cast<uint8_t*>(PDF_Memory_Alloc(memory, size));
    if (buffer == nullptr) return PDF_RESULT_OUT_OF_MEMORY;

    const uLongf offered = static_cast<uint32_t>(size);
    uLongf produced = offered;
    int status = uncompress(buffer, &produced, input, source_length);
    // After a failure the size is what was offered, whatever zlib left in
    // the length, so that growth goes on from the (32-bit) size tried.
    size = status == Z_OK ? produced : offered;

    if (status == Z_OK) {
      *out_buffer = buffer;
      *out_length = size;
      return PDF_RESULT_OK;
    }
    if (status != Z_BUF_ERROR && status != Z_MEM_ERROR) {
      // Bad or truncated data: zlib reports input that ends early as a data
      // error, so nothing is retried and no partial output is kept.
      PDF_Memory_Free(memory, &buffer);
      return PDF_RESULT_BAD_COMPRESSED_DATA;
    }
    // No room, or zlib itself ran short of memory: both mean a larger buffer
    // and a new pass from the start.
    PDF_Result released = PDF_Memory_Free(memory, &buffer);
    if (released != PDF_RESULT_OK) return released;
    size += size / 2;
  }
}
