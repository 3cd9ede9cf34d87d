#include "document/pdf_embedded_file.h"

#include <cstring>
#include <initializer_list>

#include "document/pdf_catalog.h"
#include "objects/pdf_data_object.h"
#include "objects/pdf_dictionary.h"
#include "objects/pdf_filter.h"
#include "objects/pdf_object.h"
#include "objects/pdf_object_reference.h"
#include "objects/pdf_stream.h"
#include "objects/pdf_stream_decode.h"
#include "reader/pdf_file.h"
#include "reader/pdf_xref_table.h"
#include "runtime/pdf_memory.h"
#include "text/pdf_text.h"

namespace {

// UTF-8 to the single-byte form of a PDF text string; a name that needs the
// two-byte form cannot match any F entry.
PDF_Result From_UTF8(PDF_File* file, const void* name, uint64_t length, uint8_t** out_text, uint64_t* out_length) {
  uint8_t wide = 0;
  PDF_Result result = PDF_Text_From_UTF8(file->memory, name, length, out_text, out_length, &wide, false);
  if (result != PDF_RESULT_OK) return result;
  if (wide != 0) {
    PDF_Memory_Free(file->memory, out_text);
    return PDF_RESULT_NOT_SINGLE_BYTE;
  }
  return PDF_RESULT_OK;
}

// UTF-16 in any byte order to the single-byte form: normalised to big-endian
// behind a mark, converted to UTF-8 and on as UTF-8.
PDF_Result From_UTF16(PDF_File* file, const uint8_t* name, uint64_t length, uint8_t** out_text, uint64_t* out_length) {
  uint64_t copy_length = length;
  uint8_t* copy = nullptr;
  if (length > 2 && name[0] == 0xFE && name[1] == 0xFF) {
    copy = static_cast<uint8_t*>(PDF_Memory_Alloc(file->memory, length));
    if (copy != nullptr) memcpy(copy, name, length);
  } else if (length > 2 && name[0] == 0xFF && name[1] == 0xFE) {
    copy = static_cast<uint8_t*>(PDF_Memory_Alloc(file->memory, length));
    if (copy != nullptr) {
      memcpy(copy, name, length);
      for (uint64_t i = 0; i + 1 < length; i += 2) {
        uint8_t first = copy[i];
        copy[i] = copy[i + 1];
        copy[i + 1] = first;
      }
    }
  } else {
    copy_length = length + 2;
    copy = static_cast<uint8_t*>(PDF_Memory_Alloc(file->memory, copy_length));
    if (copy != nullptr) {
      copy[0] = 0xFE;
      copy[1] = 0xFF;
      if (length != 0) memcpy(copy + 2, name, length);
    }
  }
  if (copy == nullptr) return PDF_RESULT_OUT_OF_MEMORY;
  char* utf8 = nullptr;
  uint64_t utf8_length = 0;
  PDF_Result result =
      PDF_Text_To_UTF8(file->memory, copy + 2, copy_length - 2, PDF_TEXT_UTF16, &utf8, &utf8_length, false);
  PDF_Memory_Free(file->memory, &copy);
  if (result != PDF_RESULT_OK) return result;
  result = From_UTF8(file, utf8, utf8_length, out_text, out_length);
  PDF_Memory_Free(file->memory, &utf8);
  return result;
}

// The common start of the operations on an identifier.
PDF_Result Embedded_Stream(PDF_File* file, uint32_t id, PDF_Object** out_object, PDF_Stream** out_stream) {
  if (file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  if (file->encrypted != 0 && file->key == nullptr) return PDF_RESULT_NO_KEY;
  *out_object = PDF_File_Get_Embedded_Stream(file, id);
  *out_stream = static_cast<PDF_Stream*>(
      PDF_Data_Object_Get_Direct_Value(PDF_Object_Get_Value(*out_object), PDF_Data_Type_Stream));
  if (*out_stream == nullptr) return PDF_RESULT_NO_STREAM_OBJECT;
  return PDF_RESULT_OK;
}

// Loads the invoice itself: the object the identifier names (the filespec
// dictionary, or the stream) and the stream, with everything they refer to,
// each once; then clears the walk's marks. The rest of the document stays
// unread: a damaged object that the invoice doesn't reach (an unparsable
// Info, a broken page) fails nothing here.
PDF_Result Load_Embedded_Objects(PDF_File* file, PDF_Object* named, PDF_Object* stream) {
  PDF_Result result = PDF_Object_Load_All(named, file);
  if (result == PDF_RESULT_OK && stream != named) result = PDF_Object_Load_All(stream, file);
  // The marks are taken off every object of the chain, as many or few as the
  // walk reached, so that a later walk starts afresh.
  for (PDF_Body* body = file->xref_table; body != nullptr; body = body->next) {
    if (body->table == nullptr) continue;
    for (PDF_Xref_Section* section = body->table->first_section; section != nullptr; section = section->next) {
      for (PDF_Xref_Entry* entry = section->head; entry != nullptr; entry = entry->next) {
        if (entry->object != nullptr) entry->object->traversed = 0;
      }
    }
  }
  return result;
}

}  // namespace

PDF_Result PDF_File_Find_Embedded_File(PDF_File* file, const void* name, uint64_t length, uint32_t encoding,
                                       uint32_t* out_id) {
  if (out_id == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_id = 0;
  // No test of the no-key state: a search works on an encrypted file.
  PDF_Object* catalog = PDF_File_Get_Catalog(file);
  if (catalog == nullptr) return PDF_RESULT_NO_CATALOG;

  uint8_t* text = nullptr;
  uint64_t text_length = 0;
  PDF_Result result = PDF_RESULT_OK;
  switch (encoding) {
    case PDF_NAME_BYTES:
      text = static_cast<uint8_t*>(PDF_Memory_Alloc(file->memory, length + 1));
      if (text == nullptr) return PDF_RESULT_OUT_OF_MEMORY;
      if (length != 0) memcpy(text, name, length);
      text_length = length;
      break;
    case PDF_NAME_UTF8:
      result = From_UTF8(file, name, length, &text, &text_length);
      break;
    case PDF_NAME_UTF16:
      result = From_UTF16(file, static_cast<const uint8_t*>(name), length, &text, &text_length);
      break;
    default:
      return PDF_RESULT_UNKNOWN_ENCODING;
  }
  if (result != PDF_RESULT_OK) return result;

  PDF_Dictionary* names = PDF_Catalog_Get_Names(catalog);
  if (names == nullptr) {
    result = PDF_RESULT_NO_NAMES;
  } else {
    char* terminated = static_cast<char*>(PDF_Memory_Alloc(file->memory, text_length + 1));
    if (terminated == nullptr) {
      result = PDF_RESULT_OUT_OF_MEMORY;
    } else {
      if (text_length != 0) memcpy(terminated, text, text_length);
      terminated[text_length] = '\0';
      PDF_Object* found = PDF_Names_Find_Embedded_File(names, terminated);
      PDF_Memory_Free(file->memory, &terminated);
      // Not found is no failure: the identifier stays 0.
      if (found != nullptr) *out_id = PDF_Object_Get_Id(found);
    }
  }
  if (text != nullptr) PDF_Memory_Free(file->memory, &text);
  return result;
}

PDF_Object* PDF_Filespec_Get_Stream(PDF_Data_Object* filespec) {
  PDF_Dictionary* dictionary =
      static_cast<PDF_Dictionary*>(PDF_Data_Object_Get_Direct_Value(filespec, PDF_Data_Type_Dictionary));
  PDF_Data_Object* ef = PDF_Dictionary_Find_Value(dictionary, "EF");
  if (ef == nullptr) return nullptr;
  PDF_Dictionary* files = static_cast<PDF_Dictionary*>(PDF_Data_Object_Get_Typed_Value(ef, PDF_Data_Type_Dictionary));
  if (files == nullptr) return nullptr;
  // The first key present decides; the later ones are not tried.
  for (const char* key : {"UF", "F", "DOS", "Mac", "Unix"}) {
    PDF_Data_Object* value = PDF_Dictionary_Find_Value(files, key);
    if (value == nullptr) continue;
    PDF_Object_Reference* reference =
        static_cast<PDF_Object_Reference*>(PDF_Data_Object_Get_Direct_Value(value, PDF_Data_Type_Reference));
    PDF_Object* target = PDF_Object_Reference_Get_Object(reference);
    // A target that holds no stream is refused here rather than handed on.
    if (PDF_Data_Object_Get_Type(PDF_Object_Get_Value(target)) != PDF_Data_Type_Stream) return nullptr;
    return target;
  }
  return nullptr;
}

PDF_Object* PDF_File_Get_Embedded_Stream(PDF_File* file, uint32_t id) {
  if (file == nullptr) return nullptr;
  PDF_Object* object = PDF_Body_Find_Object(file->xref_table, 0, id);
  if (object == nullptr) object = PDF_Body_Find_Object(file->second_xref_table, 0, id);
  if (object == nullptr) return nullptr;
  if (PDF_Object_Get_Type(object) == PDF_Object_Type_Filespec) {
    return PDF_Filespec_Get_Stream(PDF_Object_Get_Value(object));
  }
  if (PDF_Data_Object_Get_Type(PDF_Object_Get_Value(object)) == PDF_Data_Type_Stream) return object;
  return nullptr;
}

PDF_Result PDF_File_Decode_Embedded_File(PDF_File* file, uint32_t id) {
  PDF_Object* object = nullptr;
  PDF_Stream* stream = nullptr;
  PDF_Result result = Embedded_Stream(file, id, &object, &stream);
  if (result != PDF_RESULT_OK) return result;
  // A filter without a decoder stays on the stream; the caller sees it in
  // the filter count.
  return PDF_Stream_Decode(stream, false);
}

PDF_Result PDF_File_Get_Embedded_File_Info(PDF_File* file, uint32_t id, PDF_Embedded_File_Info* out_info) {
  PDF_Object* object = nullptr;
  PDF_Stream* stream = nullptr;
  PDF_Result result = Embedded_Stream(file, id, &object, &stream);
  if (result != PDF_RESULT_OK) return result;
  if (out_info == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  // The file specification and the stream are walked as the load of every
  // object used to walk them: dangling references in them read as null or go,
  // a failure among what they refer to is the result, and the stream's Length
  // is read again, which corrects a stream parsed before its Length object
  // could be reached.
  PDF_Object* named = PDF_Body_Find_Object(file->xref_table, 0, id);
  if (named == nullptr) named = PDF_Body_Find_Object(file->second_xref_table, 0, id);
  result = Load_Embedded_Objects(file, named, object);
  if (result != PDF_RESULT_OK) return result;
  // A length that the file can't back is refused here, before the caller
  // sets aside memory for it.
  if (!PDF_Stream_Length_Is_Backed(stream)) return PDF_RESULT_OUT_OF_MEMORY;
  out_info->length = PDF_Stream_Get_Length(stream);
  out_info->reference_count = PDF_Object_Get_Reference_Count(object);
  uint32_t count = 0;
  result = PDF_Stream_Get_Filter_Count(stream, &count);
  out_info->filter_count = count;
  return result;
}

PDF_Result PDF_File_Read_Embedded_File(PDF_File* file, uint32_t id, void* buffer) {
  PDF_Object* object = nullptr;
  PDF_Stream* stream = nullptr;
  PDF_Result result = Embedded_Stream(file, id, &object, &stream);
  if (result != PDF_RESULT_OK) return result;
  return PDF_Stream_Read_Raw(stream, buffer);
}
