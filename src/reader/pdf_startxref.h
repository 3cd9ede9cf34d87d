// The search for the last "startxref" of a file, where the walk through its
// cross-reference sections begins.
#ifndef INVOICE_EXTRACT_PDF_STARTXREF_H
#define INVOICE_EXTRACT_PDF_STARTXREF_H

#include <cstdint>

#include "runtime/pdf_result.h"

struct PDF_File;
struct PDF_Read_Data;

// Probes for the end of the input and searches backward for the last
// "startxref"; stores the offset written behind it.
PDF_Result PDF_Header_Find_Startxref(PDF_File* file, PDF_Read_Data* reader, uint64_t* out_offset);

#endif
