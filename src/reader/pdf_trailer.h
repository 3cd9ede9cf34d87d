// The trailer: its record, read from the keyword "trailer" or made from the
// dictionary of a cross-reference stream, and the queries over it.
#ifndef INVOICE_EXTRACT_PDF_TRAILER_H
#define INVOICE_EXTRACT_PDF_TRAILER_H

#include <cstdint>

#include "runtime/pdf_result.h"

struct PDF_Data_Object;
struct PDF_Dictionary;
struct PDF_File;
struct PDF_Object;
struct PDF_Read_Data;
struct PDF_Stream;

struct PDF_Trailer {
  PDF_Dictionary* dictionary;  // owned
  void* reserved;              // null
};

// Takes ownership of the dictionary on success.
PDF_Result PDF_Trailer_Create(PDF_Trailer** out_trailer, PDF_File* file, PDF_Dictionary* dictionary);
PDF_Result PDF_Trailer_Delete(PDF_Trailer** holder, PDF_File* file);
// The trailer of a file that has no classic one: Size, Prev, Root, Encrypt,
// Info and ID copied from the stream's dictionary; Size is required.
PDF_Result PDF_Trailer_Create_From_Xref_Stream(PDF_Trailer** out_trailer, PDF_File* file, PDF_Stream* stream);
// "trailer" and the dictionary behind it; bytes used, 0 on failure.
uint64_t PDF_Trailer_Read(PDF_Trailer** out_trailer, PDF_File* file, PDF_Read_Data* reader, uint64_t position);

PDF_Dictionary* PDF_Trailer_Get_Dictionary(PDF_Trailer* trailer);
PDF_Data_Object* PDF_Trailer_Get_Root(PDF_Trailer* trailer);
// The whole 64-bit offset; 0 when it is no number.
uint64_t PDF_Trailer_Get_Prev(PDF_Trailer* trailer);
// As a signed 64-bit integer; 0 when it is no number.
int64_t PDF_Trailer_Get_XRefStm(PDF_Trailer* trailer);
PDF_Result PDF_Trailer_Clear_Prev(PDF_Trailer* trailer, PDF_File* file);
PDF_Result PDF_Trailer_Clear_XRefStm(PDF_Trailer* trailer, PDF_File* file);
// Stores a reference to the object under Root.
PDF_Result PDF_Trailer_Set_Root(PDF_Trailer* trailer, PDF_File* file, PDF_Object* root);
// The Encrypt dictionary, references followed; the last indirect object on the
// way gets type 15. Null when there is none or it is no dictionary.
PDF_Dictionary* PDF_Trailer_Get_Encrypt(PDF_Trailer* trailer, PDF_File* file);

#endif
