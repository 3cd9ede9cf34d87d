#include "reader/pdf_file.h"

#include "objects/pdf_data_object.h"
#include "objects/pdf_dictionary.h"
#include "objects/pdf_object.h"
#include "objects/pdf_object_reference.h"
#include "reader/pdf_header.h"
#include "reader/pdf_object_stream.h"
#include "reader/pdf_permissions.h"
#include "reader/pdf_trailer.h"
#include "reader/pdf_xref_chain.h"
#include "reader/pdf_xref_section.h"
#include "reader/pdf_xref_table.h"
#include "runtime/pdf_memory.h"
#include "runtime/pdf_message.h"

PDF_Result PDF_File_New(PDF_File** out_file, PDF_Memory* memory, PDF_Message* message) {
  if (out_file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_file = nullptr;
  PDF_File* file = PDF_Memory_Alloc_Zeroed<PDF_File>(memory);
  if (file == nullptr) {
    PDF_Message_Report(message, PDF_RESULT_OUT_OF_MEMORY, PDF_LEVEL_RESOURCE, "Unable to allocate file object!");
    return PDF_RESULT_OUT_OF_MEMORY;
  }
  file->memory = memory;
  file->message = message;
  file->next_object_id = 1;
  file->writable = 1;
  *out_file = file;
  return PDF_RESULT_OK;
}

PDF_Result PDF_File_Open(PDF_File** out_file, PDF_Memory* memory, PDF_Read_Data* reader, PDF_Message* message,
                         int8_t tolerance_level) {
  if (out_file == nullptr || reader == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_File* file = nullptr;
  PDF_Result result = PDF_File_New(&file, memory, message);
  if (result != PDF_RESULT_OK) return result;
  file->tolerance_level = tolerance_level;
  file->tolerant = tolerance_level >= PDF_TOLERANCE_MAXIMUM ? 1 : 0;

  if (PDF_Header_Read(&file->header, file, reader, 0) == 0) {
    // No number near the start: go on with a default header. If even that
    // fails, the file record is left behind unreleased, as it stands.
    result = PDF_Header_Create(&file->header, file, 4);
    if (result != PDF_RESULT_OK) return result;
  }

  result = PDF_File_Read_Xref_Chain(&file->xref_table, file, reader, 0, false);
  if (result == PDF_RESULT_OK) result = PDF_File_Check_Root(file->xref_table, file);
  if (result == PDF_RESULT_OK) {
    // Only the kind of encryption is decided here; no key is worked out.
    PDF_Dictionary* encrypt = PDF_Trailer_Get_Encrypt(file->xref_table->trailer, file);
    if (encrypt != nullptr) {
      uint32_t mode = 0;
      result = PDF_Security_Classify(encrypt, &mode);
      if (result == PDF_RESULT_OK) result = PDF_Security_Read_Permissions(encrypt, &file->permissions);
      if (result == PDF_RESULT_OK) {
        file->encryption_mode = mode;
        file->encrypted = 1;
      }
    }
  }
  if (result != PDF_RESULT_OK) {
    PDF_File_Delete(&file);
    return result;
  }
  *out_file = file;
  return PDF_RESULT_OK;
}

PDF_Result PDF_File_Check_Root(PDF_Body* body, PDF_File* file) {
  if (body == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Trailer* trailer = body->trailer;
  if (PDF_Trailer_Get_Root(trailer) == nullptr) {
    if (file->tolerance_level < PDF_TOLERANCE_REPAIR) return PDF_RESULT_MISSING_ROOT_OR_SIZE;
    PDF_Object* catalog = PDF_Xref_Table_Find_By_Type(body->table, "Catalog", nullptr);
    if (catalog != nullptr) {
      PDF_Result result = PDF_Trailer_Set_Root(trailer, file, catalog);
      if (result != PDF_RESULT_OK) return result;
    }
  }
  PDF_Dictionary* dictionary = PDF_Trailer_Get_Dictionary(trailer);
  PDF_Data_Object* info = PDF_Dictionary_Find_Value(dictionary, "Info");
  if (info == nullptr || PDF_Data_Object_Get_Type(info) == PDF_Data_Type_Reference) return PDF_RESULT_OK;
  if (PDF_Data_Object_Get_Type(info) == PDF_Data_Type_Dictionary && file->tolerance_level >= PDF_TOLERANCE_REPAIR) {
    // A direct Info dictionary becomes an object of its own.
    PDF_Result result = PDF_Dictionary_Remove_Entry(dictionary, file, "Info", PDF_DELETE_MODE_KEEP);
    if (result != PDF_RESULT_OK) return result;
    PDF_Object* object = nullptr;
    result = PDF_Object_Create(&object, file, info, 0, 0, PDF_Object_Type_Reserved);
    if (result != PDF_RESULT_OK) {
      PDF_Data_Object_Delete(&info, file, PDF_DELETE_MODE_RELEASE);
      return result;
    }
    result = PDF_Xref_Table_Add_Entry(body->table, file, object, 0, 0, 0, 'n');
    if (result != PDF_RESULT_OK) {
      PDF_Object_Delete(&object, file, PDF_DELETE_MODE_RELEASE);
      return result;
    }
    return PDF_Dictionary_Set_Reference(dictionary, file, "Info", object);
  }
  if (file->tolerance_level <= PDF_TOLERANCE_STRICT) return PDF_RESULT_BAD_INFO;
  return PDF_Dictionary_Remove_Entry(dictionary, file, "Info", PDF_DELETE_MODE_RELEASE);
}

// Keeps the first failure of a release sequence.
static void Keep_First(PDF_Result* first, PDF_Result result) {
  if (*first == PDF_RESULT_OK) *first = result;
}

PDF_Result PDF_File_Delete(PDF_File** holder) {
  if (holder == nullptr || *holder == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_File* file = *holder;
  PDF_Memory* memory = file->memory;
  // Every member is released in order; after a failure the rest is released
  // all the same and the first failure is the result.
  PDF_Result first = PDF_RESULT_OK;
  if (file->header != nullptr) Keep_First(&first, PDF_Header_Delete(&file->header, file));
  if (file->xref_table != nullptr) Keep_First(&first, PDF_Body_Delete(&file->xref_table, file));
  if (file->second_xref_table != nullptr) Keep_First(&first, PDF_Body_Delete(&file->second_xref_table, file));
  if (file->key != nullptr) Keep_First(&first, PDF_Memory_Free(memory, &file->key));
  if (file->write_security != nullptr) Keep_First(&first, PDF_Memory_Free(memory, &file->write_security));
  if (file->extra_block_1 != nullptr) Keep_First(&first, PDF_Memory_Free(memory, &file->extra_block_1));
  if (file->extra_block_2 != nullptr) Keep_First(&first, PDF_Memory_Free(memory, &file->extra_block_2));
  if (file->metadata_cache != nullptr && file->release_metadata_cache != nullptr) {
    Keep_First(&first, file->release_metadata_cache(file));
  }
  PDF_Object_Stream_Cache_Delete(file);
  PDF_Result released = PDF_Memory_Free(memory, holder);
  return first != PDF_RESULT_OK ? first : released;
}
