// The one ceiling on the decoded size of a stream, shared by the decoders.
#ifndef INVOICE_EXTRACT_PDF_DECODE_LIMIT_H
#define INVOICE_EXTRACT_PDF_DECODE_LIMIT_H

#include <cstdint>

// No decoding step (Flate, LZW, and the predictor after it) gives more bytes
// than this. Data that goes on past it fails as damaged (-300), the same
// answer as for any other bad data, so a compression bomb ends with a result
// code after at most this much work instead of running the allocator dry.
// Invoice XML and XMP packets are kilobytes to a few megabytes, and the
// object and cross-reference streams of even very large files stay below ten;
// 64 MiB leaves ample room above all of them, while a bomb costs at most
// twice it in memory (the last two output buffers during a growth).
constexpr uint64_t PDF_DECODED_SIZE_LIMIT = uint64_t{64} << 20;

#endif
