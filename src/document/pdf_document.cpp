#include "document/pdf_document.h"

#include <cstring>

#include "document/pdf_embedded_file.h"
#include "document/pdf_metadata.h"
#include "document/pdf_new_document.h"
#include "reader/pdf_file.h"
#include "xmp/pdf_xmp_lock.h"

PDF_Result PDF_Document_Create(PDF_Document** out_document, PDF_Alloc_Callback alloc, void* alloc_data,
                               PDF_Free_Callback free, void* free_data, PDF_Read_Callback read, void* read_data,
                               PDF_Message_Callback message_callback, void* message_data, int8_t tolerance_level,
                               PDF_Expect_Callback expect) {
  // Kept: the out handle is cleared before any test, so a null one faults
  // here and the -1 of the argument test below is never returned. Testing
  // first would turn a crash that callers may rely on into a code they have
  // never seen.
  *out_document = nullptr;
  PDF_Result result = PDF_XMP_Lock_Create();
  if (result != PDF_RESULT_OK) return result;
  if (out_document == nullptr) return PDF_RESULT_BAD_HANDLE;
  if (alloc == nullptr) return PDF_RESULT_NO_ALLOC_CALLBACK;
  if (free == nullptr) return PDF_RESULT_NO_FREE_CALLBACK;
  // Kept: compared as a signed byte, so a negative level passes and is
  // stored as it is (then the strictest reading of the file).
  if (tolerance_level > PDF_TOLERANCE_MAXIMUM) return PDF_RESULT_BAD_TOLERANCE_LEVEL;

  PDF_Memory* memory = nullptr;
  result = PDF_Memory_Create(&memory, alloc, alloc_data, free, free_data);
  if (result != PDF_RESULT_OK) return result;
  memory->expect = expect;

  PDF_Message* message = nullptr;
  if (message_callback != nullptr) {
    result = PDF_Message_Create(&message, memory, message_callback, message_data);
    if (result != PDF_RESULT_OK) {
      PDF_Memory_Delete(&memory);
      return result;
    }
  }

  PDF_Document* document = static_cast<PDF_Document*>(PDF_Memory_Alloc(memory, sizeof(PDF_Document)));
  if (document == nullptr) {
    PDF_Message_Report(message, PDF_RESULT_OUT_OF_MEMORY, PDF_LEVEL_RESOURCE, "Unable to allocate document handle!");
    if (message != nullptr) PDF_Message_Delete(&message, memory);
    PDF_Memory_Delete(&memory);
    return PDF_RESULT_OUT_OF_MEMORY;
  }
  memcpy(document->tag, "hfdp", 4);
  document->memory = memory;
  document->message = message;
  document->read_data = nullptr;
  document->file = nullptr;

  if (read != nullptr) {
    result = PDF_Read_Data_Create(&document->read_data, memory, read, read_data, message);
    if (result == PDF_RESULT_OK) {
      result = PDF_File_Open(&document->file, memory, document->read_data, message, tolerance_level);
    }
  } else {
    result = PDF_File_Create_Empty(&document->file, memory, message);
  }
  if (result != PDF_RESULT_OK) {
    PDF_Document_Release(&document);
    return result;
  }
  *out_document = document;
  return PDF_RESULT_OK;
}

PDF_Result PDF_Document_Release(PDF_Document** holder) {
  if (holder == nullptr || *holder == nullptr || memcmp((*holder)->tag, "hfdp", 4) != 0) {
    return PDF_RESULT_BAD_HANDLE;
  }
  PDF_Document* document = *holder;
  PDF_Memory* memory = document->memory;
  PDF_Result result = PDF_RESULT_OK;
  // Kept: the first failure is returned at once and everything after it
  // stays alive: the handle keeps its tag and stays valid, and the front end
  // then leaves it and its streams as they are. Releasing on regardless
  // would free what the failed step may still refer to.
  if (document->file != nullptr) {
    result = PDF_File_Delete(&document->file);
    if (result != PDF_RESULT_OK) return result;
  }
  if (document->read_data != nullptr) {
    result = PDF_Read_Data_Release(&document->read_data, memory);
    if (result != PDF_RESULT_OK) return result;
  }
  if (document->message != nullptr) {
    result = PDF_Message_Delete(&document->message, memory);
    if (result != PDF_RESULT_OK) return result;
  }
  result = PDF_Memory_Free(memory, holder);
  if (result != PDF_RESULT_OK) return result;
  return PDF_Memory_Delete(&memory);
}

PDF_Result PDF_Document_Check_Licence(PDF_Document*) {
  // The library carries no licence restriction: the step always passes.
  return PDF_RESULT_OK;
}

// Kept: the forwarding operations test for null alone and never look at the
// tag: a record whose tag isn't "hfdp" is still served from its file, and
// only its release is refused. Testing the tag here too would change these
// answers into refusals.
PDF_Result PDF_Document_Get_Pdfa_Level(PDF_Document* document, uint32_t* out_part, char* out_conformance,
                                       int32_t* out_flavour) {
  if (document == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  return PDF_File_Get_Pdfa_Level(document->file, out_part, out_conformance, out_flavour);
}

PDF_Result PDF_Document_Get_Metadata_Property(PDF_Document* document, const char* name_space, const char* name,
                                              char* buffer, uint64_t* in_out_size) {
  if (document == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  return PDF_File_Get_Metadata_Property(document->file, name_space, name, buffer, in_out_size);
}

PDF_Result PDF_Document_Find_Embedded_File(PDF_Document* document, const void* name, uint64_t length, uint32_t encoding,
                                           uint32_t* out_id) {
  if (document == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  return PDF_File_Find_Embedded_File(document->file, name, length, encoding, out_id);
}

PDF_Result PDF_Document_Decode_Embedded_File(PDF_Document* document, uint32_t id) {
  if (document == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  return PDF_File_Decode_Embedded_File(document->file, id);
}

PDF_Result PDF_Document_Get_Embedded_File_Info(PDF_Document* document, uint32_t id, PDF_Embedded_File_Info* out_info) {
  if (document == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  return PDF_File_Get_Embedded_File_Info(document->file, id, out_info);
}

PDF_Result PDF_Document_Read_Embedded_File(PDF_Document* document, uint32_t id, void* buffer) {
  if (document == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  return PDF_File_Read_Embedded_File(document->file, id, buffer);
}
