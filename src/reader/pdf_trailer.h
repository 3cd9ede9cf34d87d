// Reading and querying the trailer dictionary.
#ifndef INVOICE_EXTRACT_PDF_TRAILER_H
#define INVOICE_EXTRACT_PDF_TRAILER_H

#include <cstdint>

#include "objects/pdf_data_object.h"
#include "objects/pdf_dictionary.h"
#include "objects/pdf_object.h"
#include "reader/pdf_xref_table.h"

struct PDF_File;

// "trailer" and the dictionary behind it; bytes used, 0 on failure.
uint64_t PDF_Trailer_Read(PDF_Trailer** out_trailer, PDF_File* file, PDF_Read_Data* reader, uint64_t position);

PDF_Dictionary* PDF_Trailer_Get_Dictionary(PDF_Trailer* trailer);
PDF_Data_Object* PDF_Trailer_Get_Root(PDF_Trailer* trailer);
// Low 32 bits of the value; 0 when it is no number.
uint32_t PDF_Trailer_Get_Prev(PDF_Trailer* trailer);
// As a signed 32-bit integer; 0 when it is no number.
int32_t PDF_Trailer_Get_XRefStm(PDF_Trailer* trailer);
PDF_Result PDF_Trailer_Clear_Prev(PDF_Trailer* trailer, PDF_File* file);
PDF_Result PDF_Trailer_Clear_XRefStm(PDF_Trailer* trailer, PDF_File* file);
// Stores a reference to the object under Root.
PDF_Result PDF_Trailer_Set_Root(PDF_Trailer* trailer, PDF_File* file, PDF_Object* root);
// The Encrypt dictionary, references followed; the last indirect object on the
// way gets type 15. Null when there is none or it is no dictionary.
PDF_Dictionary* PDF_Trailer_Get_Encrypt(PDF_Trailer* trailer, PDF_File* file);

#endif
