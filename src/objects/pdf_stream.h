// Stream objects: a dictionary and a run of bytes that stay in the file until
// someone asks for them.
#ifndef INVOICE_EXTRACT_PDF_STREAM_H
#define INVOICE_EXTRACT_PDF_STREAM_H

#include <cstdint>

#include "objects/pdf_data_object.h"
#include "objects/pdf_name.h"
#include "runtime/pdf_result.h"

struct PDF_Dictionary;
struct PDF_File;
struct PDF_Object;
struct PDF_Read_Data;

struct PDF_Stream {
  PDF_Data_Object* owner;      // wrapping variant; owns nothing
  PDF_Dictionary* dictionary;  // owned
  uint8_t* data;               // owned; null while the bytes are still in the file
  uint64_t length;             // bytes at data, or to be read from the file
  PDF_File* file;              // context; not owned
  PDF_Read_Data* reader;       // source while on file; one hold taken
  uint64_t position;           // file offset of the first data byte, with reader
  uint8_t decrypted;           // set on entry to PDF_Stream_Decrypt
};

// A new stream with neither data nor source, and a dictionary holding Length 0.
PDF_Result PDF_Stream_Create(PDF_Stream** out_stream, PDF_File* file);
PDF_Result PDF_Stream_Delete(PDF_Stream** holder, uint32_t delete_mode);
// Parses a dictionary and, when the keyword follows, a stream head. Fills the
// stream holder for a stream, else only the dictionary holder. Returns the
// bytes consumed, 0 when no dictionary is there.
uint64_t PDF_Stream_Read(PDF_Stream** out_stream, PDF_Dictionary** out_dictionary, PDF_File* file,
                         PDF_Read_Data* reader, uint64_t position);
PDF_Result PDF_Stream_Load(PDF_Stream* stream);
// Copies the stored bytes (length of them) into the caller's buffer; a stream
// on file stays on file.
// Whether the input can hold the data that Length states: always for data
// in memory and for a Length up to PDF_STATED_LENGTH_LIMIT; a longer one
// only when its last byte is there. Reading or loading an unbacked stream
// gives -7 before anything is allocated.
bool PDF_Stream_Length_Is_Backed(PDF_Stream* stream);
PDF_Result PDF_Stream_Read_Raw(PDF_Stream* stream, void* buffer);
PDF_Result PDF_Stream_Load_All(PDF_Stream* stream);
// A deep copy, always in memory form.
PDF_Result PDF_Stream_Copy(PDF_Stream** out_stream, PDF_File* file, PDF_Stream* source, bool copy_targets,
                           int32_t copy_mode);
PDF_Result PDF_Stream_Decrypt(PDF_Stream* stream, PDF_File* file, PDF_Object* container);
PDF_Result PDF_Stream_Set_Owner(PDF_Stream* stream, PDF_Data_Object* owner);

PDF_Dictionary* PDF_Stream_Get_Dictionary(const PDF_Stream* stream);
uint64_t PDF_Stream_Get_Length(const PDF_Stream* stream);
PDF_Data_Object* PDF_Stream_Find_Value(const PDF_Stream* stream, const char* key);
PDF_Name* PDF_Stream_Get_Type(const PDF_Stream* stream);
PDF_Name* PDF_Stream_Get_Subtype(const PDF_Stream* stream);

#endif
