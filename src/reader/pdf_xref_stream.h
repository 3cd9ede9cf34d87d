// Cross-reference streams merged into the object table.
#ifndef INVOICE_EXTRACT_PDF_XREF_STREAM_H
#define INVOICE_EXTRACT_PDF_XREF_STREAM_H

#include <cstdint>
#include "runtime/pdf_result.h"

struct PDF_File;
struct PDF_Read_Data;
struct PDF_Stream;
struct PDF_Xref_Table;

PDF_Result PDF_Xref_Table_Read_Stream(PDF_Xref_Table* table, PDF_Stream* stream, PDF_File* file, PDF_Read_Data* reader);

#endif
