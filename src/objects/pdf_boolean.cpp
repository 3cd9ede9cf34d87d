#include "objects/pdf_boolean.h"
#include "runtime/pdf_memory.h"
#include "runtime/pdf_message.h"

#include <cstring>

#include "reader/pdf_file.h"
#include "reader/pdf_read_data.h"

PDF_Result PDF_Boolean_Create(PDF_Boolean** out_boolean, PDF_File* file, uint8_t value) {
  if (out_boolean == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_boolean = nullptr;
  PDF_Boolean* boolean = static_cast<PDF_Boolean*>(PDF_Memory_Alloc(file->memory, sizeof(PDF_Boolean)));
  if (boolean == nullptr) {
    PDF_Message_Report(file->message, PDF_RESULT_OUT_OF_MEMORY, PDF_LEVEL_RESOURCE,
                       "Unable to allocate memory for Boolean!");
    return PDF_RESULT_OUT_OF_MEMORY;
  }
  *boolean = value != 0 ? 1 : 0;
  *out_boolean = boolean;
  return PDF_RESULT_OK;
}

PDF_Result PDF_Boolean_Delete(PDF_Boolean** holder, PDF_File* file) {
  if (holder == nullptr || *holder == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  return PDF_Memory_Free(file->memory, holder);
}

PDF_Result PDF_Boolean_Copy(PDF_Boolean** out_boolean, PDF_File* file, const PDF_Boolean* source, int32_t) {
  if (out_boolean == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_boolean = nullptr;
  if (source == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  return PDF_Boolean_Create(out_boolean, file, *source);
}

uint64_t PDF_Boolean_Read(PDF_Boolean** out_boolean, PDF_File* file, PDF_Read_Data* reader, uint64_t position) {
  if (out_boolean == nullptr) return PDF_READ_INVALID_ARGUMENT;
  *out_boolean = nullptr;
  char token[5];
  uint64_t length = sizeof(token);
  uint64_t count = PDF_Read_Data_Read_Keyword(reader, token, &length, position);
  if (count == 0 || count == PDF_READ_INVALID_ARGUMENT) return 0;
  uint8_t value = 0;
  // Any token of 4 or 5 bytes that starts with "true" is true ('truex'
  // included); false needs the exact 5 bytes.
  if (length >= 4 && memcmp(token, "true", 4) == 0) {
    value = 1;
  } else if (length == 5 && memcmp(token, "false", 5) == 0) {
    value = 0;
  } else {
    return 0;
  }
  if (PDF_Boolean_Create(out_boolean, file, value) != PDF_RESULT_OK) return 0;
  return count;
}

uint64_t PDF_Null_Read(PDF_Read_Data* reader, uint64_t position) {
  char token[5];
  uint64_t length = sizeof(token);
  uint64_t count = PDF_Read_Data_Read_Keyword(reader, token, &length, position);
  if (count == 0 || count == PDF_READ_INVALID_ARGUMENT) return 0;
  if (length != 4 || memcmp(token, "null", 4) != 0) return 0;
  return count;
}
