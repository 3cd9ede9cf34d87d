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

#endif
