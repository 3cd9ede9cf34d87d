// Files embedded in the document: found by name, named afterwards by the id
// of their object.
#ifndef INVOICE_EXTRACT_PDF_EMBEDDED_FILE_H
#define INVOICE_EXTRACT_PDF_EMBEDDED_FILE_H

#include <cstdint>

#include "runtime/pdf_result.h"

struct PDF_Data_Object;
struct PDF_File;
struct PDF_Object;

struct PDF_Embedded_File_Info {
  uint64_t length;           // length of the stream in its present state
  uint32_t filter_count;     // filters still named by the stream
  uint32_t reference_count;  // references to the stream object among the objects read so far
};

// Encodings of the name given to PDF_File_Find_Embedded_File.
enum { PDF_NAME_BYTES = 0, PDF_NAME_UTF8 = 1, PDF_NAME_UTF16 = 2 };

PDF_Result PDF_File_Find_Embedded_File(PDF_File* file, const void* name, uint64_t length, uint32_t encoding,
                                       uint32_t* out_id);
PDF_Result PDF_File_Decode_Embedded_File(PDF_File* file, uint32_t id);
PDF_Result PDF_File_Get_Embedded_File_Info(PDF_File* file, uint32_t id, PDF_Embedded_File_Info* out_info);
PDF_Result PDF_File_Read_Embedded_File(PDF_File* file, uint32_t id, void* buffer);
// The stream object of an identifier: a file specification is followed to
// its stream; otherwise the object must hold a stream itself.
PDF_Object* PDF_File_Get_Embedded_Stream(PDF_File* file, uint32_t id);
// The stream named by the first of UF, F, DOS, Mac, Unix in the EF
// dictionary of a file specification.
PDF_Object* PDF_Filespec_Get_Stream(PDF_Data_Object* filespec);

#endif
