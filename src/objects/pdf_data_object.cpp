#include "objects/pdf_data_object.h"
#include "runtime/pdf_memory.h"
#include "runtime/pdf_message.h"

#include "objects/pdf_array.h"
#include "objects/pdf_boolean.h"
#include "objects/pdf_dictionary.h"
#include "objects/pdf_name.h"
#include "objects/pdf_number.h"
#include "objects/pdf_object.h"
#include "objects/pdf_object_reference.h"
#include "objects/pdf_stream.h"
#include "objects/pdf_string.h"
#include "reader/pdf_file.h"
#include "reader/pdf_read_data.h"
#include "runtime/pdf_limits.h"

static bool Is_Valid_Tag(int32_t type) { return type >= PDF_Data_Type_Null && type <= PDF_Data_Type_Stream; }

int32_t PDF_Data_Object_Get_Type(const PDF_Data_Object* object) {
  return object == nullptr ? PDF_Object_Type_Unknown : object->type;
}

void* PDF_Data_Object_Get_Value(const PDF_Data_Object* object) { return object == nullptr ? nullptr : object->value; }

void* PDF_Data_Object_Get_Direct_Value(const PDF_Data_Object* object, int32_t type) {
  if (object == nullptr || object->type != type) return nullptr;
  return object->value;
}

void* PDF_Data_Object_Get_Typed_Value(PDF_Data_Object* object, int32_t type) {
  if (type == PDF_Data_Type_Reference) return PDF_Data_Object_Get_Direct_Value(object, type);
  return PDF_Data_Object_Get_Direct_Value(PDF_Data_Object_Resolve(object), type);
}

// Points the value's back-pointer at the variant, for the tags that have one.
static void Set_Owner(PDF_Data_Object* object) {
  switch (object->type) {
    case PDF_Data_Type_Reference:
      PDF_Object_Reference_Set_Owner(static_cast<PDF_Object_Reference*>(object->value), object);
      break;
    case PDF_Data_Type_Number:
      PDF_Number_Set_Owner(static_cast<PDF_Number*>(object->value), object);
      break;
    case PDF_Data_Type_String:
    case PDF_Data_Type_Name:
      PDF_String_Set_Owner(static_cast<PDF_String*>(object->value), object);
      break;
    case PDF_Data_Type_Array:
      PDF_Array_Set_Owner(static_cast<PDF_Array*>(object->value), object);
      break;
    case PDF_Data_Type_Dictionary:
      PDF_Dictionary_Set_Owner(static_cast<PDF_Dictionary*>(object->value), object);
      break;
    case PDF_Data_Type_Stream:
      PDF_Stream_Set_Owner(static_cast<PDF_Stream*>(object->value), object);
      break;
    default:
      break;
  }
}

// The value a variant of the tag holds when none is given.
static PDF_Result Create_Default(PDF_File* file, int32_t type, void** out_value) {
  switch (type) {
    case PDF_Data_Type_Reference:
      return PDF_Object_Reference_Create(reinterpret_cast<PDF_Object_Reference**>(out_value), file, nullptr, 0, 0);
    case PDF_Data_Type_Boolean:
      return PDF_Boolean_Create(reinterpret_cast<PDF_Boolean**>(out_value), file, 0);
    case PDF_Data_Type_Number:
      return PDF_Number_Create(reinterpret_cast<PDF_Number**>(out_value), file, 0, 0.0);
    case PDF_Data_Type_String:
      return PDF_String_Create(reinterpret_cast<PDF_String**>(out_value), file, nullptr, PDF_STRING_KIND_LITERAL, 0,
                               false);
    case PDF_Data_Type_Name:
      return PDF_String_Create(reinterpret_cast<PDF_String**>(out_value), file, nullptr, PDF_STRING_KIND_NAME, 0,
                               false);
    case PDF_Data_Type_Array:
      return PDF_Array_Create(reinterpret_cast<PDF_Array**>(out_value), file);
    case PDF_Data_Type_Dictionary:
      return PDF_Dictionary_Create(reinterpret_cast<PDF_Dictionary**>(out_value), file);
    case PDF_Data_Type_Stream:
      return PDF_Stream_Create(reinterpret_cast<PDF_Stream**>(out_value), file);
    default:
      *out_value = nullptr;
      return PDF_RESULT_OK;
  }
}

PDF_Result PDF_Data_Object_Delete_Value(int32_t type, void** value, PDF_File* file, uint32_t delete_mode) {
  switch (type) {
    case PDF_Data_Type_Reference:
      return PDF_Object_Reference_Delete(reinterpret_cast<PDF_Object_Reference**>(value), file, delete_mode);
    case PDF_Data_Type_Boolean:
      return PDF_Boolean_Delete(reinterpret_cast<PDF_Boolean**>(value), file);
    case PDF_Data_Type_Number:
      return PDF_Number_Delete(reinterpret_cast<PDF_Number**>(value), file);
    case PDF_Data_Type_String:
    case PDF_Data_Type_Name:
      return PDF_String_Delete(reinterpret_cast<PDF_String**>(value), file);
    case PDF_Data_Type_Array:
      return PDF_Array_Delete(reinterpret_cast<PDF_Array**>(value), file, delete_mode);
    case PDF_Data_Type_Dictionary:
      return PDF_Dictionary_Delete(reinterpret_cast<PDF_Dictionary**>(value), file, delete_mode);
    case PDF_Data_Type_Stream:
      // A stream holds its own file.
      return PDF_Stream_Delete(reinterpret_cast<PDF_Stream**>(value), delete_mode);
    default:
      return PDF_RESULT_BAD_TYPE_TAG;
  }
}

PDF_Result PDF_Data_Object_Create(PDF_Data_Object** out_object, PDF_File* file, int32_t type, void* value) {
  if (out_object == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_object = nullptr;
  PDF_Data_Object* object = PDF_Memory_Alloc_Zeroed<PDF_Data_Object>(file->memory);
  if (object == nullptr) {
    PDF_Message_Report(file->message, PDF_RESULT_OUT_OF_MEMORY, PDF_LEVEL_RESOURCE,
                       "Unable to allocate memory for data object object!");
    return PDF_RESULT_OUT_OF_MEMORY;
  }
  object->value = nullptr;
  object->type = type;
  // A bad tag and a default that can't be built leave the block allocated
  // and the holder null, as it stands.
  if (!Is_Valid_Tag(type)) return PDF_RESULT_BAD_TYPE_TAG;
  if (type != PDF_Data_Type_Null) {
    if (value == nullptr) {
      PDF_Result result = Create_Default(file, type, &value);
      if (result != PDF_RESULT_OK) return result;
    }
    object->value = value;
    Set_Owner(object);
  }
  *out_object = object;
  return PDF_RESULT_OK;
}

PDF_Result PDF_Data_Object_Delete(PDF_Data_Object** holder, PDF_File* file, uint32_t delete_mode) {
  if (holder == nullptr || *holder == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Data_Object* object = *holder;
  if (object->value != nullptr) {
    PDF_Result result = PDF_Data_Object_Delete_Value(object->type, &object->value, file, delete_mode);
    if (result != PDF_RESULT_OK) return result;
  }
  return PDF_Memory_Free(file->memory, holder);
}

static PDF_Result Copy_Value(PDF_Data_Object* source, PDF_File* file, bool copy_targets, int32_t copy_mode,
                             void** out_value);

PDF_Result PDF_Data_Object_Copy(PDF_Data_Object** out_object, PDF_File* file, PDF_Data_Object* source,
                                bool copy_targets, int32_t copy_mode) {
  if (out_object == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_object = nullptr;
  if (source == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  if (!Is_Valid_Tag(source->type)) return PDF_RESULT_BAD_TYPE_TAG;
  if (source->type == PDF_Data_Type_Null) return PDF_Data_Object_Create(out_object, file, PDF_Data_Type_Null, nullptr);
  if (file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  if (file->nesting_depth >= PDF_NESTING_LIMIT) return PDF_RESULT_OBJECT_UNREADABLE;
  file->nesting_depth += 1;
  void* value = nullptr;
  PDF_Result result = Copy_Value(source, file, copy_targets, copy_mode, &value);
  file->nesting_depth -= 1;
  if (result != PDF_RESULT_OK) return result;
  result = PDF_Data_Object_Create(out_object, file, source->type, value);
  if (result != PDF_RESULT_OK) {
    PDF_Data_Object_Delete_Value(source->type, &value, file, PDF_DELETE_MODE_RELEASE);
  }
  return result;
}

// The value of a variant of tag 2 to 9, copied by tag.
static PDF_Result Copy_Value(PDF_Data_Object* source, PDF_File* file, bool copy_targets, int32_t copy_mode,
                             void** out_value) {
  void* value = nullptr;
  PDF_Result result = PDF_RESULT_OK;
  switch (source->type) {
    case PDF_Data_Type_Reference:
      result = PDF_Object_Reference_Copy(reinterpret_cast<PDF_Object_Reference**>(&value), file,
                                         static_cast<PDF_Object_Reference*>(source->value), copy_targets, copy_mode);
      break;
    case PDF_Data_Type_Boolean:
      result = PDF_Boolean_Copy(reinterpret_cast<PDF_Boolean**>(&value), file, static_cast<PDF_Boolean*>(source->value),
                                copy_mode);
      break;
    case PDF_Data_Type_Number:
      result = PDF_Number_Copy(reinterpret_cast<PDF_Number**>(&value), file, static_cast<PDF_Number*>(source->value),
                               copy_mode);
      break;
    case PDF_Data_Type_String:
      result = PDF_String_Copy(reinterpret_cast<PDF_String**>(&value), file, static_cast<PDF_String*>(source->value),
                               copy_mode);
      break;
    case PDF_Data_Type_Name:
      result =
          PDF_Name_Copy(reinterpret_cast<PDF_Name**>(&value), file, static_cast<PDF_Name*>(source->value), copy_mode);
      break;
    case PDF_Data_Type_Array:
      result = PDF_Array_Copy(reinterpret_cast<PDF_Array**>(&value), file, static_cast<PDF_Array*>(source->value),
                              copy_targets, copy_mode);
      break;
    case PDF_Data_Type_Dictionary:
      result = PDF_Dictionary_Copy(reinterpret_cast<PDF_Dictionary**>(&value), file,
                                   static_cast<PDF_Dictionary*>(source->value), copy_targets, copy_mode);
      break;
    case PDF_Data_Type_Stream:
      result = PDF_Stream_Copy(reinterpret_cast<PDF_Stream**>(&value), file, static_cast<PDF_Stream*>(source->value),
                               copy_targets, copy_mode);
      break;
    default:
      break;
  }
  *out_value = value;
  return result;
}

PDF_Result PDF_Data_Object_Decrypt(PDF_Data_Object* object, PDF_File* file, PDF_Object* container) {
  if (object == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  switch (object->type) {
    case PDF_Data_Type_String:
      return PDF_String_Decrypt(static_cast<PDF_String*>(object->value), file, container);
    case PDF_Data_Type_Array:
      return PDF_Array_Decrypt(static_cast<PDF_Array*>(object->value), file, container);
    case PDF_Data_Type_Dictionary:
      return PDF_Dictionary_Decrypt(static_cast<PDF_Dictionary*>(object->value), file, container);
    case PDF_Data_Type_Stream:
      return PDF_Stream_Decrypt(static_cast<PDF_Stream*>(object->value), file, container);
    default:
      return PDF_RESULT_OK;  // names included: keys and names are never encrypted
  }
}

PDF_Result PDF_Data_Object_Load_All(PDF_Data_Object* object, PDF_File* file) {
  if (object == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  if (file->nesting_depth >= PDF_NESTING_LIMIT) return PDF_RESULT_OBJECT_UNREADABLE;
  file->nesting_depth += 1;
  PDF_Result result = PDF_RESULT_OK;
  switch (object->type) {
    case PDF_Data_Type_Reference:
      result = PDF_Object_Reference_Load_All(static_cast<PDF_Object_Reference*>(object->value));
      break;
    case PDF_Data_Type_Array:
      result = PDF_Array_Load_All(static_cast<PDF_Array*>(object->value), file);
      break;
    case PDF_Data_Type_Dictionary:
      result = PDF_Dictionary_Load_All(static_cast<PDF_Dictionary*>(object->value), file);
      break;
    case PDF_Data_Type_Stream:
      result = PDF_Stream_Load_All(static_cast<PDF_Stream*>(object->value));
      break;
    default:
      break;
  }
  file->nesting_depth -= 1;
  return result;
}

// Wraps a value read by one of the readers; on failure the value is deleted
// and the parse counts as failed.
static uint64_t Wrap(PDF_Data_Object** out_object, PDF_File* file, int32_t type, void* value, uint64_t count) {
  if (PDF_Data_Object_Create(out_object, file, type, value) == PDF_RESULT_OK) return count;
  *out_object = nullptr;
  if (value != nullptr) PDF_Data_Object_Delete_Value(type, &value, file, PDF_DELETE_MODE_RELEASE);
  return 0;
}

static uint64_t Read_Value(PDF_Data_Object** out_object, PDF_File* file, PDF_Read_Data* reader, uint64_t position);

uint64_t PDF_Data_Object_Read(PDF_Data_Object** out_object, PDF_File* file, PDF_Read_Data* reader, uint64_t position) {
  if (out_object == nullptr) return PDF_READ_INVALID_ARGUMENT;
  *out_object = nullptr;
  if (file == nullptr || reader == nullptr) return 0;
  // A value nested deeper than the limit is damaged: no value is there.
  if (file->nesting_depth >= PDF_NESTING_LIMIT) return 0;
  // So is every value once the document has read its share.
  if (file->value_reads >= PDF_VALUE_READ_LIMIT) return 0;
  file->value_reads += 1;
  file->nesting_depth += 1;
  uint64_t count = Read_Value(out_object, file, reader, position);
  file->nesting_depth -= 1;
  return count;
}

static uint64_t Read_Value(PDF_Data_Object** out_object, PDF_File* file, PDF_Read_Data* reader, uint64_t position) {
  // Every reader begins at the first byte that is neither white space nor
  // part of a comment (the string reader passes white space alone, and so
  // fails where a comment stands first). A reader that can't accept that
  // byte would give 0 without building anything, so it is not asked; the
  // others are asked in the fixed order, and the first that accepts decides.
  uint8_t first = 0;
  if (PDF_Read_Data_Skip_Space(reader, position, &first) == 0) return 0;
  const bool digit = first >= '0' && first <= '9';
  uint64_t count = 0;

  if (first == '[') {
    PDF_Array* array = nullptr;
    count = PDF_Array_Read(&array, file, reader, position);
    if (count != 0) return Wrap(out_object, file, PDF_Data_Type_Array, array, count);
  }

  if (first == '<') {
    PDF_Stream* stream = nullptr;
    PDF_Dictionary* dictionary = nullptr;
    count = PDF_Stream_Read(&stream, &dictionary, file, reader, position);
    if (count != 0) {
      // Kept: the count is passed on as the stream reader gave it; for a
      // stream it ends behind the line end after the keyword, before the
      // data, which callers pass over by the stream's length alone.
      if (stream != nullptr) return Wrap(out_object, file, PDF_Data_Type_Stream, stream, count);
      if (dictionary != nullptr) return Wrap(out_object, file, PDF_Data_Type_Dictionary, dictionary, count);
      return 0;
    }
  }

  if (digit || first == '-') {
    PDF_Object_Reference* reference = nullptr;
    count = PDF_Object_Reference_Read(&reference, file, reader, position);
    if (count != 0) {
      // Kept: object number 0 makes the three tokens one null ("0 0 R"), so
      // that a dictionary drops the key and an array holds a null.
      if (reference == nullptr) return Wrap(out_object, file, PDF_Data_Type_Null, nullptr, count);
      return Wrap(out_object, file, PDF_Data_Type_Reference, reference, count);
    }
  }

  if (digit || first == '-' || first == '+' || first == '.') {
    PDF_Number* number = nullptr;
    count = PDF_Number_Read(&number, file, reader, position);
    if (count != 0) return Wrap(out_object, file, PDF_Data_Type_Number, number, count);
  }

  if (first == 'n') {
    count = PDF_Null_Read(reader, position);
    if (count != 0) return Wrap(out_object, file, PDF_Data_Type_Null, nullptr, count);
  }

  if (first == 't' || first == 'f') {
    PDF_Boolean* boolean = nullptr;
    count = PDF_Boolean_Read(&boolean, file, reader, position);
    if (count != 0) return Wrap(out_object, file, PDF_Data_Type_Boolean, boolean, count);
  }

  if (first == '/') {
    PDF_Name* name = nullptr;
    count = PDF_Name_Read(&name, file, reader, position);
    if (count != 0) return Wrap(out_object, file, PDF_Data_Type_Name, name, count);
  }

  if (first == '(' || first == '<') {
    PDF_String* string = nullptr;
    count = PDF_String_Read(&string, file, reader, position);
    if (count != 0) return Wrap(out_object, file, PDF_Data_Type_String, string, count);
  }

  return 0;
}

PDF_Data_Object* PDF_Data_Object_Resolve(PDF_Data_Object* object) {
  // Each object on the way is marked while the chain is followed, and a
  // marked one met again means that the chain closed on itself. The walk is a
  // loop, so a long chain costs no stack; the marks are cleared afterwards by
  // following the same steps again.
  PDF_Data_Object* result = object;
  uint64_t marked = 0;
  while (result != nullptr && result->type == PDF_Data_Type_Reference) {
    PDF_Object* target = PDF_Object_Reference_Get_Object(static_cast<PDF_Object_Reference*>(result->value));
    PDF_Data_Object* value = PDF_Object_Get_Value(target);
    if (target == nullptr || value == nullptr) {
      result = nullptr;
      break;
    }
    result = value;
    if (value->type != PDF_Data_Type_Reference || PDF_Object_Get_Resolving(target)) break;
    PDF_Object_Set_Resolving(target, true);
    marked += 1;
  }
  for (PDF_Data_Object* at = object; marked != 0; --marked) {
    PDF_Object* target = static_cast<PDF_Object_Reference*>(at->value)->target;
    PDF_Object_Set_Resolving(target, false);
    at = target->value;
  }
  return result;
}
