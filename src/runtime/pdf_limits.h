// The limits that keep every call bounded on hostile input. Real files stay
// far below each of them; a file over one fails where it stands, like any
// damaged value or section.
#ifndef INVOICE_EXTRACT_PDF_LIMITS_H
#define INVOICE_EXTRACT_PDF_LIMITS_H

#include <cstdint>

// How deep values may nest: arrays and dictionaries inside each other, the
// objects whose parse a value's parse needs (a stream's indirect Length, an
// object stream), the containers of compressed objects, and the nodes of a
// name tree. Real files nest a few dozen levels. Every recursive walk counts
// against it, so that the stack a call needs is bounded whatever the file
// holds; a value deeper than this is damaged.
const uint32_t PDF_NESTING_LIMIT = 256;

// A stream's Length up to this many bytes is taken as stated, and memory for
// it is allocated before its data is read (a file cut short still loads from
// level 3, with what arrived). A longer Length must be backed by the input:
// its last byte must be there, or the stream is refused as too large for
// memory (-7) before anything is allocated. So no stream takes more memory
// than its file holds or this limit, whatever its Length says.
const uint64_t PDF_STATED_LENGTH_LIMIT = 64ull << 20;

// No decoding step (Flate, LZW, and the predictor after it) gives more bytes
// than this. Data that goes on past it fails as damaged (-300), the same
// answer as for any other bad data, so a compression bomb ends with a result
// code after at most this much work instead of running the allocator dry.
// Invoice XML and XMP packets are kilobytes to a few megabytes, and the
// object and cross-reference streams of even very large files stay below ten;
// 64 MiB leaves ample room above all of them, while a bomb costs at most
// twice it in memory (the last two output buffers during a growth).
const uint64_t PDF_DECODED_SIZE_LIMIT = 64ull << 20;

// How many values one document may read in all. From tolerance level 2 a
// dictionary skips a damaged value up to the next "/" or ">", which may lie
// inside a nested dictionary that has already been read; each level of such
// nesting reads again what the levels below it read, so the work grows like
// the Fibonacci numbers with the depth, well below the nesting limit (a file
// of a few hundred bytes could take hours). The published samples read fewer
// than a hundred values in a call, and a name tree of 30,000 attachments fits
// below this count; past it every value read fails as damaged, so the call
// ends with the code of damage where it stands. Each read may scan much of the
// file again, so the count is kept low: at four times it, damaged files of a
// kilobyte took seconds under instrumentation.
const uint64_t PDF_VALUE_READ_LIMIT = uint64_t{1} << 16;

#endif
