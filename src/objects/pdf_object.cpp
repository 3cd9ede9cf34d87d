#include "objects/pdf_object.h"
#include "runtime/pdf_memory.h"
#include "runtime/pdf_message.h"

#include <cstdlib>

#include "objects/pdf_dictionary.h"
#include "objects/pdf_name.h"
#include "objects/pdf_object_reference.h"
#include "objects/pdf_stream.h"
#include "reader/pdf_file.h"
#include "reader/pdf_read_data.h"

PDF_Result PDF_Object_Create(PDF_Object** out_object, PDF_File* file, PDF_Data_Object* value, uint64_t number,
                             uint64_t generation, int32_t type) {
  if (out_object == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_object = nullptr;
  PDF_Object* object = PDF_Memory_Alloc_Zeroed<PDF_Object>(file->memory);
  if (object == nullptr) {
    PDF_Message_Report(file->message, PDF_RESULT_OUT_OF_MEMORY, PDF_LEVEL_RESOURCE,
                       "Unable to allocate memory for object!");
    return PDF_RESULT_OUT_OF_MEMORY;
  }
  PDF_Result result = PDF_Number_Create(&object->number, file, 0, static_cast<double>(number));
  if (result == PDF_RESULT_OK) {
    result = PDF_Number_Create(&object->generation, file, 0, static_cast<double>(generation));
  }
  if (result != PDF_RESULT_OK) {
    if (object->number != nullptr) PDF_Number_Delete(&object->number, file);
    PDF_Memory_Free(file->memory, &object);
    return result;
  }
  object->id = file->next_object_id;
  file->next_object_id += 1;
  object->value = value;
  object->type = type;
  *out_object = object;
  return PDF_RESULT_OK;
}

// Number, generation and the keyword; 0 consumed with number 0 where no
// header begins (no integer, below 1, negative), and false for a broken one.
static bool Read_Header(PDF_Read_Data* reader, uint64_t position, uint64_t* out_number, uint64_t* out_generation,
                        uint64_t* out_consumed) {
  uint64_t number = 0;
  uint64_t generation = 0;
  int32_t sign = 1;
  uint64_t consumed = PDF_Read_Data_Read_Integer(reader, &number, position, &sign);
  if (consumed == 0 || consumed == PDF_READ_INVALID_ARGUMENT || number < 1 || sign < 0) {
    // No header: an object pending at the position itself.
    consumed = 0;
    number = 0;
  } else {
    uint64_t count = PDF_Read_Data_Read_Integer(reader, &generation, position + consumed, &sign);
    if (count == 0 || count == PDF_READ_INVALID_ARGUMENT || sign < 0) return false;
    consumed += count;
    char keyword[5];
    uint64_t length = sizeof(keyword);
    count = PDF_Read_Data_Read_Keyword(reader, keyword, &length, position + consumed);
    if (count == 0 || count == PDF_READ_INVALID_ARGUMENT || length != 3 || keyword[0] != 'o' || keyword[1] != 'b' ||
        keyword[2] != 'j') {
      return false;
    }
    consumed += count;
  }
  *out_number = number;
  *out_generation = generation;
  *out_consumed = consumed;
  return true;
}

uint64_t PDF_Object_Read(PDF_Object** out_object, PDF_File* file, PDF_Read_Data* reader, uint64_t position) {
  if (out_object == nullptr) return PDF_READ_INVALID_ARGUMENT;
  *out_object = nullptr;
  if (file == nullptr || reader == nullptr) return 0;
  uint64_t number = 0;
  uint64_t generation = 0;
  uint64_t consumed = 0;
  if (!Read_Header(reader, position, &number, &generation, &consumed)) return 0;
  PDF_Object* object = nullptr;
  if (PDF_Object_Create(&object, file, nullptr, number, generation, PDF_Object_Type_Unknown) != PDF_RESULT_OK) {
    return 0;
  }
  object->source_reader = reader;
  object->source_position = position + consumed;
  object->source_file = file;
  *out_object = object;
  return consumed;
}

uint64_t PDF_Object_Read_Header(PDF_Read_Data* reader, uint64_t position) {
  if (reader == nullptr) return 0;
  uint64_t number = 0;
  uint64_t generation = 0;
  uint64_t consumed = 0;
  if (!Read_Header(reader, position, &number, &generation, &consumed)) return 0;
  return consumed;
}

PDF_Result PDF_Object_Read_From_Buffer(PDF_Object* object, PDF_File* file, const uint8_t* bytes, uint64_t size) {
  if (object == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Memory_Source source = {bytes, size};
  PDF_Read_Data* reader = nullptr;
  PDF_Result result = PDF_Read_Data_Create(&reader, file->memory, PDF_Read_Data_Read_Memory, &source, file->message);
  if (result != PDF_RESULT_OK) return result;
  PDF_Data_Object* value = nullptr;
  uint64_t count = PDF_Data_Object_Read(&value, file, reader, 0);
  result = PDF_Read_Data_Release(&reader, file->memory);
  if (count == 0) return PDF_RESULT_OBJECT_UNREADABLE;
  if (result != PDF_RESULT_OK) {
    PDF_Data_Object_Delete(&value, file, PDF_DELETE_MODE_RELEASE);
    return result;
  }
  if (object->value != nullptr) PDF_Data_Object_Delete(&object->value, file, PDF_DELETE_MODE_RELEASE);
  object->value = value;
  object->type = PDF_Object_Classify(value);
  return PDF_RESULT_OK;
}

PDF_Result PDF_Object_Load(PDF_Object* object) {
  if (object == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  if (object->source_reader == nullptr) return PDF_RESULT_OK;
  // A reference that leads back into the body being parsed (a stream whose
  // Length is the stream itself) finds the body unreadable, as it still is.
  if (object->loading) return PDF_RESULT_BAD_TRAILER;
  PDF_File* file = object->source_file;
  PDF_Data_Object* value = nullptr;
  object->loading = 1;
  uint64_t count = PDF_Data_Object_Read(&value, file, object->source_reader, object->source_position);
  object->loading = 0;
  if (count == 0 || value == nullptr) {
    return PDF_RESULT_BAD_TRAILER;  // -100: the body is unreadable; the object stays pending
  }
  object->value = value;
  object->type = PDF_Object_Classify(value);
  // Cross-reference streams are stored in the clear.
  // Kept: the test for the Encrypt type never fires here, since
  // classification can't give it; that object stays clear because it was
  // loaded at open, before the flag was set.
  if (file->encrypted && object->type != PDF_Object_Type_Xref_Stream && object->type != PDF_Object_Type_Encrypt) {
    PDF_Result result = PDF_Data_Object_Decrypt(value, file, object);
    if (result != PDF_RESULT_OK) {
      PDF_Data_Object_Delete(&object->value, file, PDF_DELETE_MODE_RELEASE);
      object->type = PDF_Object_Type_Unknown;
      return result;
    }
  }
  object->source_reader = nullptr;
  object->source_file = nullptr;
  object->source_position = 1;
  return PDF_RESULT_OK;
}

// The objects whose values a Load_All walk has reached and still has to
// visit. Values are visited by recursion, which their nesting bounds; the
// step from one object to the next goes through this list instead, so that a
// long chain of objects that refer on to the next costs no stack.
struct PDF_Object_Walk {
  PDF_Object** objects;
  uint64_t count;
  uint64_t capacity;
};

static PDF_Result Walk_Push(PDF_Object_Walk* walk, PDF_Object* object) {
  if (walk->count == walk->capacity) {
    uint64_t capacity = walk->capacity == 0 ? 64 : 2 * walk->capacity;
    // NOLINTNEXTLINE(bugprone-sizeof-expression): an array of pointers
    void* grown = realloc(walk->objects, capacity * sizeof(*walk->objects));
    if (grown == nullptr) return PDF_RESULT_OUT_OF_MEMORY;
    walk->objects = static_cast<PDF_Object**>(grown);
    walk->capacity = capacity;
  }
  walk->objects[walk->count] = object;
  walk->count += 1;
  return PDF_RESULT_OK;
}

// Visits the value of a loaded object, and the values of every object that
// the visit reaches, unless a walk is already under way: then the object
// joins that walk's list.
static PDF_Result Walk_Value(PDF_Object* object, PDF_File* file) {
  if (file->object_walk != nullptr) return Walk_Push(file->object_walk, object);
  PDF_Object_Walk walk = {nullptr, 0, 0};
  file->object_walk = &walk;
  PDF_Result result = PDF_Data_Object_Load_All(object->value, file);
  while (result == PDF_RESULT_OK && walk.count != 0) {
    walk.count -= 1;
    result = PDF_Data_Object_Load_All(walk.objects[walk.count]->value, file);
  }
  // After a failure the objects not yet visited read as not traversed, as
  // they would had the walk never reached them.
  for (uint64_t i = 0; i < walk.count; ++i) walk.objects[i]->traversed = 0;
  free(walk.objects);
  file->object_walk = nullptr;
  return result;
}

PDF_Result PDF_Object_Load_All(PDF_Object* object, PDF_File* file) {
  if (object == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  // A chain of objects whose values are references to the next is followed
  // in place, so that a missing object at its end is the failure of the
  // first one, as the reference to it would report.
  for (;;) {
    if (object->traversed) return PDF_RESULT_OK;
    PDF_Result result = PDF_Object_Load(object);
    if (result != PDF_RESULT_OK) return result;
    object->traversed = 1;
    if (object->value == nullptr) return PDF_RESULT_OK;
    if (object->value->type != PDF_Data_Type_Reference) return Walk_Value(object, file);
    PDF_Object_Reference* reference = static_cast<PDF_Object_Reference*>(object->value->value);
    result = PDF_Object_Reference_Bind(reference);
    if (result != PDF_RESULT_OK) return result;
    object = reference->target;
  }
}

PDF_Data_Object* PDF_Object_Get_Value(PDF_Object* object) {
  if (object == nullptr || PDF_Object_Load(object) != PDF_RESULT_OK) return nullptr;
  return object->value;
}

int32_t PDF_Object_Get_Type(PDF_Object* object) {
  if (object == nullptr || PDF_Object_Load(object) != PDF_RESULT_OK) return PDF_Object_Type_Unknown;
  return object->type;
}

PDF_Result PDF_Object_Set_Type(PDF_Object* object, int32_t type) {
  if (object == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  object->type = type;
  return PDF_RESULT_OK;
}

int32_t PDF_Object_Classify(const PDF_Data_Object* value) {
  if (value == nullptr || value->type < PDF_Data_Type_Null || value->type > PDF_Data_Type_Stream) {
    return PDF_Object_Type_Unknown;
  }
  if (value->type <= PDF_Data_Type_Array) return value->type;
  if (value->type == PDF_Data_Type_Dictionary) {
    PDF_Name* type = PDF_Dictionary_Get_Type(static_cast<PDF_Dictionary*>(value->value));
    if (type == nullptr) return PDF_Data_Type_Dictionary;
    if (PDF_Name_Is(type, "Catalog")) return PDF_Object_Type_Catalog;
    if (PDF_Name_Is(type, "Pages")) return PDF_Object_Type_Pages;
    if (PDF_Name_Is(type, "Page")) return PDF_Object_Type_Page;
    if (PDF_Name_Is(type, "Font")) return PDF_Object_Type_Font;
    if (PDF_Name_Is(type, "FontDescriptor")) return PDF_Object_Type_Font_Descriptor;
    if (PDF_Name_Is(type, "OCG")) return PDF_Object_Type_OCG;
    if (PDF_Name_Is(type, "OCMD")) return PDF_Object_Type_OCMD;
    if (PDF_Name_Is(type, "Filespec")) return PDF_Object_Type_Filespec;
    return PDF_Data_Type_Dictionary;
  }
  const PDF_Stream* stream = static_cast<const PDF_Stream*>(value->value);
  PDF_Name* subtype = PDF_Stream_Get_Subtype(stream);
  if (PDF_Name_Is(subtype, "Image")) return PDF_Object_Type_Image;
  if (PDF_Name_Is(subtype, "Form")) return PDF_Object_Type_Form;
  PDF_Name* type = PDF_Stream_Get_Type(stream);
  if (PDF_Name_Is(type, "Metadata")) return PDF_Object_Type_Metadata;
  if (PDF_Name_Is(type, "ObjStm")) return PDF_Object_Type_Object_Stream;
  if (PDF_Name_Is(type, "XRef")) return PDF_Object_Type_Xref_Stream;
  return PDF_Data_Type_Stream;
}

int32_t PDF_Object_Get_Number(const PDF_Object* object) {
  return object == nullptr ? 0 : PDF_Number_Get_Integer(object->number);
}

int32_t PDF_Object_Get_Generation(const PDF_Object* object) {
  return object == nullptr ? 0 : PDF_Number_Get_Integer(object->generation);
}

PDF_Result PDF_Object_Set_Number(PDF_Object* object, int32_t number) {
  if (object == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  return PDF_Number_Set_Integer(object->number, number);
}

uint32_t PDF_Object_Get_Id(const PDF_Object* object) { return object == nullptr ? 0 : object->id; }

PDF_Result PDF_Object_Retain(PDF_Object* object) {
  if (object == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  object->reference_count += 1;
  return PDF_RESULT_OK;
}

PDF_Result PDF_Object_Release(PDF_Object* object) {
  if (object == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  if (object->reference_count > 0) object->reference_count -= 1;
  return PDF_RESULT_OK;
}

uint32_t PDF_Object_Get_Reference_Count(const PDF_Object* object) {
  return object == nullptr ? 0 : object->reference_count;
}

bool PDF_Object_Get_Resolving(const PDF_Object* object) { return object != nullptr && object->resolving != 0; }

PDF_Result PDF_Object_Set_Resolving(PDF_Object* object, bool resolving) {
  if (object == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  object->resolving = resolving ? 1 : 0;
  return PDF_RESULT_OK;
}

PDF_Result PDF_Object_Clear_Traversed(PDF_Object* object) {
  if (object == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  object->traversed = 0;
  return PDF_RESULT_OK;
}

bool PDF_Object_Is_From_File(const PDF_Object* object) {
  return object != nullptr && (object->source_reader != nullptr || object->source_position != 0);
}

PDF_Result PDF_Object_Copy(PDF_Object** out_object, PDF_File* file, bool copy_targets, PDF_Object* source,
                           int32_t copy_mode) {
  if (out_object == nullptr || source == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  if (source->copy != nullptr) {
    // Reached twice, or through a cycle: one copy serves all.
    *out_object = source->copy;
    return PDF_RESULT_OK;
  }
  *out_object = nullptr;
  PDF_Result result = PDF_Object_Load(source);
  if (result != PDF_RESULT_OK) return result;
  PDF_Object* object = nullptr;
  result = PDF_Object_Create(&object, file, nullptr, 0, 0, source->type);
  if (result != PDF_RESULT_OK) return result;
  source->copy = object;  // before going down, which is what stops a cycle
  if (source->value != nullptr) {
    result = PDF_Data_Object_Copy(&object->value, file, source->value, copy_targets, copy_mode);
    if (result != PDF_RESULT_OK) {
      // source->copy keeps pointing at the released copy, as it stands.
      PDF_Object_Delete(&object, file, PDF_DELETE_MODE_RELEASE);
      return result;
    }
  }
  object->link_b = source->link_b;
  *out_object = object;
  return PDF_RESULT_OK;
}

PDF_Result PDF_Object_Delete(PDF_Object** holder, PDF_File* file, uint32_t delete_mode) {
  if (holder == nullptr || *holder == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Object* object = *holder;
  if (object->deleting) return PDF_RESULT_OK;  // a cycle came back here
  object->deleting = 1;
  PDF_Result first = PDF_RESULT_OK;
  if (object->value != nullptr) first = PDF_Data_Object_Delete(&object->value, file, delete_mode);
  PDF_Result result = PDF_RESULT_OK;
  if (object->number != nullptr) result = PDF_Number_Delete(&object->number, file);
  if (first == PDF_RESULT_OK) first = result;
  if (object->generation != nullptr) result = PDF_Number_Delete(&object->generation, file);
  if (first == PDF_RESULT_OK) first = result;
  object->deleting = 0;
  result = PDF_Memory_Free(file->memory, holder);
  return first != PDF_RESULT_OK ? first : result;
}
