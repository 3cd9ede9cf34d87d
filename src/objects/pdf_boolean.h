// Booleans (one byte, 1 true, 0 false, in a block of its own) and the reader
// of the keyword null, which builds nothing.
#ifndef INVOICE_EXTRACT_PDF_BOOLEAN_H
#define INVOICE_EXTRACT_PDF_BOOLEAN_H

#include <cstdint>

#include "runtime/pdf_result.h"

struct PDF_File;
struct PDF_Read_Data;

typedef uint8_t PDF_Boolean;

PDF_Result PDF_Boolean_Create(PDF_Boolean** out_boolean, PDF_File* file, uint8_t value);
PDF_Result PDF_Boolean_Delete(PDF_Boolean** holder, PDF_File* file);
PDF_Result PDF_Boolean_Copy(PDF_Boolean** out_boolean, PDF_File* file, const PDF_Boolean* source, int32_t copy_mode);
uint64_t PDF_Boolean_Read(PDF_Boolean** out_boolean, PDF_File* file, PDF_Read_Data* reader, uint64_t position);

// Accepts exactly the 4-byte token "null"; the caller makes the tag 1 variant.
uint64_t PDF_Null_Read(PDF_Read_Data* reader, uint64_t position);

#endif
