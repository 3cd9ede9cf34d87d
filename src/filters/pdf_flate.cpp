#include "filters/pdf_flate.h"
#include "filters/pdf_decode_limit.h"
#include "runtime/pdf_memory.h"

#include <zlib.h>

#include <climits>
#include <cstring>

namespace {

// zlib's state and window come from the caller's memory: counted like every
// other block, refused like them when memory runs short, and gone when the
// call returns.
voidpf Flate_Alloc(voidpf memory, uInt items, uInt size) {
  return PDF_Memory_Alloc(static_cast<PDF_Memory*>(memory), static_cast<uint64_t>(items) * size);
}

void Flate_Free(voidpf memory, voidpf block) { PDF_Memory_Free(static_cast<PDF_Memory*>(memory), &block); }

// Moves the used bytes into a buffer of new_size. On a failed allocation the
// old buffer stays in place; on a failed release the new one does, and the
// release's code is returned.
PDF_Result Flate_Grow(PDF_Memory* memory, uint8_t** buffer, uint64_t used, uint64_t new_size) {
  uint8_t* grown = static_cast<uint8_t*>(PDF_Memory_Alloc(memory, new_size));
  if (grown == nullptr) return PDF_RESULT_OUT_OF_MEMORY;
  memcpy(grown, *buffer, used);
  PDF_Result released = PDF_Memory_Free(memory, buffer);
  *buffer = grown;
  return released;
}

}  // namespace

PDF_Result PDF_Flate_Decode(PDF_Memory* memory, const uint8_t* input, uint64_t input_length, uint8_t** out_buffer,
                            uint64_t* out_length) {
  if (out_buffer != nullptr) *out_buffer = nullptr;
  if (out_length != nullptr) *out_length = 0;
  if (out_buffer == nullptr || out_length == nullptr || (input == nullptr && input_length != 0)) {
    return PDF_RESULT_INVALID_ARGUMENT;
  }

  // Kept: an empty input asks for 0 bytes, which gives no buffer, so an empty
  // stream under FlateDecode fails with -7.
  uint64_t size = input_length < PDF_DECODED_SIZE_LIMIT / 2 ? input_length * 2 : PDF_DECODED_SIZE_LIMIT;
  uint8_t* buffer = static_cast<uint8_t*>(PDF_Memory_Alloc(memory, size));
  if (buffer == nullptr) return PDF_RESULT_OUT_OF_MEMORY;

  z_stream stream;
  memset(&stream, 0, sizeof(stream));
  stream.zalloc = Flate_Alloc;
  stream.zfree = Flate_Free;
  stream.opaque = memory;
  int status = inflateInit(&stream);
  if (status != Z_OK) {
    PDF_Memory_Free(memory, &buffer);
    return status == Z_MEM_ERROR ? PDF_RESULT_OUT_OF_MEMORY : PDF_RESULT_BAD_COMPRESSED_DATA;
  }

  // One pass over the input. When the output fills its buffer, the bytes move
  // to one half as large again and inflate carries on where it stopped. Once
  // the buffer holds the ceiling, inflate may still finish the stream (the
  // end of the last block and the checksum give no bytes), but a byte more is
  // damage.
  PDF_Result result = PDF_RESULT_OK;
  uint64_t produced = 0;
  uint64_t fed = 0;
  uint8_t beyond = 0;
  for (;;) {
    // zlib counts in 32 bits; longer input goes in in slices.
    if (stream.avail_in == 0 && fed < input_length) {
      uint64_t slice = input_length - fed < UINT_MAX ? input_length - fed : UINT_MAX;
      stream.next_in = const_cast<Bytef*>(input + fed);
      stream.avail_in = static_cast<uInt>(slice);
      fed += slice;
    }
    bool at_ceiling = produced == size && size == PDF_DECODED_SIZE_LIMIT;
    if (produced == size && !at_ceiling) {
      uint64_t grown = size + size / 2;
      if (grown > PDF_DECODED_SIZE_LIMIT) grown = PDF_DECODED_SIZE_LIMIT;
      result = Flate_Grow(memory, &buffer, produced, grown);
      if (result != PDF_RESULT_OK) break;
      size = grown;
    }
    stream.next_out = at_ceiling ? &beyond : buffer + produced;
    stream.avail_out = at_ceiling ? 1 : static_cast<uInt>(size - produced);
    const uInt offered = stream.avail_out;
    status = inflate(&stream, Z_NO_FLUSH);
    const uInt written = offered - stream.avail_out;
    if (at_ceiling && written > 0) {
      result = PDF_RESULT_BAD_COMPRESSED_DATA;
      break;
    }
    if (!at_ceiling) produced += written;
    if (status == Z_STREAM_END) break;
    // Progress: go on (into a larger buffer when this one is full). No
    // progress with room left (Z_BUF_ERROR) means that the input ended before
    // the stream did: truncated data, which gives no partial output. Bytes
    // behind the end of the stream are ignored.
    if (status == Z_OK) continue;
    result = status == Z_MEM_ERROR ? PDF_RESULT_OUT_OF_MEMORY : PDF_RESULT_BAD_COMPRESSED_DATA;
    break;
  }
  inflateEnd(&stream);
  if (result != PDF_RESULT_OK) {
    PDF_Memory_Free(memory, &buffer);
    return result;
  }
  *out_buffer = buffer;
  *out_length = produced;
  return PDF_RESULT_OK;
}
