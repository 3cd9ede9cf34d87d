// Metadata and embedded-file operations whose object model is not in place
// yet. Each answers PDF_RESULT_INVALID_ARGUMENT until it is built, so that the
// front end sees a plain failure and never a false success.
#include "document/pdf_embedded_file.h"
#include "document/pdf_metadata.h"

PDF_Result PDF_File_Get_Pdfa_Level(PDF_File*, uint32_t* out_part, char* out_conformance, int32_t* out_flavour) {
  if (out_part != nullptr) *out_part = 0;
  if (out_conformance != nullptr) *out_conformance = 0;
  if (out_flavour != nullptr) *out_flavour = 0;
  return PDF_RESULT_INVALID_ARGUMENT;
}

PDF_Result PDF_File_Get_Metadata_Property(PDF_File*, const char*, const char*, char*, uint64_t*) {
  return PDF_RESULT_INVALID_ARGUMENT;
}

PDF_Result PDF_File_Find_Embedded_File(PDF_File*, const void*, uint64_t, uint32_t, uint32_t* out_id) {
  if (out_id != nullptr) *out_id = 0;
  return PDF_RESULT_INVALID_ARGUMENT;
}

PDF_Result PDF_File_Decode_Embedded_File(PDF_File*, uint32_t) { return PDF_RESULT_INVALID_ARGUMENT; }

PDF_Result PDF_File_Get_Embedded_File_Info(PDF_File*, uint32_t, PDF_Embedded_File_Info*) {
  return PDF_RESULT_INVALID_ARGUMENT;
}

PDF_Result PDF_File_Read_Embedded_File(PDF_File*, uint32_t, void*) { return PDF_RESULT_INVALID_ARGUMENT; }
