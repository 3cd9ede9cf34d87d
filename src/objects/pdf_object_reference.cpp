#include "objects/pdf_object_reference.h"

#include "objects/pdf_data_object.h"
#include "objects/pdf_object.h"
#include "reader/pdf_file.h"
#include "reader/pdf_read_data.h"
#include "reader/pdf_xref_table.h"
#include "runtime/pdf_limits.h"
#include "runtime/pdf_memory.h"
#include "runtime/pdf_message.h"

PDF_Result PDF_Object_Reference_Create(PDF_Object_Reference** out_reference, PDF_File* file, PDF_Object* object,
                                       uint32_t number, uint32_t generation) {
  if (out_reference == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_reference = nullptr;
  PDF_Object_Reference* reference = PDF_Memory_Alloc_Zeroed<PDF_Object_Reference>(file->memory);
  if (reference == nullptr) {
    PDF_Message_Report(file->message, PDF_RESULT_OUT_OF_MEMORY, PDF_LEVEL_RESOURCE,
                       "Unable to allocate memory for object reference!");
    return PDF_RESULT_OUT_OF_MEMORY;
  }
  reference->file = file;
  if (object != nullptr) {
    PDF_Result result = PDF_Object_Retain(object);
    if (result != PDF_RESULT_OK) {
      PDF_Memory_Free(file->memory, &reference);
      return result;
    }
    reference->target = object;
  } else {
    reference->number = number;
    reference->generation = generation;
  }
  *out_reference = reference;
  return PDF_RESULT_OK;
}

static bool Is_Count_Failure(uint64_t count) { return count == 0 || count == PDF_READ_INVALID_ARGUMENT; }

uint64_t PDF_Object_Reference_Read(PDF_Object_Reference** out_reference, PDF_File* file, PDF_Read_Data* reader,
                                   uint64_t position) {
  if (out_reference == nullptr) return PDF_READ_INVALID_ARGUMENT;
  *out_reference = nullptr;
  // The signs are not looked at: "-5 0 R" refers to object 5.
  uint64_t number = 0;
  int32_t sign = 1;
  uint64_t consumed = PDF_Read_Data_Read_Integer(reader, &number, position, &sign);
  if (Is_Count_Failure(consumed)) return 0;
  uint64_t generation = 0;
  uint64_t count = PDF_Read_Data_Read_Integer(reader, &generation, position + consumed, &sign);
  if (Is_Count_Failure(count)) return 0;
  consumed += count;
  char letter = 0;
  uint64_t length = 1;
  count = PDF_Read_Data_Read_Keyword(reader, &letter, &length, position + consumed);
  if (Is_Count_Failure(count) || length != 1 || letter != 'R') return 0;
  consumed += count;
  if (number == 0) return consumed;  // "0 g R": one null, three tokens long
  PDF_Object_Reference* reference = nullptr;
  if (PDF_Object_Reference_Create(&reference, file, nullptr, static_cast<uint32_t>(number),
                                  static_cast<uint32_t>(generation)) != PDF_RESULT_OK) {
    return 0;
  }
  *out_reference = reference;
  return consumed;
}

PDF_Result PDF_Object_Reference_Bind(PDF_Object_Reference* reference) {
  if (reference == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  if (reference->target != nullptr) return PDF_RESULT_OK;
  // Looked up by number alone, whatever the reference's own generation.
  PDF_Object* object = nullptr;
  if (reference->file != nullptr) object = PDF_Body_Find_Object(reference->file->xref_table, reference->number, 0);
  if (object == nullptr) return PDF_RESULT_OBJECT_MISSING;
  return PDF_Object_Reference_Set_Object(reference, object);
}

PDF_Object* PDF_Object_Reference_Get_Object(PDF_Object_Reference* reference) {
  if (reference == nullptr) return nullptr;
  if (reference->target != nullptr) return reference->target;
  if (PDF_Object_Reference_Bind(reference) != PDF_RESULT_OK) return nullptr;
  return reference->target;
}

PDF_Result PDF_Object_Reference_Set_Object(PDF_Object_Reference* reference, PDF_Object* object) {
  if (reference == nullptr || object == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  if (reference->target != nullptr) PDF_Object_Release(reference->target);
  reference->number = 0;
  reference->generation = 0;
  PDF_Object_Retain(object);
  reference->target = object;
  return PDF_RESULT_OK;
}

PDF_Result PDF_Object_Reference_Delete(PDF_Object_Reference** holder, PDF_File* file, uint32_t delete_mode) {
  if (holder == nullptr || *holder == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Object_Reference* reference = *holder;
  PDF_Object* target = reference->target;
  PDF_Result result = PDF_RESULT_OK;
  if (target != nullptr && delete_mode != PDF_DELETE_MODE_KEEP) {
    PDF_Object_Release(target);
    // In mode 2 a target nobody points at any more is withdrawn, unless it
    // comes from a file that has not been read through completely. Withdrawal
    // goes on through the target's own references: past the nesting limit
    // the target is left to the table, which releases it with the file.
    if (delete_mode == PDF_DELETE_MODE_WITHDRAW && target->reference_count == 0 &&
        (!PDF_Object_Is_From_File(target) || file->all_objects_read) && file->nesting_depth < PDF_NESTING_LIMIT) {
      file->nesting_depth += 1;
      int32_t number = PDF_Object_Get_Number(target);
      result = PDF_RESULT_OBJECT_MISSING;
      if (number != 0 && PDF_Body_Has_Number(file->xref_table, static_cast<uint32_t>(number))) {
        result = PDF_Body_Remove_Object(file->xref_table, file, target, PDF_DELETE_MODE_WITHDRAW);
      }
      // Not held by the table: the object has no other owner.
      if (result == PDF_RESULT_OBJECT_MISSING) result = PDF_Object_Delete(&target, file, PDF_DELETE_MODE_WITHDRAW);
      file->nesting_depth -= 1;
    }
  }
  PDF_Result released = PDF_Memory_Free(file->memory, holder);
  return result != PDF_RESULT_OK ? result : released;
}

PDF_Result PDF_Object_Reference_Copy(PDF_Object_Reference** out_reference, PDF_File* file, PDF_Object_Reference* source,
                                     bool copy_targets, int32_t copy_mode) {
  if (out_reference == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_reference = nullptr;
  if (source == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  if (copy_mode != PDF_COPY_MODE_AS_IS) {
    PDF_Result result = PDF_Object_Reference_Bind(source);
    if (result == PDF_RESULT_OBJECT_MISSING && file->tolerance_level >= PDF_TOLERANCE_REPAIR) {
      PDF_Message_Report(file->message, PDF_RESULT_REPAIRED, PDF_LEVEL_DOCUMENT,
                         "referenced object does not exist, replace by null.\n");
      copy_targets = false;
    } else if (result != PDF_RESULT_OK) {
      return result;
    }
  }
  PDF_Object* target = source->target;
  int32_t target_type = target == nullptr ? PDF_Object_Type_Unknown : PDF_Object_Get_Type(target);
  if (copy_mode == PDF_COPY_MODE_AS_IS ||
      (copy_mode == PDF_COPY_MODE_KEEP_PAGES && target_type == PDF_Object_Type_Page)) {
    // The same target, shared.
    PDF_Result result = PDF_Object_Reference_Create(out_reference, file, target, source->number, source->generation);
    if (result == PDF_RESULT_OK) {
      (*out_reference)->number = source->number;
      (*out_reference)->generation = source->generation;
    }
    return result;
  }
  if (target_type == PDF_Object_Type_Catalog || target_type == PDF_Object_Type_Pages ||
      target_type == PDF_Object_Type_Page || target_type == PDF_Object_Type_Reserved) {
    copy_targets = false;
  }
  PDF_Object* copy = nullptr;
  if (copy_targets && target != nullptr) {
    PDF_Result result = PDF_Object_Copy(&copy, file, copy_targets, target, copy_mode);
    if (result != PDF_RESULT_OK) return result;
  }
  // Without a copy the reference has no target and number 0: it reads as null.
  return PDF_Object_Reference_Create(out_reference, file, copy, 0, 0);
}

PDF_Result PDF_Object_Reference_Load_All(PDF_Object_Reference* reference) {
  PDF_Result result = PDF_Object_Reference_Bind(reference);
  if (result != PDF_RESULT_OK) return result;
  return PDF_Object_Load_All(reference->target, reference->file);
}

PDF_Result PDF_Object_Reference_Set_Owner(PDF_Object_Reference* reference, PDF_Data_Object* owner) {
  if (reference == nullptr || owner == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  reference->owner = owner;
  return PDF_RESULT_OK;
}
