// Objects stored inside object streams: a compressed entry of the object
// table is parsed out of its container the first time it is looked up.
#ifndef INVOICE_EXTRACT_PDF_OBJECT_STREAM_H
#define INVOICE_EXTRACT_PDF_OBJECT_STREAM_H

#include <cstdint>

#include "reader/pdf_xref_table.h"
#include "runtime/pdf_result.h"

// Turns a compressed entry into an ordinary in-use one: the container is
// found and decoded, the entry's pair located, and the body parsed from the
// container's bytes. 0 for an entry that is not compressed; on failure the
// entry stays compressed and its object empty.
PDF_Result PDF_Xref_Entry_Load_Compressed(PDF_Xref_Entry* entry);

// An optionally signed decimal integer after white space (no comments), read
// from at most length bytes. The digits are summed in 32 bits without any
// overflow check. Returns the bytes used, the terminator not counted, or 0
// when no digit follows.
uint64_t PDF_Text_Read_Integer(const uint8_t* bytes, uint64_t length, int32_t* out_value);

#endif
