#include "objects/pdf_array.h"
#include "runtime/pdf_limits.h"
#include "runtime/pdf_memory.h"
#include "runtime/pdf_message.h"

#include "objects/pdf_dictionary.h"
#include "objects/pdf_name.h"
#include "objects/pdf_number.h"
#include "objects/pdf_object.h"
#include "objects/pdf_object_reference.h"
#include "objects/pdf_string.h"
#include "reader/pdf_file.h"
#include "reader/pdf_read_data.h"

static void Report_Allocation_Failure(PDF_File* file) {
  PDF_Message_Report(file->message, PDF_RESULT_OUT_OF_MEMORY, PDF_LEVEL_RESOURCE,
                     "Unable to allocate memory for array object!");
}

PDF_Result PDF_Array_Create(PDF_Array** out_array, PDF_File* file) {
  if (out_array == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_array = nullptr;
  PDF_Array* array = PDF_Memory_Alloc_Zeroed<PDF_Array>(file->memory);
  if (array == nullptr) {
    Report_Allocation_Failure(file);
    return PDF_RESULT_OUT_OF_MEMORY;
  }
  *out_array = array;
  return PDF_RESULT_OK;
}

PDF_Result PDF_Array_Delete(PDF_Array** holder, PDF_File* file, uint32_t delete_mode) {
  if (holder == nullptr || *holder == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Array* array = *holder;
  while (array->first != nullptr) {
    PDF_Array_Element* element = array->first;
    if (element->value != nullptr) {
      PDF_Result result = PDF_Data_Object_Delete(&element->value, file, delete_mode);
      if (result != PDF_RESULT_OK) return result;  // the rest stays as it is
    }
    array->first = element->next;
    if (array->first != nullptr) {
      array->first->previous = nullptr;
    } else {
      array->last = nullptr;
    }
    PDF_Memory_Free(file->memory, &element);
  }
  return PDF_Memory_Free(file->memory, holder);
}

PDF_Result PDF_Array_Element_Create(PDF_Array_Element** out_element, PDF_File* file, PDF_Data_Object* value) {
  if (out_element == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_element = nullptr;
  PDF_Array_Element* element = PDF_Memory_Alloc_Zeroed<PDF_Array_Element>(file->memory);
  if (element == nullptr) {
    Report_Allocation_Failure(file);
    return PDF_RESULT_OUT_OF_MEMORY;
  }
  element->value = value;
  *out_element = element;
  return PDF_RESULT_OK;
}

PDF_Result PDF_Array_Element_Delete(PDF_Array_Element** holder, PDF_File* file, uint32_t delete_mode) {
  if (holder == nullptr || *holder == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Array_Element* element = *holder;
  if (element->value != nullptr) {
    PDF_Result result = PDF_Data_Object_Delete(&element->value, file, delete_mode);
    if (result != PDF_RESULT_OK) return result;
  }
  return PDF_Memory_Free(file->memory, holder);
}

uint32_t PDF_Array_Get_Count(const PDF_Array* array) {
  if (array == nullptr) return 0;
  uint32_t count = 0;
  for (const PDF_Array_Element* element = array->first; element != nullptr; element = element->next) count += 1;
  return count;
}

static PDF_Array_Element* Element_At(const PDF_Array* array, uint32_t index) {
  PDF_Array_Element* element = array->first;
  for (uint32_t i = 0; i < index && element != nullptr; ++i) element = element->next;
  return element;
}

PDF_Data_Object* PDF_Array_Get_Value(const PDF_Array* array, uint32_t index) {
  if (array == nullptr) return nullptr;
  PDF_Array_Element* element = Element_At(array, index);
  return element == nullptr ? nullptr : element->value;
}

PDF_Result PDF_Array_Get_Number(const PDF_Array* array, uint32_t index, double* out_real, uint8_t* out_decimals) {
  if (array == nullptr) return PDF_RESULT_OK;
  if (out_real == nullptr || out_decimals == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Array_Element* element = Element_At(array, index);
  if (element == nullptr) return PDF_RESULT_INDEX_OUT_OF_RANGE;
  // The element itself must be a number: a reference to one is refused.
  PDF_Number* number = static_cast<PDF_Number*>(PDF_Data_Object_Get_Direct_Value(element->value, PDF_Data_Type_Number));
  if (number == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_real = number->value;
  *out_decimals = number->decimals;
  return PDF_RESULT_OK;
}

PDF_Result PDF_Array_Append_Value(PDF_Array* array, PDF_File* file, PDF_Data_Object* value) {
  if (array == nullptr || value == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Array_Element* element = nullptr;
  PDF_Result result = PDF_Array_Element_Create(&element, file, value);
  if (result != PDF_RESULT_OK) return result;
  if (array->first == nullptr) {
    array->first = element;
    array->last = element;
    return PDF_RESULT_OK;
  }
  if (array->last == nullptr) {
    PDF_Memory_Free(file->memory, &element);  // a broken list; the value stays with the caller
    return PDF_RESULT_INVALID_ARGUMENT;
  }
  element->previous = array->last;
  array->last->next = element;
  array->last = element;
  return PDF_RESULT_OK;
}

PDF_Result PDF_Array_Insert_Value(PDF_Array* array, PDF_File* file, PDF_Data_Object* value, uint32_t index) {
  if (array == nullptr || value == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Array_Element* before = array->first == nullptr ? nullptr : Element_At(array, index);
  if (before == nullptr) return PDF_Array_Append_Value(array, file, value);  // at or past the end
  PDF_Array_Element* element = nullptr;
  PDF_Result result = PDF_Array_Element_Create(&element, file, value);
  if (result != PDF_RESULT_OK) return result;
  element->next = before;
  element->previous = before->previous;
  if (before->previous != nullptr) {
    before->previous->next = element;
  } else {
    array->first = element;
  }
  before->previous = element;
  return PDF_RESULT_OK;
}

PDF_Result PDF_Array_Remove_Value(PDF_Array* array, PDF_File* file, uint32_t index, uint32_t delete_mode) {
  if (array == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Array_Element* element = Element_At(array, index);
  if (element == nullptr) return PDF_RESULT_INDEX_OUT_OF_RANGE;
  if (element->previous != nullptr) {
    element->previous->next = element->next;
  } else {
    array->first = element->next;
  }
  if (element->next != nullptr) {
    element->next->previous = element->previous;
  } else {
    array->last = element->previous;
  }
  element->previous = nullptr;
  element->next = nullptr;
  return PDF_Array_Element_Delete(&element, file, delete_mode);
}

// Wraps a freshly built value and appends or inserts it; on failure deletes
// what was built.
static PDF_Result Add_Built(PDF_Array* array, PDF_File* file, int32_t type, void* value, bool insert, uint32_t index) {
  PDF_Data_Object* variant = nullptr;
  PDF_Result result = PDF_Data_Object_Create(&variant, file, type, value);
  if (result != PDF_RESULT_OK) {
    PDF_Data_Object_Delete_Value(type, &value, file, PDF_DELETE_MODE_RELEASE);
    return result;
  }
  result = insert ? PDF_Array_Insert_Value(array, file, variant, index) : PDF_Array_Append_Value(array, file, variant);
  if (result != PDF_RESULT_OK) PDF_Data_Object_Delete(&variant, file, PDF_DELETE_MODE_RELEASE);
  return result;
}

PDF_Result PDF_Array_Append_Name(PDF_Array* array, PDF_File* file, const char* text) {
  if (array == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Name* name = nullptr;
  PDF_Result result = PDF_Name_Create(&name, file, text);
  if (result != PDF_RESULT_OK) return result;
  return Add_Built(array, file, PDF_Data_Type_Name, name, false, 0);
}

PDF_Result PDF_Array_Append_Number(PDF_Array* array, PDF_File* file, double value, uint8_t decimals) {
  if (array == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Number* number = nullptr;
  PDF_Result result = PDF_Number_Create(&number, file, decimals, value);
  if (result != PDF_RESULT_OK) return result;
  return Add_Built(array, file, PDF_Data_Type_Number, number, false, 0);
}

PDF_Result PDF_Array_Insert_Reference(PDF_Array* array, PDF_File* file, PDF_Object* object, uint32_t index) {
  if (array == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Object_Reference* reference = nullptr;
  PDF_Result result = PDF_Object_Reference_Create(&reference, file, object, 0, 0);
  if (result != PDF_RESULT_OK) return result;
  return Add_Built(array, file, PDF_Data_Type_Reference, reference, true, index);
}

static uint64_t Read_Marker(PDF_Read_Data* reader, uint64_t position, uint8_t marker) {
  uint8_t byte = 0;
  uint64_t count = PDF_Read_Data_Skip_Space(reader, position, &byte);
  return count != 0 && byte == marker ? count : 0;
}

uint64_t PDF_Array_Read_Begin(PDF_Read_Data* reader, uint64_t position) { return Read_Marker(reader, position, '['); }

uint64_t PDF_Array_Read_End(PDF_Read_Data* reader, uint64_t position) { return Read_Marker(reader, position, ']'); }

uint64_t PDF_Array_Read(PDF_Array** out_array, PDF_File* file, PDF_Read_Data* reader, uint64_t position) {
  if (out_array == nullptr) return PDF_READ_INVALID_ARGUMENT;
  *out_array = nullptr;
  uint64_t total = PDF_Array_Read_Begin(reader, position);
  if (total == 0) return 0;
  PDF_Array* array = nullptr;
  if (PDF_Array_Create(&array, file) != PDF_RESULT_OK) return 0;
  for (;;) {
    uint64_t end = PDF_Array_Read_End(reader, position + total);
    if (end != 0) {
      *out_array = array;
      return total + end;
    }
    PDF_Data_Object* value = nullptr;
    // Nested values recurse here; the value parser bounds the depth.
    uint64_t count = PDF_Data_Object_Read(&value, file, reader, position + total);
    if (count == 0) break;  // one unreadable element fails the whole array
    total += count;
    if (PDF_Array_Append_Value(array, file, value) != PDF_RESULT_OK) {
      PDF_Data_Object_Delete(&value, file, PDF_DELETE_MODE_RELEASE);
      break;
    }
  }
  PDF_Array_Delete(&array, file, PDF_DELETE_MODE_RELEASE);
  return 0;
}

PDF_Result PDF_Array_Copy(PDF_Array** out_array, PDF_File* file, PDF_Array* source, bool copy_targets,
                          int32_t copy_mode) {
  if (out_array == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_array = nullptr;
  if (source == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Array* array = nullptr;
  PDF_Result result = PDF_Array_Create(&array, file);
  if (result != PDF_RESULT_OK) return result;
  for (PDF_Array_Element* element = source->first; element != nullptr; element = element->next) {
    PDF_Data_Object* value = nullptr;
    result = PDF_Data_Object_Copy(&value, file, element->value, copy_targets, copy_mode);
    if (result == PDF_RESULT_OK) {
      result = PDF_Array_Append_Value(array, file, value);
      if (result != PDF_RESULT_OK) PDF_Data_Object_Delete(&value, file, PDF_DELETE_MODE_RELEASE);
    }
    if (result != PDF_RESULT_OK) {
      PDF_Array_Delete(&array, file, PDF_DELETE_MODE_RELEASE);
      return result;
    }
  }
  *out_array = array;
  return PDF_RESULT_OK;
}

static PDF_Result Decrypt_Elements(PDF_Array* array, PDF_File* file, PDF_Object* container);

PDF_Result PDF_Array_Decrypt(PDF_Array* array, PDF_File* file, PDF_Object* container) {
  if (array == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  if (file->nesting_depth >= PDF_NESTING_LIMIT) return PDF_RESULT_OBJECT_UNREADABLE;
  file->nesting_depth += 1;
  PDF_Result result = Decrypt_Elements(array, file, container);
  file->nesting_depth -= 1;
  return result;
}

static PDF_Result Decrypt_Elements(PDF_Array* array, PDF_File* file, PDF_Object* container) {
  for (PDF_Array_Element* element = array->first; element != nullptr; element = element->next) {
    PDF_Data_Object* value = element->value;
    PDF_Result result = PDF_RESULT_OK;
    switch (PDF_Data_Object_Get_Type(value)) {
      case PDF_Data_Type_String:
        result = PDF_String_Decrypt(static_cast<PDF_String*>(value->value), file, container);
        break;
      case PDF_Data_Type_Array:
        result = PDF_Array_Decrypt(static_cast<PDF_Array*>(value->value), file, container);
        break;
      case PDF_Data_Type_Dictionary:
        result = PDF_Dictionary_Decrypt(static_cast<PDF_Dictionary*>(value->value), file, container);
        break;
      default:
        break;  // references are not followed; streams don't stand in arrays
    }
    if (result != PDF_RESULT_OK) return result;
  }
  return PDF_RESULT_OK;
}

PDF_Result PDF_Array_Load_All(PDF_Array* array, PDF_File* file) {
  if (array == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  for (PDF_Array_Element* element = array->first; element != nullptr; element = element->next) {
    PDF_Result result = PDF_Data_Object_Load_All(element->value, file);
    if (result == PDF_RESULT_OBJECT_MISSING && file->tolerance_level >= PDF_TOLERANCE_REPAIR) {
      // A dangling reference becomes a null in place, keeping every index.
      result = PDF_Data_Object_Delete(&element->value, file, PDF_DELETE_MODE_RELEASE);
      if (result == PDF_RESULT_OK) result = PDF_Data_Object_Create(&element->value, file, PDF_Data_Type_Null, nullptr);
    }
    if (result != PDF_RESULT_OK) return result;
  }
  return PDF_RESULT_OK;
}

PDF_Result PDF_Array_Set_Owner(PDF_Array* array, PDF_Data_Object* owner) {
  if (array == nullptr || owner == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  array->owner = owner;
  return PDF_RESULT_OK;
}
