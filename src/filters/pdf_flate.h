// The Flate decoder: zlib's one-shot uncompress over a whole buffer, retried
// from the start with a larger output buffer while the output doesn't fit.
#ifndef INVOICE_EXTRACT_PDF_FLATE_H
#define INVOICE_EXTRACT_PDF_FLATE_H

#include <cstdint>

#include "runtime/pdf_result.h"

struct PDF_Memory;

// Decodes a zlib stream into a new buffer from PDF_Memory_Alloc, which the
// caller owns and releases; *out_length is the decoded length. The first
// buffer is twice the input length, and each retry adds half of the last
// size. Lengths are handed to zlib cut to 32 bits. Both out parameters are
// cleared first. A failing call leaves nothing allocated.
//
// Results: 0; -7 when a buffer can't be had (an empty input asks for 0 bytes
// and so ends here too); -300 for anything zlib refuses, truncated input and a
// bad checksum included; the release callback's code when dropping a buffer
// that was too small fails.
PDF_Result PDF_Flate_Decode(PDF_Memory* memory, const uint8_t* input, uint64_t input_length, uint8_t** out_buffer,
                            uint64_t* out_length);

#endif
