// The public handle of the PDF library, tagged "hfdp". It owns its allocator,
// reporter, reader and file object; every operation over it forwards to the
// file object after a null test.
#ifndef INVOICE_EXTRACT_PDF_DOCUMENT_H
#define INVOICE_EXTRACT_PDF_DOCUMENT_H

#include <cstdint>

#include "reader/pdf_read_data.h"
#include "runtime/pdf_memory.h"
#include "runtime/pdf_message.h"
#include "runtime/pdf_result.h"

struct PDF_Embedded_File_Info;
struct PDF_File;

// "hfdp" read as a little-endian 32-bit word.
const uint32_t PDF_DOCUMENT_TAG = 0x70646668u;

struct PDF_Document {
  char tag[4];
  PDF_Memory* memory;
  PDF_Read_Data* read_data;
  PDF_File* file;
  PDF_Message* message;
};

// expect, when given, hears of the cross-reference tables' entries before
// they are allocated (PDF_Expect_Callback), with alloc_data.
PDF_Result PDF_Document_Create(PDF_Document** out_document, PDF_Alloc_Callback alloc, void* alloc_data,
                               PDF_Free_Callback free, void* free_data, PDF_Read_Callback read, void* read_data,
                               PDF_Message_Callback message, void* message_data, int8_t tolerance_level,
                               PDF_Expect_Callback expect = nullptr);
PDF_Result PDF_Document_Release(PDF_Document** holder);
PDF_Result PDF_Document_Check_Licence(PDF_Document* document);

PDF_Result PDF_Document_Get_Pdfa_Level(PDF_Document* document, uint32_t* out_part, char* out_conformance,
                                       int32_t* out_flavour);
PDF_Result PDF_Document_Get_Metadata_Property(PDF_Document* document, const char* name_space, const char* name,
                                              char* buffer, uint64_t* in_out_size);
PDF_Result PDF_Document_Find_Embedded_File(PDF_Document* document, const void* name, uint64_t length, uint32_t encoding,
                                           uint32_t* out_id);
PDF_Result PDF_Document_Decode_Embedded_File(PDF_Document* document, uint32_t id);
PDF_Result PDF_Document_Get_Embedded_File_Info(PDF_Document* document, uint32_t id, PDF_Embedded_File_Info* out_info);
PDF_Result PDF_Document_Read_Embedded_File(PDF_Document* document, uint32_t id, void* buffer);

#endif
