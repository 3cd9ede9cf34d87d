// The Flate decoder: zlib's inflate over a whole buffer, in one pass that
// carries on into a larger output buffer while the output doesn't fit, up to
// the ceiling of pdf_decode_limit.h.
#ifndef INVOICE_EXTRACT_PDF_FLATE_H
#define INVOICE_EXTRACT_PDF_FLATE_H

#include <cstdint>

#include "runtime/pdf_result.h"

struct PDF_Memory;

// Decodes a zlib stream into a new buffer from PDF_Memory_Alloc, which the
// caller owns and releases; *out_length is the decoded length. The first
// buffer is twice the input length, and each growth adds half of the last
// size, the decoded bytes carried over; no buffer is larger than
// PDF_DECODED_SIZE_LIMIT. zlib's own state comes from the same memory. Both
// out parameters are cleared first. A failing call leaves nothing allocated.
//
// Results: 0; -7 when a buffer can't be had (an empty input asks for 0 bytes
// and so ends here too), zlib's state included; -300 for anything zlib
// refuses, truncated input and a bad checksum included, and for data that
// decodes to more than PDF_DECODED_SIZE_LIMIT bytes; the release callback's
// code when dropping a buffer that was too small fails.
PDF_Result PDF_Flate_Decode(PDF_Memory* memory, const uint8_t* input, uint64_t input_length, uint8_t** out_buffer,
                            uint64_t* out_length);

#endif
