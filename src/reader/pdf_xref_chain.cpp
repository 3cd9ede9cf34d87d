#include "reader/pdf_xref_chain.h"

#include "reader/pdf_header.h"

PDF_Result PDF_File_Read_Xref_Chain(PDF_Body** out_body, PDF_File* file, PDF_Read_Data* reader, uint64_t start,
                                    bool) {
  if (out_body == nullptr || file == nullptr || reader == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_body = nullptr;
  uint64_t position = start;
  if (position == 0) {
    PDF_Result result = PDF_Header_Find_Startxref(file, reader, &position);
    if (result != PDF_RESULT_OK) return result;
  }
  // The sections themselves are not read yet: the walk stops at the offset.
  return PDF_RESULT_OK;
}
