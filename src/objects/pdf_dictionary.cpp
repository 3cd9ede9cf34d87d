#include "objects/pdf_dictionary.h"
#include "runtime/pdf_limits.h"
#include "runtime/pdf_memory.h"
#include "runtime/pdf_message.h"

#include <cstdlib>

#include "objects/pdf_array.h"
#include "objects/pdf_boolean.h"
#include "objects/pdf_number.h"
#include "objects/pdf_object.h"
#include "objects/pdf_object_reference.h"
#include "objects/pdf_string.h"
#include "reader/pdf_file.h"
#include "reader/pdf_read_data.h"

PDF_Result PDF_Dictionary_Create(PDF_Dictionary** out_dictionary, PDF_File* file) {
  if (out_dictionary == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_dictionary = nullptr;
  PDF_Dictionary* dictionary = PDF_Memory_Alloc_Zeroed<PDF_Dictionary>(file->memory);
  if (dictionary == nullptr) {
    PDF_Message_Report(file->message, PDF_RESULT_OUT_OF_MEMORY, PDF_LEVEL_RESOURCE,
                       "Unable to allocate memory for dictionary object!");
    return PDF_RESULT_OUT_OF_MEMORY;
  }
  *out_dictionary = dictionary;
  return PDF_RESULT_OK;
}

PDF_Result PDF_Dictionary_Delete(PDF_Dictionary** holder, PDF_File* file, uint32_t delete_mode) {
  if (holder == nullptr || *holder == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Dictionary* dictionary = *holder;
  while (dictionary->first != nullptr) {
    PDF_Dictionary_Entry* entry = dictionary->first;
    PDF_Result result = PDF_RESULT_OK;
    if (entry->key != nullptr) result = PDF_Name_Delete(&entry->key, file);
    if (result != PDF_RESULT_OK) return result;
    // Every mode deletes the value here; mode 1 only reaches the references.
    if (entry->value != nullptr) result = PDF_Data_Object_Delete(&entry->value, file, delete_mode);
    if (result != PDF_RESULT_OK) return result;  // the entry, keyless, and the rest stay
    dictionary->first = entry->next;
    if (dictionary->first != nullptr) {
      dictionary->first->previous = nullptr;
    } else {
      dictionary->last = nullptr;
    }
    dictionary->cursor = dictionary->first;
    dictionary->cursor_index = 0;
    dictionary->count -= 1;
    PDF_Memory_Free(file->memory, &entry);
  }
  return PDF_Memory_Free(file->memory, holder);
}

PDF_Result PDF_Dictionary_Entry_Create(PDF_Dictionary_Entry** out_entry, PDF_File* file, PDF_Name* key,
                                       PDF_Data_Object* value) {
  if (out_entry == nullptr || file == nullptr || key == nullptr || value == nullptr) {
    return PDF_RESULT_INVALID_ARGUMENT;
  }
  *out_entry = nullptr;
  PDF_Dictionary_Entry* entry = PDF_Memory_Alloc_Zeroed<PDF_Dictionary_Entry>(file->memory);
  if (entry == nullptr) {
    PDF_Message_Report(file->message, PDF_RESULT_OUT_OF_MEMORY, PDF_LEVEL_RESOURCE,
                       "Unable to allocate memory for dictionary entry!");
    return PDF_RESULT_OUT_OF_MEMORY;
  }
  entry->key = key;
  entry->value = value;
  *out_entry = entry;
  return PDF_RESULT_OK;
}

PDF_Result PDF_Dictionary_Entry_Delete(PDF_Dictionary_Entry** holder, PDF_File* file, uint32_t delete_mode) {
  if (holder == nullptr || *holder == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Dictionary_Entry* entry = *holder;
  PDF_Result result = PDF_RESULT_OK;
  if (entry->key != nullptr) result = PDF_Name_Delete(&entry->key, file);
  if (result != PDF_RESULT_OK) return result;
  // Mode 1 keeps the value: the caller has moved it elsewhere.
  if (delete_mode != PDF_DELETE_MODE_KEEP && entry->value != nullptr) {
    result = PDF_Data_Object_Delete(&entry->value, file, delete_mode);
    if (result != PDF_RESULT_OK) return result;
  }
  return PDF_Memory_Free(file->memory, holder);
}

bool PDF_Dictionary_Entry_Matches(const PDF_Dictionary_Entry* entry, const char* key) {
  if (entry == nullptr) return false;
  return PDF_Name_Compare(entry->key, key);
}

uint32_t PDF_Dictionary_Get_Count(const PDF_Dictionary* dictionary) {
  return dictionary == nullptr ? 0 : dictionary->count;
}

PDF_Result PDF_Dictionary_Get_Entry_At(PDF_Dictionary* dictionary, uint32_t index, PDF_Name** out_key,
                                       PDF_Data_Object** out_value) {
  if (out_key == nullptr || out_value == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_key = nullptr;
  *out_value = nullptr;
  if (dictionary == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  if (index >= dictionary->count) return PDF_RESULT_INDEX_OUT_OF_RANGE;
  PDF_Dictionary_Entry* entry;
  uint32_t steps;
  if (dictionary->cursor != nullptr && index >= dictionary->cursor_index) {
    entry = dictionary->cursor;
    steps = index - dictionary->cursor_index;
  } else {
    entry = dictionary->first;
    steps = index;
  }
  for (; steps > 0 && entry != nullptr; --steps) entry = entry->next;
  if (entry == nullptr) return PDF_RESULT_INDEX_OUT_OF_RANGE;
  *out_key = entry->key;
  *out_value = entry->value;
  dictionary->cursor = entry;
  dictionary->cursor_index = index;
  return PDF_RESULT_OK;
}

// The first entry whose key equals the text; moves the cursor onto it.
static PDF_Dictionary_Entry* Find_Entry(PDF_Dictionary* dictionary, const char* key) {
  if (dictionary == nullptr) return nullptr;
  uint32_t index = 0;
  for (PDF_Dictionary_Entry* entry = dictionary->first; entry != nullptr; entry = entry->next, ++index) {
    if (PDF_Name_Is(entry->key, key)) {
      dictionary->cursor = entry;
      dictionary->cursor_index = index;
      return entry;
    }
  }
  return nullptr;
}

PDF_Data_Object* PDF_Dictionary_Find_Value(PDF_Dictionary* dictionary, const char* key) {
  PDF_Dictionary_Entry* entry = Find_Entry(dictionary, key);
  return entry == nullptr ? nullptr : entry->value;
}

bool PDF_Dictionary_Has_Key(PDF_Dictionary* dictionary, const char* key) {
  return Find_Entry(dictionary, key) != nullptr;
}

PDF_Name* PDF_Dictionary_Get_Type(PDF_Dictionary* dictionary) {
  return static_cast<PDF_Name*>(
      PDF_Data_Object_Get_Direct_Value(PDF_Dictionary_Find_Value(dictionary, "Type"), PDF_Data_Type_Name));
}

PDF_Name* PDF_Dictionary_Get_Subtype(PDF_Dictionary* dictionary) {
  return static_cast<PDF_Name*>(
      PDF_Data_Object_Get_Direct_Value(PDF_Dictionary_Find_Value(dictionary, "Subtype"), PDF_Data_Type_Name));
}

PDF_Result PDF_Dictionary_Append_Entry(PDF_Dictionary* dictionary, PDF_Dictionary_Entry* entry) {
  if (dictionary == nullptr || entry == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  if (dictionary->first == nullptr) {
    entry->previous = nullptr;
    entry->next = nullptr;
    dictionary->first = entry;
    dictionary->last = entry;
    dictionary->cursor = entry;
    dictionary->cursor_index = 0;
    dictionary->count = 1;
    return PDF_RESULT_OK;
  }
  if (dictionary->last == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  entry->previous = dictionary->last;
  entry->next = nullptr;
  dictionary->last->next = entry;
  dictionary->last = entry;
  dictionary->cursor = entry;
  dictionary->cursor_index = dictionary->count;
  dictionary->count += 1;
  return PDF_RESULT_OK;
}

// Set_Entry, telling the caller whether key and value were taken over: they
// are, unless the entry itself could not be made.
static PDF_Result Set_Entry(PDF_Dictionary* dictionary, PDF_File* file, PDF_Name* key, PDF_Data_Object* value,
                            bool* taken) {
  *taken = false;
  if (dictionary == nullptr || key == nullptr || value == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Dictionary_Entry* entry = nullptr;
  PDF_Result result = PDF_Dictionary_Entry_Create(&entry, file, key, value);
  if (result != PDF_RESULT_OK) return result;
  *taken = true;
  // A later duplicate replaces the earlier entry and goes to the end.
  result = PDF_Dictionary_Remove_Entry(dictionary, file, PDF_Name_Get_Text(key), PDF_DELETE_MODE_RELEASE);
  if (result == PDF_RESULT_OK) result = PDF_Dictionary_Append_Entry(dictionary, entry);
  if (result != PDF_RESULT_OK) PDF_Dictionary_Entry_Delete(&entry, file, PDF_DELETE_MODE_RELEASE);
  return result;
}

PDF_Result PDF_Dictionary_Set_Entry(PDF_Dictionary* dictionary, PDF_File* file, PDF_Name* key, PDF_Data_Object* value) {
  bool taken = false;
  return Set_Entry(dictionary, file, key, value, &taken);
}

PDF_Result PDF_Dictionary_Remove_Entry(PDF_Dictionary* dictionary, PDF_File* file, const char* key,
                                       uint32_t delete_mode) {
  if (dictionary == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Dictionary_Entry* entry = dictionary->first;
  while (entry != nullptr && PDF_Name_Compare(entry->key, key)) entry = entry->next;
  if (entry == nullptr) return PDF_RESULT_OK;
  if (entry->previous != nullptr) {
    entry->previous->next = entry->next;
  } else {
    dictionary->first = entry->next;
  }
  if (entry->next != nullptr) {
    entry->next->previous = entry->previous;
  } else {
    dictionary->last = entry->previous;
  }
  entry->previous = nullptr;
  entry->next = nullptr;
  dictionary->cursor = dictionary->first;
  dictionary->cursor_index = 0;
  dictionary->count -= 1;
  return PDF_Dictionary_Entry_Delete(&entry, file, delete_mode);
}

// Builds the key and stores a value built by a setter; whatever was built is
// deleted on failure.
static PDF_Result Set_Built(PDF_Dictionary* dictionary, PDF_File* file, const char* key, int32_t type, void* value) {
  PDF_Name* name = nullptr;
  PDF_Result result = PDF_Name_Create(&name, file, key);
  if (result != PDF_RESULT_OK) {
    PDF_Data_Object_Delete_Value(type, &value, file, PDF_DELETE_MODE_RELEASE);
    return result;
  }
  PDF_Data_Object* variant = nullptr;
  result = PDF_Data_Object_Create(&variant, file, type, value);
  if (result != PDF_RESULT_OK) {
    PDF_Data_Object_Delete_Value(type, &value, file, PDF_DELETE_MODE_RELEASE);
    PDF_Name_Delete(&name, file);
    return result;
  }
  bool taken = false;
  result = Set_Entry(dictionary, file, name, variant, &taken);
  if (result != PDF_RESULT_OK && !taken) {
    PDF_Data_Object_Delete(&variant, file, PDF_DELETE_MODE_RELEASE);
    PDF_Name_Delete(&name, file);
  }
  return result;
}

PDF_Result PDF_Dictionary_Set_Value(PDF_Dictionary* dictionary, PDF_File* file, const char* key,
                                    PDF_Data_Object* value) {
  if (dictionary == nullptr || value == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Name* name = nullptr;
  PDF_Result result = PDF_Name_Create(&name, file, key);
  if (result != PDF_RESULT_OK) return result;
  bool taken = false;
  result = Set_Entry(dictionary, file, name, value, &taken);
  if (result != PDF_RESULT_OK && !taken) PDF_Name_Delete(&name, file);  // the value stays with the caller
  return result;
}

PDF_Result PDF_Dictionary_Set_Number(PDF_Dictionary* dictionary, PDF_File* file, const char* key, double value,
                                     uint8_t decimals) {
  if (dictionary == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Number* number = nullptr;
  PDF_Result result = PDF_Number_Create(&number, file, decimals, value);
  if (result != PDF_RESULT_OK) return result;
  return Set_Built(dictionary, file, key, PDF_Data_Type_Number, number);
}

PDF_Result PDF_Dictionary_Set_Boolean(PDF_Dictionary* dictionary, PDF_File* file, const char* key, uint8_t value) {
  if (dictionary == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Boolean* boolean = nullptr;
  PDF_Result result = PDF_Boolean_Create(&boolean, file, value);
  if (result != PDF_RESULT_OK) return result;
  return Set_Built(dictionary, file, key, PDF_Data_Type_Boolean, boolean);
}

PDF_Result PDF_Dictionary_Set_Name(PDF_Dictionary* dictionary, PDF_File* file, const char* key, const char* name) {
  if (dictionary == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Name* value = nullptr;
  PDF_Result result = PDF_Name_Create(&value, file, name);
  if (result != PDF_RESULT_OK) return result;
  return Set_Built(dictionary, file, key, PDF_Data_Type_Name, value);
}

PDF_Result PDF_Dictionary_Set_String(PDF_Dictionary* dictionary, PDF_File* file, const char* key, const uint8_t* bytes,
                                     uint64_t length, uint32_t kind) {
  if (dictionary == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_String* string = nullptr;
  PDF_Result result = PDF_String_Create(&string, file, bytes, kind, length, true);
  if (result != PDF_RESULT_OK) return result;
  return Set_Built(dictionary, file, key, PDF_Data_Type_String, string);
}

PDF_Result PDF_Dictionary_Set_Reference(PDF_Dictionary* dictionary, PDF_File* file, const char* key,
                                        PDF_Object* object) {
  if (dictionary == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Object_Reference* reference = nullptr;
  PDF_Result result = PDF_Object_Reference_Create(&reference, file, object, 0, 0);
  if (result != PDF_RESULT_OK) return result;
  return Set_Built(dictionary, file, key, PDF_Data_Type_Reference, reference);
}

// Skips white space and comments before the first byte of the marker; the
// second byte must follow directly.
static uint64_t Read_Marker(PDF_Read_Data* reader, uint64_t position, uint8_t marker) {
  uint8_t byte = 0;
  uint64_t count = PDF_Read_Data_Skip_Space(reader, position, &byte);
  if (count == 0 || byte != marker) return 0;
  if (PDF_Read_Data_Read(reader, &byte, position + count, 1) != 1 || byte != marker) return 0;
  return count + 1;
}

uint64_t PDF_Dictionary_Read_Begin(PDF_Read_Data* reader, uint64_t position) {
  return Read_Marker(reader, position, '<');
}

uint64_t PDF_Dictionary_Read_End(PDF_Read_Data* reader, uint64_t position) {
  return Read_Marker(reader, position, '>');
}

// The positions where a dictionary failed to parse during the outermost
// dictionary read under way. From tolerance level 2 a damaged value is skipped
// up to the next "/" or ">", which may lie inside a nested dictionary that
// already failed; without this record each level of nesting would parse its
// inner dictionaries again, doubling the time per level. A dictionary read
// depends only on the bytes, the tolerance level and the allocator, so a
// position that failed without an allocation failure fails again: the record
// changes no result, only the work. It lives in plain heap memory, apart from
// the document's allocator, whose calls stay as they were; without memory it
// is simply not kept.
struct PDF_Dictionary_Failures {
  PDF_Read_Data* reader;  // the reader of the outermost read
  uint64_t* slots;        // open addressing, position + 1, 0 for free
  uint64_t capacity;      // a power of two
  uint64_t count;
};

static uint64_t Failure_Slot(const PDF_Dictionary_Failures* failures, uint64_t position) {
  uint64_t slot = (position * 0x9E3779B97F4A7C15ULL) & (failures->capacity - 1);
  while (failures->slots[slot] != 0 && failures->slots[slot] != position + 1) {
    slot = (slot + 1) & (failures->capacity - 1);
  }
  return slot;
}

static bool Failed_Before(const PDF_File* file, PDF_Read_Data* reader, uint64_t position) {
  const PDF_Dictionary_Failures* failures = file->dictionary_failures;
  if (failures == nullptr || failures->count == 0 || failures->reader != reader) return false;
  return failures->slots[Failure_Slot(failures, position)] != 0;
}

static void Record_Failure(PDF_File* file, PDF_Read_Data* reader, uint64_t position) {
  if (file->dictionary_failures == nullptr) {
    file->dictionary_failures = static_cast<PDF_Dictionary_Failures*>(std::calloc(1, sizeof(PDF_Dictionary_Failures)));
    if (file->dictionary_failures == nullptr) return;
    file->dictionary_failures->reader = reader;
  }
  PDF_Dictionary_Failures* failures = file->dictionary_failures;
  if (failures->reader != reader) return;
  if (2 * (failures->count + 1) > failures->capacity) {
    uint64_t capacity = failures->capacity == 0 ? 64 : 2 * failures->capacity;
    uint64_t* slots = static_cast<uint64_t*>(std::calloc(capacity, sizeof(uint64_t)));
    if (slots == nullptr) return;
    uint64_t* old_slots = failures->slots;
    uint64_t old_capacity = failures->capacity;
    failures->slots = slots;
    failures->capacity = capacity;
    for (uint64_t i = 0; i < old_capacity; ++i) {
      if (old_slots[i] != 0) slots[Failure_Slot(failures, old_slots[i] - 1)] = old_slots[i];
    }
    std::free(old_slots);
  }
  uint64_t slot = Failure_Slot(failures, position);
  if (failures->slots[slot] == 0) {
    failures->slots[slot] = position + 1;
    ++failures->count;
  }
}

static uint64_t Read_Dictionary(PDF_Dictionary** out_dictionary, PDF_File* file, PDF_Read_Data* reader,
                                uint64_t position);

uint64_t PDF_Dictionary_Read(PDF_Dictionary** out_dictionary, PDF_File* file, PDF_Read_Data* reader,
                             uint64_t position) {
  if (out_dictionary == nullptr) return PDF_READ_INVALID_ARGUMENT;
  *out_dictionary = nullptr;
  if (file == nullptr) return 0;
  if (Failed_Before(file, reader, position)) return 0;
  uint64_t allocation_failures = file->memory != nullptr ? file->memory->failures : 0;
  ++file->dictionary_depth;
  uint64_t total = Read_Dictionary(out_dictionary, file, reader, position);
  --file->dictionary_depth;
  if (total == 0 && (file->memory == nullptr || file->memory->failures == allocation_failures)) {
    Record_Failure(file, reader, position);
  }
  if (file->dictionary_depth == 0 && file->dictionary_failures != nullptr) {
    std::free(file->dictionary_failures->slots);
    std::free(file->dictionary_failures);
    file->dictionary_failures = nullptr;
  }
  return total;
}

static uint64_t Read_Dictionary(PDF_Dictionary** out_dictionary, PDF_File* file, PDF_Read_Data* reader,
                                uint64_t position) {
  uint64_t total = PDF_Dictionary_Read_Begin(reader, position);
  if (total == 0) return 0;
  PDF_Dictionary* dictionary = nullptr;
  if (PDF_Dictionary_Create(&dictionary, file) != PDF_RESULT_OK) return 0;
  for (;;) {
    uint64_t end = PDF_Dictionary_Read_End(reader, position + total);
    if (end != 0) {
      *out_dictionary = dictionary;
      return total + end;
    }
    PDF_Name* key = nullptr;
    uint64_t count = PDF_Name_Read(&key, file, reader, position + total);
    if (count == 0) break;  // a key that isn't a name fails at every level
    total += count;
    PDF_Data_Object* value = nullptr;
    // Nested values recurse here; the value parser bounds the depth.
    count = PDF_Data_Object_Read(&value, file, reader, position + total);
    if (count != 0) {
      total += count;
      if (value->type == PDF_Data_Type_Null) {
        // A null value makes no entry; an earlier entry of the key survives.
        PDF_Name_Delete(&key, file);
        PDF_Data_Object_Delete(&value, file, PDF_DELETE_MODE_RELEASE);
        continue;
      }
      bool taken = false;
      if (Set_Entry(dictionary, file, key, value, &taken) != PDF_RESULT_OK) {
        if (!taken) {
          PDF_Name_Delete(&key, file);
          PDF_Data_Object_Delete(&value, file, PDF_DELETE_MODE_RELEASE);
        }
        break;
      }
      continue;
    }
    PDF_Name_Delete(&key, file);
    if (file->tolerance_level < PDF_TOLERANCE_REPAIR) break;
    // Skip the damaged value up to the next "/" or ">", which stays unread.
    for (;;) {
      uint8_t byte = 0;
      uint64_t skipped = PDF_Read_Data_Skip_Space(reader, position + total, &byte);
      if (skipped == 0) break;
      if (byte == '/' || byte == '>') {
        total += skipped - 1;
        break;
      }
      total += skipped;
    }
  }
  PDF_Dictionary_Delete(&dictionary, file, PDF_DELETE_MODE_RELEASE);
  return 0;
}

PDF_Result PDF_Dictionary_Copy(PDF_Dictionary** out_dictionary, PDF_File* file, PDF_Dictionary* source,
                               bool copy_targets, int32_t copy_mode) {
  if (out_dictionary == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_dictionary = nullptr;
  if (source == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Name* type = PDF_Dictionary_Get_Type(source);
  bool page = type != nullptr && PDF_Name_Is(type, "Page");
  if (page && copy_mode == PDF_COPY_MODE_PAGE_NEIGHBOURHOOD) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Dictionary* dictionary = nullptr;
  PDF_Result result = PDF_Dictionary_Create(&dictionary, file);
  if (result != PDF_RESULT_OK) return result;
  for (PDF_Dictionary_Entry* entry = source->first; entry != nullptr; entry = entry->next) {
    if (page && PDF_Name_Is(entry->key, "B")) continue;
    if (copy_mode == PDF_COPY_MODE_PAGE_NEIGHBOURHOOD && PDF_Name_Is(entry->key, "SE")) continue;
    int32_t value_mode = copy_mode;
    if (copy_mode == PDF_COPY_MODE_PAGE_NEIGHBOURHOOD &&
        (PDF_Name_Is(entry->key, "Dest") || PDF_Name_Is(entry->key, "A"))) {
      value_mode = PDF_COPY_MODE_KEEP_PAGES;
    }
    PDF_Name* key = nullptr;
    PDF_Data_Object* value = nullptr;
    bool taken = false;
    result = PDF_Name_Copy(&key, file, entry->key, copy_mode);
    if (result == PDF_RESULT_OK) result = PDF_Data_Object_Copy(&value, file, entry->value, copy_targets, value_mode);
    if (result == PDF_RESULT_OK) result = Set_Entry(dictionary, file, key, value, &taken);
    if (result != PDF_RESULT_OK) {
      if (!taken) {
        if (key != nullptr) PDF_Name_Delete(&key, file);
        if (value != nullptr) PDF_Data_Object_Delete(&value, file, PDF_DELETE_MODE_RELEASE);
      }
      PDF_Dictionary_Delete(&dictionary, file, PDF_DELETE_MODE_RELEASE);
      return result;
    }
  }
  *out_dictionary = dictionary;
  return PDF_RESULT_OK;
}

static PDF_Result Decrypt_Entries(PDF_Dictionary* dictionary, PDF_File* file, PDF_Object* container);

PDF_Result PDF_Dictionary_Decrypt(PDF_Dictionary* dictionary, PDF_File* file, PDF_Object* container) {
  if (dictionary == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  if (file != nullptr && file->nesting_depth >= PDF_NESTING_LIMIT) return PDF_RESULT_OBJECT_UNREADABLE;
  if (file != nullptr) file->nesting_depth += 1;
  PDF_Result result = Decrypt_Entries(dictionary, file, container);
  if (file != nullptr) file->nesting_depth -= 1;
  return result;
}

static PDF_Result Decrypt_Entries(PDF_Dictionary* dictionary, PDF_File* file, PDF_Object* container) {
  for (PDF_Dictionary_Entry* entry = dictionary->first; entry != nullptr; entry = entry->next) {
    PDF_Data_Object* value = entry->value;
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
        break;  // keys are never decrypted and references are not followed
    }
    if (result != PDF_RESULT_OK) return result;
  }
  return PDF_RESULT_OK;
}

PDF_Result PDF_Dictionary_Load_All(PDF_Dictionary* dictionary, PDF_File* file) {
  if (dictionary == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Dictionary_Entry* entry = dictionary->first;
  while (entry != nullptr) {
    const char* key = PDF_Name_Get_Text(entry->key);
    PDF_Dictionary_Entry* next = entry->next;
    PDF_Result result = PDF_Data_Object_Load_All(entry->value, file);
    if (result == PDF_RESULT_OBJECT_MISSING && file->tolerance_level >= PDF_TOLERANCE_REPAIR) {
      // A dangling reference: the key goes.
      result = PDF_Dictionary_Remove_Entry(dictionary, file, key, PDF_DELETE_MODE_RELEASE);
    }
    if (result != PDF_RESULT_OK) return result;
    entry = next;
  }
  return PDF_RESULT_OK;
}

PDF_Result PDF_Dictionary_Set_Owner(PDF_Dictionary* dictionary, PDF_Data_Object* owner) {
  if (dictionary == nullptr || owner == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  dictionary->owner = owner;
  return PDF_RESULT_OK;
}
