#include "reader/pdf_xref_stream.h"

// Cross-reference streams are not read yet: a file that needs one fails to
// open with a malformed-table code rather than with a partial object table.
PDF_Result PDF_Xref_Table_Read_Stream(PDF_Xref_Table* table, PDF_Stream* stream, PDF_File* file, PDF_Read_Data*) {
  if (table == nullptr || stream == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  return PDF_RESULT_MALFORMED_XREF;
}

PDF_Result PDF_Trailer_Create_From_Xref_Stream(PDF_Trailer** out_trailer, PDF_File* file, PDF_Stream* stream) {
  if (out_trailer == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_trailer = nullptr;
  if (file == nullptr || stream == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  return PDF_RESULT_MALFORMED_XREF;
}
