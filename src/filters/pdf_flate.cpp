#include "filters/pdf_flate.h"
#include "runtime/pdf_memory.h"

#include <zlib.h>

PDF_Result PDF_Flate_Decode(PDF_Memory* memory, const uint8_t* input, uint64_t input_length, uint8_t** out_buffer,
                            uint64_t* out_length) {
  if (out_buffer != nullptr) *out_buffer = nullptr;
  if (out_length != nullptr) *out_length = 0;
  if (out_buffer == nullptr || out_length == nullptr || (input == nullptr && input_length != 0)) {
    return PDF_RESULT_INVALID_ARGUMENT;
  }

  uint64_t size = input_length * 2;
  // Kept: zlib takes 32-bit lengths, and the source length is cut to them
  // without complaint: input above 4 GiB is decoded from a shorter prefix.
  const uLong source_length = static_cast<uint32_t>(input_length);
  // Kept: no ceiling on the decoded size but a failed allocation. A stream
  // that inflates without end grows the buffer, decoding again from the start
  // each time, until the allocator runs dry and the answer is -7.
  for (;;) {
    // Kept: an empty input asks for 0 bytes, which gives no buffer, so an
    // empty stream under FlateDecode fails with -7.
    uint8_t* buffer = static_cast<uint8_t*>(PDF_Memory_Alloc(memory, size));
    if (buffer == nullptr) return PDF_RESULT_OUT_OF_MEMORY;

    const uLongf offered = static_cast<uint32_t>(size);
    uLongf produced = offered;
    int status = uncompress(buffer, &produced, input, source_length);
    // Kept: after a failure the size is what was offered, cut to 32 bits,
    // whatever zlib left in the length, and growth goes on from there. An
    // output above 4 GiB therefore never fits: the size falls back below
    // 4 GiB and grows again, pass after pass, while the allocator serves.
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
    // Kept: no room, and zlib itself running short of memory, are treated
    // alike: a larger buffer and a new pass from the start.
    PDF_Result released = PDF_Memory_Free(memory, &buffer);
    if (released != PDF_RESULT_OK) return released;
    size += size / 2;
  }
}
