#include "reader/pdf_trailer.h"
#include "runtime/pdf_limits.h"
#include "runtime/pdf_memory.h"
#include "runtime/pdf_message.h"

#include <cstring>

#include "objects/pdf_data_object.h"
#include "objects/pdf_dictionary.h"
#include "objects/pdf_number.h"
#include "objects/pdf_object.h"
#include "objects/pdf_object_reference.h"
#include "objects/pdf_stream.h"
#include "reader/pdf_file.h"
#include "reader/pdf_read_data.h"

static bool Is_Trailer_Keyword(uint64_t count, const char* keyword, uint64_t length) {
  return count != 0 && count != PDF_READ_INVALID_ARGUMENT && length == 7 && memcmp(keyword, "trailer", 7) == 0;
}

uint64_t PDF_Trailer_Read(PDF_Trailer** out_trailer, PDF_File* file, PDF_Read_Data* reader, uint64_t position) {
  if (out_trailer == nullptr || file == nullptr) return 0;
  *out_trailer = nullptr;
  char keyword[8];
  uint64_t length = sizeof(keyword);
  uint64_t count = PDF_Read_Data_Read_Keyword(reader, keyword, &length, position);
  if (count == PDF_READ_INVALID_ARGUMENT) return 0;
  uint64_t at = position + count;  // whatever the token was, it is passed
  if (!Is_Trailer_Keyword(count, keyword, length)) {
    PDF_Message_Report(file->message, PDF_RESULT_REPAIRED, PDF_LEVEL_DOCUMENT,
                       "Unable to find trailer keyword, try to ignore it.\n");
    if (file->tolerance_level < PDF_TOLERANCE_SKIP_DAMAGE) return 0;
    length = sizeof(keyword);
    count = PDF_Read_Data_Read_Keyword(reader, keyword, &length, at);
    if (Is_Trailer_Keyword(count, keyword, length)) at += count;
  }
  PDF_Dictionary* dictionary = nullptr;
  uint64_t used = PDF_Dictionary_Read(&dictionary, file, reader, at);
  if (used == 0 || used == PDF_READ_INVALID_ARGUMENT || dictionary == nullptr) return 0;
  if (PDF_Trailer_Create(out_trailer, file, dictionary) != PDF_RESULT_OK) {
    PDF_Dictionary_Delete(&dictionary, file, PDF_DELETE_MODE_RELEASE);
    return 0;
  }
  return at + used - position;
}

PDF_Dictionary* PDF_Trailer_Get_Dictionary(PDF_Trailer* trailer) {
  return trailer != nullptr ? trailer->dictionary : nullptr;
}

PDF_Data_Object* PDF_Trailer_Get_Root(PDF_Trailer* trailer) {
  return PDF_Dictionary_Find_Value(PDF_Trailer_Get_Dictionary(trailer), "Root");
}

uint64_t PDF_Trailer_Get_Prev(PDF_Trailer* trailer) {
  PDF_Number* prev = static_cast<PDF_Number*>(PDF_Data_Object_Get_Direct_Value(
      PDF_Dictionary_Find_Value(PDF_Trailer_Get_Dictionary(trailer), "Prev"), PDF_Data_Type_Number));
  return static_cast<uint64_t>(PDF_Number_Get_Long(prev));
}

int64_t PDF_Trailer_Get_XRefStm(PDF_Trailer* trailer) {
  PDF_Number* offset = static_cast<PDF_Number*>(PDF_Data_Object_Get_Direct_Value(
      PDF_Dictionary_Find_Value(PDF_Trailer_Get_Dictionary(trailer), "XRefStm"), PDF_Data_Type_Number));
  return PDF_Number_Get_Long(offset);
}

PDF_Result PDF_Trailer_Clear_Prev(PDF_Trailer* trailer, PDF_File* file) {
  if (trailer == nullptr || trailer->dictionary == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  if (!PDF_Dictionary_Has_Key(trailer->dictionary, "Prev")) return PDF_RESULT_OK;
  return PDF_Dictionary_Remove_Entry(trailer->dictionary, file, "Prev", PDF_DELETE_MODE_RELEASE);
}

PDF_Result PDF_Trailer_Clear_XRefStm(PDF_Trailer* trailer, PDF_File* file) {
  if (trailer == nullptr || trailer->dictionary == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  if (!PDF_Dictionary_Has_Key(trailer->dictionary, "XRefStm")) return PDF_RESULT_OK;
  return PDF_Dictionary_Remove_Entry(trailer->dictionary, file, "XRefStm", PDF_DELETE_MODE_RELEASE);
}

PDF_Result PDF_Trailer_Set_Root(PDF_Trailer* trailer, PDF_File* file, PDF_Object* root) {
  if (trailer == nullptr || trailer->dictionary == nullptr || root == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  return PDF_Dictionary_Set_Reference(trailer->dictionary, file, "Root", root);
}

PDF_Dictionary* PDF_Trailer_Get_Encrypt(PDF_Trailer* trailer, PDF_File*) {
  PDF_Data_Object* value = PDF_Dictionary_Find_Value(PDF_Trailer_Get_Dictionary(trailer), "Encrypt");
  PDF_Object* last = nullptr;
  // A chain of references longer than the nesting limit, as one that comes
  // back on itself, leads to no dictionary.
  for (uint32_t steps = 0; PDF_Data_Object_Get_Type(value) == PDF_Data_Type_Reference; ++steps) {
    if (steps == PDF_NESTING_LIMIT) return nullptr;
    PDF_Object* target =
        PDF_Object_Reference_Get_Object(static_cast<PDF_Object_Reference*>(PDF_Data_Object_Get_Value(value)));
    if (target == nullptr) return nullptr;
    last = target;
    value = PDF_Object_Get_Value(target);
  }
  PDF_Dictionary* encrypt =
      static_cast<PDF_Dictionary*>(PDF_Data_Object_Get_Direct_Value(value, PDF_Data_Type_Dictionary));
  if (encrypt != nullptr && last != nullptr) PDF_Object_Set_Type(last, PDF_Object_Type_Encrypt);
  return encrypt;
}

PDF_Result PDF_Trailer_Create(PDF_Trailer** out_trailer, PDF_File* file, PDF_Dictionary* dictionary) {
  if (out_trailer == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_trailer = nullptr;
  PDF_Trailer* trailer = PDF_Memory_Alloc_Zeroed<PDF_Trailer>(file->memory);
  if (trailer == nullptr) return PDF_RESULT_OUT_OF_MEMORY;
  trailer->dictionary = dictionary;
  *out_trailer = trailer;
  return PDF_RESULT_OK;
}

PDF_Result PDF_Trailer_Delete(PDF_Trailer** holder, PDF_File* file) {
  if (holder == nullptr || *holder == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Trailer* trailer = *holder;
  if (trailer->dictionary != nullptr) {
    PDF_Result result = PDF_Dictionary_Delete(&trailer->dictionary, file, PDF_DELETE_MODE_KEEP);
    if (result != PDF_RESULT_OK) return result;
  }
  return PDF_Memory_Free(file->memory, holder);
}

PDF_Result PDF_Trailer_Create_From_Xref_Stream(PDF_Trailer** out_trailer, PDF_File* file, PDF_Stream* stream) {
  if (out_trailer == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_trailer = nullptr;
  if (file == nullptr || stream == nullptr) return PDF_RESULT_INVALID_ARGUMENT;

  static const char* const kKeys[] = {"Size", "Prev", "Root", "Encrypt", "Info", "ID"};
  PDF_Dictionary* dictionary = nullptr;
  PDF_Result result = PDF_Dictionary_Create(&dictionary, file);
  if (result != PDF_RESULT_OK) return result;
  for (const char* key : kKeys) {
    PDF_Data_Object* value = PDF_Stream_Find_Value(stream, key);
    if (value == nullptr) {
      if (key == kKeys[0]) {
        result = PDF_RESULT_MISSING_ROOT_OR_SIZE;
        break;
      }
      continue;
    }
    PDF_Data_Object* copy = nullptr;
    result = PDF_Data_Object_Copy(&copy, file, value, false, PDF_COPY_MODE_AS_IS);
    if (result == PDF_RESULT_OK) result = PDF_Dictionary_Set_Value(dictionary, file, key, copy);
    if (result != PDF_RESULT_OK) {
      if (copy != nullptr) PDF_Data_Object_Delete(&copy, file, PDF_DELETE_MODE_RELEASE);
      break;
    }
  }
  if (result == PDF_RESULT_OK) result = PDF_Trailer_Create(out_trailer, file, dictionary);
  if (result != PDF_RESULT_OK) PDF_Dictionary_Delete(&dictionary, file, PDF_DELETE_MODE_RELEASE);
  return result;
}
