// The walk from "startxref" through every cross-reference section of a file.
#ifndef INVOICE_EXTRACT_PDF_XREF_CHAIN_H
#define INVOICE_EXTRACT_PDF_XREF_CHAIN_H

#include <cstdint>

#include "runtime/pdf_result.h"

struct PDF_Body;
struct PDF_File;
struct PDF_Read_Data;

// start 0 asks for the backward search of "startxref"; the flag is not read.
PDF_Result PDF_File_Read_Xref_Chain(PDF_Body** out_body, PDF_File* file, PDF_Read_Data* reader, uint64_t start,
                                    bool flag);

#endif
