#include "reader/pdf_xref_table.h"

#include "reader/pdf_object_stream.h"

static uint32_t Section_First(const PDF_Xref_Section* section) {
  return static_cast<uint32_t>(PDF_Number_Get_Long(section->first_number));
}

static uint32_t Section_Count(const PDF_Xref_Section* section) {
  return static_cast<uint32_t>(PDF_Number_Get_Long(section->count));
}

PDF_Result PDF_Xref_Entry_Create(PDF_Xref_Entry** out_entry, PDF_File* file, PDF_Object* object, uint64_t offset,
                               uint16_t generation, uint8_t type) {
  PDF_Xref_Entry* entry = PDF_Memory_Alloc_Zeroed<PDF_Xref_Entry>(file->memory);
  *out_entry = entry;
  if (entry == nullptr) return PDF_RESULT_OUT_OF_MEMORY;
  entry->offset = offset;
  entry->generation = generation;
  entry->type = type;
  entry->file = file;
  entry->object = object;
  return PDF_RESULT_OK;
}

PDF_Result PDF_Xref_Section_Delete(PDF_Xref_Section** holder, PDF_File* file) {
  PDF_Xref_Section* section = *holder;
  PDF_Result first = PDF_RESULT_OK;
  while (section->head != nullptr) {
    PDF_Xref_Entry* entry = section->head;
    section->head = entry->next;
    if (entry->object != nullptr) {
      // Mode 1: references inside leave their targets' counts alone, since
      // the targets may already be gone.
      PDF_Result result = PDF_Object_Delete(&entry->object, file, PDF_DELETE_MODE_KEEP);
      if (first == PDF_RESULT_OK) first = result;
    }
    PDF_Memory_Free(file->memory, &entry);
  }
  if (section->first_number != nullptr) PDF_Number_Delete(&section->first_number, file);
  if (section->count != nullptr) PDF_Number_Delete(&section->count, file);
  PDF_Memory_Free(file->memory, holder);
  return first;
}

static PDF_Result Section_Create(PDF_Xref_Section** out_section, PDF_File* file, uint32_t first_number) {
  *out_section = nullptr;
  PDF_Xref_Section* section = PDF_Memory_Alloc_Zeroed<PDF_Xref_Section>(file->memory);
  if (section == nullptr) return PDF_RESULT_OUT_OF_MEMORY;
  PDF_Result result = PDF_Number_Create(&section->first_number, file, 0, first_number);
  if (result == PDF_RESULT_OK) result = PDF_Number_Create(&section->count, file, 0, 0.0);
  if (result != PDF_RESULT_OK) {
    PDF_Xref_Section_Delete(&section, file);
    return result;
  }
  *out_section = section;
  return PDF_RESULT_OK;
}

// Links a section in ascending order of first number, behind sections of an
// equal first number.
void PDF_Xref_Table_Insert_Section(PDF_Xref_Table* table, PDF_Xref_Section* section) {
  uint32_t first = Section_First(section);
  PDF_Xref_Section* before = table->first_section;
  while (before != nullptr && Section_First(before) <= first) before = before->next;
  section->next = before;
  section->previous = before == nullptr ? table->last_section : before->previous;
  if (section->previous != nullptr) {
    section->previous->next = section;
  } else {
    table->first_section = section;
  }
  if (before != nullptr) {
    before->previous = section;
  } else {
    table->last_section = section;
  }
}

PDF_Result PDF_Xref_Table_Create(PDF_Xref_Table** out_table, PDF_File* file, bool with_free_head) {
  if (out_table == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_table = nullptr;
  PDF_Xref_Table* table = PDF_Memory_Alloc_Zeroed<PDF_Xref_Table>(file->memory);
  if (table == nullptr) return PDF_RESULT_OUT_OF_MEMORY;
  if (with_free_head) {
    PDF_Result result = PDF_Xref_Table_Add_Entry(table, file, nullptr, 0, 0, 65535, 'f');
    if (result != PDF_RESULT_OK) {
      PDF_Xref_Table_Delete(&table, file);
      return result;
    }
  }
  *out_table = table;
  return PDF_RESULT_OK;
}

PDF_Result PDF_Xref_Table_Delete(PDF_Xref_Table** holder, PDF_File* file) {
  if (holder == nullptr || *holder == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Xref_Table* table = *holder;
  PDF_Result first = PDF_RESULT_OK;
  while (table->first_section != nullptr) {
    PDF_Xref_Section* section = table->first_section;
    table->first_section = section->next;
    PDF_Result result = PDF_Xref_Section_Delete(&section, file);
    if (first == PDF_RESULT_OK) first = result;
  }
  PDF_Memory_Free(file->memory, holder);
  return first;
}

// The entry of a number inside a section, or null.
static PDF_Xref_Entry* Section_Entry(PDF_Xref_Section* section, uint32_t number) {
  uint32_t first = Section_First(section);
  if (number < first || number - first >= Section_Count(section)) return nullptr;
  PDF_Xref_Entry* entry = section->head;
  for (uint32_t i = first; i < number && entry != nullptr; ++i) entry = entry->next;
  return entry;
}

static PDF_Xref_Entry* Find_Entry(PDF_Xref_Table* table, uint32_t number) {
  for (PDF_Xref_Section* section = table->first_section; section != nullptr; section = section->next) {
    PDF_Xref_Entry* entry = Section_Entry(section, number);
    if (entry != nullptr) return entry;
  }
  return nullptr;
}

static PDF_Result Add_Numbered(PDF_Xref_Table* table, PDF_File* file, PDF_Object* object, uint32_t number,
                               uint64_t offset, uint16_t generation, uint8_t type) {
  PDF_Xref_Entry* entry = nullptr;
  PDF_Result result = PDF_Xref_Entry_Create(&entry, file, object, offset, generation, type);
  if (result != PDF_RESULT_OK) return result;
  for (PDF_Xref_Section* section = table->first_section; section != nullptr; section = section->next) {
    uint32_t first = Section_First(section);
    uint32_t count = Section_Count(section);
    if (count != 0 && first != 0 && number == first - 1) {
      entry->next = section->head;
      if (section->head != nullptr) section->head->previous = entry;
      section->head = entry;
      if (section->tail == nullptr) section->tail = entry;
      PDF_Number_Decrement(section->first_number);
      PDF_Number_Increment(section->count);
      return PDF_RESULT_OK;
    }
    if (number == first + count) {
      entry->previous = section->tail;
      if (section->tail != nullptr) section->tail->next = entry;
      section->tail = entry;
      if (section->head == nullptr) section->head = entry;
      PDF_Number_Increment(section->count);
      return PDF_RESULT_OK;
    }
  }
  PDF_Xref_Section* section = nullptr;
  result = Section_Create(&section, file, number);
  if (result != PDF_RESULT_OK) {
    PDF_Memory_Free(file->memory, &entry);
    return result;
  }
  section->head = entry;
  section->tail = entry;
  PDF_Number_Increment(section->count);
  PDF_Xref_Table_Insert_Section(table, section);
  return PDF_RESULT_OK;
}

PDF_Result PDF_Xref_Table_Add_Entry(PDF_Xref_Table* table, PDF_File* file, PDF_Object* object, uint32_t number,
                                    uint64_t offset, uint16_t generation, uint8_t type) {
  if (table == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  if (object == nullptr) return Add_Numbered(table, file, nullptr, number, offset, generation, type);
  int32_t own_number = PDF_Object_Get_Number(object);
  uint16_t own_generation = static_cast<uint16_t>(PDF_Object_Get_Generation(object));
  if (own_number == 0) {
    // Goes behind the last section and takes the next number.
    PDF_Xref_Section* last = table->last_section;
    uint32_t next = last == nullptr ? 1 : Section_First(last) + Section_Count(last);
    PDF_Result result = PDF_Object_Set_Number(object, static_cast<int32_t>(next));
    if (result != PDF_RESULT_OK) return result;
    result = Add_Numbered(table, file, object, next, offset, own_generation, 'n');
    if (result != PDF_RESULT_OK) PDF_Object_Set_Number(object, 0);
    return result;
  }
  PDF_Xref_Entry* existing = Find_Entry(table, static_cast<uint32_t>(own_number));
  if (existing != nullptr && (existing->type == 'n' || existing->type == 'c')) {
    // Nothing is added; the table keeps what it has and disposes of the newcomer.
    if (existing->object == object) return PDF_RESULT_OK;
    PDF_Object_Delete(&object, file, PDF_DELETE_MODE_KEEP);
    return PDF_RESULT_OK;
  }
  return Add_Numbered(table, file, object, static_cast<uint32_t>(own_number), offset, own_generation, 'n');
}

PDF_Object* PDF_Xref_Table_Get_Object(PDF_Xref_Table* table, uint32_t number, uint32_t id) {
  if (table == nullptr || (number == 0 && id == 0)) return nullptr;
  if (number == 0) {
    for (PDF_Xref_Section* section = table->first_section; section != nullptr; section = section->next) {
      for (PDF_Xref_Entry* entry = section->head; entry != nullptr; entry = entry->next) {
        if (entry->type == 'n' && entry->object != nullptr && entry->object->id == id) return entry->object;
      }
    }
    return nullptr;
  }
  for (PDF_Xref_Section* section = table->first_section; section != nullptr; section = section->next) {
    PDF_Xref_Entry* entry = Section_Entry(section, number);
    if (entry == nullptr || entry->type == 'f' || entry->object == nullptr) continue;
    if (entry->object == section->hidden_object) continue;
    // A compressed object is parsed out of its object stream first; when that
    // fails the lookup finds nothing.
    if (entry->type == 'c' && PDF_Xref_Entry_Load_Compressed(entry) != PDF_RESULT_OK) return nullptr;
    table->last_hit_section = section;
    return entry->object;
  }
  return nullptr;
}

bool PDF_Xref_Table_Has_Number(const PDF_Xref_Table* table, uint32_t number) {
  if (table == nullptr) return false;
  for (const PDF_Xref_Section* section = table->first_section; section != nullptr; section = section->next) {
    uint32_t first = Section_First(section);
    if (number >= first && number - first < Section_Count(section)) return true;
  }
  return false;
}

PDF_Result PDF_Xref_Table_Remove_Object(PDF_Xref_Table* table, PDF_File* file, PDF_Object* object,
                                        uint32_t delete_mode) {
  if (table == nullptr || file == nullptr || object == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  for (PDF_Xref_Section* section = table->first_section; section != nullptr; section = section->next) {
    for (PDF_Xref_Entry* entry = section->head; entry != nullptr; entry = entry->next) {
      if (entry->object != object) continue;
      // Detached before deletion, so that a cycle coming back finds it gone.
      entry->object = nullptr;
      entry->type = 'f';
      if (section->hidden_object == object) section->hidden_object = nullptr;
      return PDF_Object_Delete(&object, file, delete_mode);
    }
  }
  return PDF_RESULT_OBJECT_MISSING;
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

PDF_Result PDF_Body_Create(PDF_Body** out_body, PDF_File* file, PDF_Xref_Table* table, PDF_Trailer* trailer,
                           bool xref_stream_read) {
  if (out_body == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_body = nullptr;
  PDF_Body* body = PDF_Memory_Alloc_Zeroed<PDF_Body>(file->memory);
  if (body == nullptr) return PDF_RESULT_OUT_OF_MEMORY;
  body->table = table;
  body->trailer = trailer;
  body->xref_stream_read = xref_stream_read ? 1 : 0;
  *out_body = body;
  return PDF_RESULT_OK;
}

PDF_Result PDF_Body_Delete(PDF_Body** holder, PDF_File* file) {
  if (holder == nullptr || *holder == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Body* body = *holder;
  PDF_Result first = PDF_RESULT_OK;
  if (body->trailer != nullptr) first = PDF_Trailer_Delete(&body->trailer, file);
  if (body->table != nullptr) {
    PDF_Result result = PDF_Xref_Table_Delete(&body->table, file);
    if (first == PDF_RESULT_OK) first = result;
  }
  if (body->previous != nullptr) body->previous->next = body->next;
  if (body->next != nullptr) body->next->previous = body->previous;
  PDF_Result released = PDF_Memory_Free(file->memory, holder);
  return first != PDF_RESULT_OK ? first : released;
}

static PDF_Body* Oldest(PDF_Body* body) {
  while (body != nullptr && body->previous != nullptr) body = body->previous;
  return body;
}

PDF_Object* PDF_Body_Find_Object(PDF_Body* body, uint32_t number, uint32_t id) {
  for (PDF_Body* at = Oldest(body); at != nullptr; at = at->next) {
    PDF_Object* object = PDF_Xref_Table_Get_Object(at->table, number, id);
    if (object != nullptr) return object;
  }
  return nullptr;
}

bool PDF_Body_Has_Number(const PDF_Body* body, uint32_t number) {
  for (PDF_Body* at = Oldest(const_cast<PDF_Body*>(body)); at != nullptr; at = at->next) {
    if (PDF_Xref_Table_Has_Number(at->table, number)) return true;
  }
  return false;
}

PDF_Result PDF_Body_Remove_Object(PDF_Body* body, PDF_File* file, PDF_Object* object, uint32_t delete_mode) {
  for (PDF_Body* at = Oldest(body); at != nullptr; at = at->next) {
    if (at->table == nullptr) continue;
    PDF_Result result = PDF_Xref_Table_Remove_Object(at->table, file, object, delete_mode);
    if (result != PDF_RESULT_OBJECT_MISSING) return result;
  }
  return PDF_RESULT_OBJECT_MISSING;
}
