// The header level of a file.
#ifndef INVOICE_EXTRACT_PDF_HEADER_H
#define INVOICE_EXTRACT_PDF_HEADER_H

#include <cstdint>

#include "runtime/pdf_result.h"

struct PDF_File;
struct PDF_Read_Data;

struct PDF_Header {
  int8_t level;
  uint8_t second;  // always 23
};

PDF_Result PDF_Header_Create(PDF_Header** out_header, PDF_File* file, int8_t level);
uint64_t PDF_Header_Read(PDF_Header** out_header, PDF_File* file, PDF_Read_Data* reader, uint64_t position);
PDF_Result PDF_Header_Delete(PDF_Header** holder, PDF_File* file);

#endif
