#include "objects/pdf_name.h"

#include <cstring>

#include "reader/pdf_file.h"
#include "reader/pdf_read_data.h"

// Bytes that end a name in the file and may not stand in a created name.
static bool Ends_Name(uint8_t byte) { return PDF_Read_Data_Is_Space(byte) || PDF_Read_Data_Is_Delimiter(byte); }

PDF_Result PDF_Name_Create(PDF_Name** out_name, PDF_File* file, const char* text) {
  if (out_name == nullptr || file == nullptr || text == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_name = nullptr;
  uint64_t length = 0;
  for (; text[length] != 0; ++length) {
    if (Ends_Name(static_cast<uint8_t>(text[length]))) return PDF_RESULT_BAD_NAME_TEXT;
  }
  return PDF_String_Create(out_name, file, reinterpret_cast<const uint8_t*>(text), PDF_STRING_KIND_NAME, length, false);
}

enum { NAME_BUFFER_SIZE = 512 };

uint64_t PDF_Name_Read(PDF_Name** out_name, PDF_File* file, PDF_Read_Data* reader, uint64_t position) {
  if (out_name == nullptr) return 0;
  *out_name = nullptr;
  if (file == nullptr || reader == nullptr) return 0;
  uint8_t byte = 0;
  uint64_t count = PDF_Read_Data_Skip_Space(reader, position, &byte);
  if (count == 0 || byte != '/') return 0;
  PDF_Name* name = nullptr;
  if (PDF_String_Create(&name, file, nullptr, PDF_STRING_KIND_NAME, 0, false) != PDF_RESULT_OK) return 0;
  uint8_t buffer[NAME_BUFFER_SIZE];
  uint64_t filled = 0;
  bool failed = false;
  while (PDF_Read_Data_Read(reader, &byte, position + count, 1) == 1 && !Ends_Name(byte)) {
    count += 1;
    buffer[filled++] = byte;
    if (filled == NAME_BUFFER_SIZE) {
      if (PDF_String_Append(name, file, buffer, filled) != PDF_RESULT_OK) failed = true;
      filled = 0;
    }
  }
  // Set replaces whatever the appends stored: only the bytes after the last
  // full buffer remain. The whole token is consumed all the same.
  if (failed || PDF_String_Set(name, file, buffer, PDF_STRING_KIND_NAME, filled, false) != PDF_RESULT_OK) {
    PDF_String_Delete(&name, file);
    return 0;
  }
  *out_name = name;
  return count;
}

bool PDF_Name_Compare(const PDF_Name* name, const char* text) {
  if (text == nullptr) return PDF_String_Get_Written_Length(const_cast<PDF_Name*>(name), nullptr, nullptr) != 0;
  return PDF_String_Equals(name, reinterpret_cast<const uint8_t*>(text), PDF_STRING_KIND_NAME, strlen(text));
}

bool PDF_Name_Is(const PDF_Name* name, const char* text) { return !PDF_Name_Compare(name, text); }

const char* PDF_Name_Get_Text(const PDF_Name* name) { return reinterpret_cast<const char*>(PDF_String_Get_Text(name)); }

PDF_Result PDF_Name_Delete(PDF_Name** holder, PDF_File* file) { return PDF_String_Delete(holder, file); }

PDF_Result PDF_Name_Copy(PDF_Name** out_name, PDF_File* file, const PDF_Name* source, int32_t copy_mode) {
  return PDF_String_Copy(out_name, file, source, copy_mode);
}

PDF_Result PDF_Name_Set_Owner(PDF_Name* name, PDF_Data_Object* owner) { return PDF_String_Set_Owner(name, owner); }
