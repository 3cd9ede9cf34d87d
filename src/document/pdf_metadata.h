// Queries over the document's XMP metadata: the PDF/A level and single
// properties as text.
#ifndef INVOICE_EXTRACT_PDF_METADATA_H
#define INVOICE_EXTRACT_PDF_METADATA_H

#include <cstdint>

#include "document/pdf_file.h"
#include "runtime/pdf_result.h"

PDF_Result PDF_File_Get_Pdfa_Level(PDF_File* file, uint32_t* out_part, char* out_conformance,
                                   int32_t* out_flavour);
PDF_Result PDF_File_Get_Metadata_Property(PDF_File* file, const char* name_space, const char* name, char* buffer,
                                          uint64_t* in_out_size);

#endif
