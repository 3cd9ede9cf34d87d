#include "reader/pdf_xref_table.h"

#include <algorithm>
#include <cstdlib>

#include "objects/pdf_data_object.h"
#include "objects/pdf_number.h"
#include "objects/pdf_object.h"
#include "reader/pdf_file.h"
#include "reader/pdf_object_stream.h"
#include "reader/pdf_read_data.h"
#include "reader/pdf_trailer.h"
#include "runtime/pdf_memory.h"

// One entry per object: a field added in the wrong place costs every large file
// eight bytes an object.
static_assert(sizeof(void*) != 8 || sizeof(PDF_Xref_Entry) == 56, "PDF_Xref_Entry grew past 56 bytes");

static uint32_t Section_First(const PDF_Xref_Section* section) {
  return static_cast<uint32_t>(PDF_Number_Get_Long(section->first_number));
}

static uint32_t Section_Count(const PDF_Xref_Section* section) {
  return static_cast<uint32_t>(PDF_Number_Get_Long(section->count));
}

// ---------------------------------------------------------------------------
// Lookup aids (see the header). Their memory is the C runtime's.

static void Section_Index_Free(PDF_Xref_Section* section) {
  if (section->index == nullptr) return;
  free(section->index->entries);
  free(section->index);
  section->index = nullptr;
}

// The section's entries by position, up to date with its list, or null when
// the memory can't be had.
static PDF_Xref_Section_Index* Section_Index(PDF_Xref_Section* section) {
  const uint32_t first = Section_First(section);
  const uint32_t count = Section_Count(section);
  PDF_Xref_Section_Index* index = section->index;
  if (index == nullptr) {
    index = static_cast<PDF_Xref_Section_Index*>(calloc(1, sizeof(PDF_Xref_Section_Index)));
    if (index == nullptr) return nullptr;
    section->index = index;
  }
  if (index->head == section->head && index->tail == section->tail && index->first == first && index->count == count) {
    return index;
  }
  // Entries added at the tail leave the ones held where they were; any other
  // change takes the list again from its head.
  bool appended = index->head == section->head && index->first == first && count >= index->count;
  if (!appended) index->length = 0;
  PDF_Xref_Entry* entry = index->length == 0 ? section->head : index->entries[index->length - 1]->next;
  for (; entry != nullptr && index->length < count; entry = entry->next) {
    if (index->length == index->capacity) {
      uint32_t capacity = index->capacity < 16 ? 16 : index->capacity;
      capacity = capacity > count / 2 ? count : capacity * 2;
      // NOLINTNEXTLINE(bugprone-sizeof-expression): an array of pointers
      void* grown = realloc(index->entries, sizeof(*index->entries) * capacity);
      if (grown == nullptr) {
        Section_Index_Free(section);
        return nullptr;
      }
      index->entries = static_cast<PDF_Xref_Entry**>(grown);
      index->capacity = capacity;
    }
    index->entries[index->length++] = entry;
  }
  index->first = first;
  index->count = count;
  index->head = section->head;
  index->tail = section->tail;
  return index;
}

static void Table_Index_Invalidate(PDF_Xref_Table* table) {
  if (table->index != nullptr) table->index->valid = 0;
}

static void Table_Index_Free(PDF_Xref_Table* table) {
  if (table->index == nullptr) return;
  free(table->index->ranges);
  free(table->index);
  table->index = nullptr;
}

namespace {

// Where a section's numbers begin (+1) or end (-1); which is its place in
// the table.
struct Range_Event {
  uint64_t position;
  int32_t delta;
  uint32_t which;
};

bool Append_Range(PDF_Xref_Table_Index* index, uint64_t first, uint64_t end, PDF_Xref_Section* section) {
  if (index->count != 0) {
    PDF_Xref_Range* last = &index->ranges[index->count - 1];
    if (last->end == first && last->section == section) {
      last->end = end;
      return true;
    }
  }
  if (index->count == index->capacity) {
    uint32_t capacity = index->capacity < 16 ? 16 : index->capacity * 2;
    void* grown = realloc(index->ranges, sizeof(PDF_Xref_Range) * capacity);
    if (grown == nullptr) return false;
    index->ranges = static_cast<PDF_Xref_Range*>(grown);
    index->capacity = capacity;
  }
  index->ranges[index->count++] = PDF_Xref_Range{first, end, section};
  return true;
}

// Sweeps the sections' ranges into disjoint runs of numbers, each with the
// one section that covers it, or none where several do.
bool Build_Ranges(PDF_Xref_Table* table, PDF_Xref_Table_Index* index) {
  uint32_t sections = 0;
  for (PDF_Xref_Section* section = table->first_section; section != nullptr; section = section->next) sections += 1;
  // NOLINTNEXTLINE(bugprone-sizeof-expression): an array of pointers
  PDF_Xref_Section** order = static_cast<PDF_Xref_Section**>(malloc(sizeof(*order) * (sections + 1)));
  Range_Event* events = static_cast<Range_Event*>(malloc(sizeof(Range_Event) * (2 * sections + 1)));
  bool built = order != nullptr && events != nullptr;
  uint32_t event_count = 0;
  if (built) {
    uint32_t which = 0;
    for (PDF_Xref_Section* section = table->first_section; section != nullptr; section = section->next, ++which) {
      order[which] = section;
      uint64_t first = Section_First(section);
      uint64_t count = Section_Count(section);
      if (count == 0) continue;
      events[event_count++] = Range_Event{first, 1, which};
      events[event_count++] = Range_Event{first + count, -1, which};
    }
    std::sort(events, events + event_count,
              [](const Range_Event& a, const Range_Event& b) { return a.position < b.position; });
  }
  index->count = 0;
  uint32_t active = 0;
  uint64_t active_sum = 0;  // with one section active, its place
  for (uint32_t at = 0; built && at < event_count;) {
    uint64_t position = events[at].position;
    for (; at < event_count && events[at].position == position; ++at) {
      active += events[at].delta;
      active_sum += events[at].delta > 0 ? events[at].which : -static_cast<uint64_t>(events[at].which);
    }
    if (active == 0 || at == event_count) continue;
    PDF_Xref_Section* owner = active == 1 ? order[active_sum] : nullptr;
    built = Append_Range(index, position, events[at].position, owner);
  }
  free(order);
  free(events);
  return built;
}

}  // namespace

// The table's ranges, built when a change has made them stale, or null when
// the memory can't be had.
static PDF_Xref_Table_Index* Table_Index(PDF_Xref_Table* table) {
  if (table->index != nullptr && table->index->valid) return table->index;
  if (table->index == nullptr) {
    table->index = static_cast<PDF_Xref_Table_Index*>(calloc(1, sizeof(PDF_Xref_Table_Index)));
    if (table->index == nullptr) return nullptr;
  }
  if (!Build_Ranges(table, table->index)) {
    Table_Index_Free(table);
    return nullptr;
  }
  table->index->valid = 1;
  return table->index;
}

// The run of numbers that holds number, or null when no section covers it.
static const PDF_Xref_Range* Find_Range(const PDF_Xref_Table_Index* index, uint32_t number) {
  const PDF_Xref_Range* begin = index->ranges;
  const PDF_Xref_Range* end = index->ranges + index->count;
  const PDF_Xref_Range* after =
      std::upper_bound(begin, end, static_cast<uint64_t>(number),
                       [](uint64_t value, const PDF_Xref_Range& range) { return value < range.first; });
  if (after == begin) return nullptr;
  const PDF_Xref_Range* range = after - 1;
  return number < range->end ? range : nullptr;
}

// ---------------------------------------------------------------------------

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

void PDF_Xref_Section_Append_Entry(PDF_Xref_Section* section, PDF_Xref_Entry* entry) {
  entry->previous = section->tail;
  entry->next = nullptr;
  if (section->tail != nullptr) {
    section->tail->next = entry;
  } else {
    section->head = entry;
  }
  section->tail = entry;
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
  Section_Index_Free(section);
  if (section->first_number != nullptr) PDF_Number_Delete(&section->first_number, file);
  if (section->count != nullptr) PDF_Number_Delete(&section->count, file);
  PDF_Memory_Free(file->memory, holder);
  return first;
}

PDF_Result PDF_Xref_Section_Create(PDF_Xref_Section** out_section, PDF_File* file, uint32_t first_number,
                                   uint32_t count) {
  *out_section = nullptr;
  PDF_Xref_Section* section = PDF_Memory_Alloc_Zeroed<PDF_Xref_Section>(file->memory);
  if (section == nullptr) return PDF_RESULT_OUT_OF_MEMORY;
  PDF_Result result = PDF_Number_Create(&section->first_number, file, 0, static_cast<double>(first_number));
  if (result == PDF_RESULT_OK) result = PDF_Number_Create(&section->count, file, 0, static_cast<double>(count));
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
  Table_Index_Invalidate(table);
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
  Table_Index_Free(table);
  PDF_Memory_Free(file->memory, holder);
  return first;
}

// The entry of a number inside a section, or null.
static PDF_Xref_Entry* Section_Entry(PDF_Xref_Section* section, uint32_t number) {
  uint32_t first = Section_First(section);
  if (number < first || number - first >= Section_Count(section)) return nullptr;
  const PDF_Xref_Section_Index* index = Section_Index(section);
  if (index != nullptr) return number - first < index->length ? index->entries[number - first] : nullptr;
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
  Table_Index_Invalidate(table);
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
  result = PDF_Xref_Section_Create(&section, file, number, 0);
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

PDF_Object* PDF_Xref_Entry_Get_Object(PDF_Xref_Table* table, PDF_Xref_Entry* entry) {
  if (entry == nullptr) return nullptr;
  if (!entry->deferred) return entry->object;
  if (table == nullptr || entry->file == nullptr) return nullptr;
  PDF_Object* object = nullptr;
  uint64_t count = PDF_Object_Read(&object, entry->file, table->reader, entry->offset);
  if (count == 0 || count == PDF_READ_INVALID_ARGUMENT) {
    if (object != nullptr) PDF_Object_Delete(&object, entry->file, PDF_DELETE_MODE_RELEASE);
    return nullptr;
  }
  entry->object = object;
  entry->deferred = 0;
  return object;
}

// Whether a lookup by id stops at the entry. Entries live as long as their
// table, so a remembered one may be tested at any time.
static bool Holds_Id(const PDF_Xref_Entry* entry, uint32_t id) {
  return entry != nullptr && entry->type == 'n' && entry->object != nullptr && entry->object->id == id;
}

PDF_Object* PDF_Xref_Table_Get_Object(PDF_Xref_Table* table, uint32_t number, uint32_t id) {
  if (table == nullptr || (number == 0 && id == 0)) return nullptr;
  if (number == 0) {
    // Ids are unique within the file, so the entry that answered last time
    // is the answer again as long as it still holds the object.
    if (Holds_Id(table->id_hit, id)) return table->id_hit->object;
    for (PDF_Xref_Section* section = table->first_section; section != nullptr; section = section->next) {
      for (PDF_Xref_Entry* entry = section->head; entry != nullptr; entry = entry->next) {
        if (Holds_Id(entry, id)) {
          table->id_hit = entry;
          return entry->object;
        }
      }
    }
    return nullptr;
  }
  // The first section in table order that has a usable entry for the number
  // answers. Where the ranges show a single section covering the number, that
  // section is the only one the walk could stop at.
  PDF_Xref_Section* only = nullptr;
  const PDF_Xref_Table_Index* index = Table_Index(table);
  if (index != nullptr) {
    const PDF_Xref_Range* range = Find_Range(index, number);
    if (range == nullptr) return nullptr;
    only = range->section;
  }
  for (PDF_Xref_Section* section = only != nullptr ? only : table->first_section; section != nullptr;
       section = only != nullptr ? nullptr : section->next) {
    PDF_Xref_Entry* entry = Section_Entry(section, number);
    if (entry == nullptr || entry->type == 'f') continue;
    // A deferred entry gets its object now, as it would have had it from the
    // open; a compressed entry gets its object on its first load, below.
    if (entry->deferred && PDF_Xref_Entry_Get_Object(table, entry) == nullptr) return nullptr;
    if (entry->object == nullptr && entry->type != 'c') continue;
    if (entry->object != nullptr && entry->object == section->hidden_object) continue;
    // Kept: a compressed object is parsed out of its object stream first;
    // when that fails the lookup finds nothing, and no later section is
    // asked (the index must answer the same, so it stops here as well).
    if (entry->type == 'c' && PDF_Xref_Entry_Load_Compressed(entry) != PDF_RESULT_OK) return nullptr;
    table->last_hit_section = section;
    return entry->object;
  }
  return nullptr;
}

bool PDF_Xref_Table_Has_Number(const PDF_Xref_Table* table, uint32_t number) {
  if (table == nullptr) return false;
  // Ranges that are up to date answer at once; stale ones are not rebuilt
  // here, since readers ask between additions.
  if (table->index != nullptr && table->index->valid) return Find_Range(table->index, number) != nullptr;
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
      PDF_Object_Stream_Cache_Forget(file, object);
      return PDF_Object_Delete(&object, file, delete_mode);
    }
  }
  return PDF_RESULT_OBJECT_MISSING;
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
  if (number == 0 && id != 0) {
    // An object is held by one entry of one table: a table that remembers
    // the id answers for the whole chain.
    for (PDF_Body* at = Oldest(body); at != nullptr; at = at->next) {
      if (at->table != nullptr && Holds_Id(at->table->id_hit, id)) return at->table->id_hit->object;
    }
  }
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
