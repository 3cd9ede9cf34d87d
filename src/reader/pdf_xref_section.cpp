#include "reader/pdf_xref_section.h"

#include <cstring>

#include "objects/pdf_data_object.h"
#include "objects/pdf_dictionary.h"
#include "objects/pdf_name.h"
#include "objects/pdf_number.h"
#include "objects/pdf_object.h"
#include "reader/pdf_file.h"
#include "reader/pdf_read_data.h"
#include "reader/pdf_xref_table.h"
#include "runtime/pdf_memory.h"
#include "runtime/pdf_message.h"

namespace {

// The three fields of one line. The integer counts include leading white
// space and the terminator, so a nine-digit offset and a four-digit
// generation still pass while "16 0 n" does not.
uint64_t Read_Line(PDF_Read_Data* reader, uint64_t position, uint64_t* offset, uint64_t* generation, char* type) {
  int32_t sign = 1;
  uint64_t offset_count = PDF_Read_Data_Read_Integer(reader, offset, position, &sign);
  if (offset_count < 10 || offset_count == PDF_READ_INVALID_ARGUMENT) return 0;
  uint64_t generation_count = PDF_Read_Data_Read_Integer(reader, generation, position + offset_count, &sign);
  if (generation_count < 5 || generation_count == PDF_READ_INVALID_ARGUMENT) return 0;
  char keyword[1];
  uint64_t length = 1;
  uint64_t type_count =
      PDF_Read_Data_Read_Keyword(reader, keyword, &length, position + offset_count + generation_count);
  if (type_count == 0 || type_count == PDF_READ_INVALID_ARGUMENT || length != 1) return 0;
  *type = keyword[0];
  return offset_count + generation_count + type_count;
}

// Reads the object header at offset. A failed read may leave an object
// behind; it is released here, since no caller keeps it.
PDF_Object* Read_Object_Header(PDF_File* file, PDF_Read_Data* reader, uint64_t offset) {
  PDF_Object* object = nullptr;
  uint64_t count = PDF_Object_Read(&object, file, reader, offset);
  if (count == 0 || count == PDF_READ_INVALID_ARGUMENT) {
    if (object != nullptr) PDF_Object_Delete(&object, file, PDF_DELETE_MODE_RELEASE);
    return nullptr;
  }
  return object;
}

PDF_Xref_Entry* New_Entry(PDF_File* file, uint8_t type, uint64_t offset, uint16_t generation, PDF_Object* object) {
  PDF_Xref_Entry* entry = nullptr;
  PDF_Xref_Entry_Create(&entry, file, object, offset, generation, type);
  return entry;
}

}  // namespace

uint64_t PDF_Xref_Table_Match_Keyword(PDF_Xref_Table*, PDF_Read_Data* reader, uint64_t position) {
  char keyword[5];
  uint64_t length = sizeof(keyword);
  uint64_t count = PDF_Read_Data_Read_Keyword(reader, keyword, &length, position);
  if (count == 0 || count == PDF_READ_INVALID_ARGUMENT || length != 4 || memcmp(keyword, "xref", 4) != 0) return 0;
  return count;
}

uint64_t PDF_Xref_Entry_Read(PDF_Xref_Entry** out_entry, PDF_File* file, PDF_Read_Data* reader, uint64_t position) {
  *out_entry = nullptr;
  uint64_t offset = 0, generation = 0;
  char type = 0;
  uint64_t count = Read_Line(reader, position, &offset, &generation, &type);
  if (count == 0) return 0;
  // The header of an in-use entry is read now, so that a broken one counts
  // against the line as ever; its object is made on first lookup, from the
  // same header read again (most objects of a large file are never asked for).
  if (type == 'n' && PDF_Object_Read_Header(reader, offset) == 0) return 0;
  *out_entry = New_Entry(file, static_cast<uint8_t>(type), offset, static_cast<uint16_t>(generation), nullptr);
  if (*out_entry == nullptr) return 0;
  if (type == 'n') (*out_entry)->deferred = 1;
  return count;
}

uint64_t PDF_Xref_Section_Read(PDF_Xref_Section** out_section, PDF_File* file, PDF_Read_Data* reader,
                               uint64_t position) {
  *out_section = nullptr;
  PDF_Number* first = nullptr;
  PDF_Number* count = nullptr;
  uint64_t first_used = PDF_Number_Read(&first, file, reader, position);
  if (first_used == 0 || first_used == PDF_READ_INVALID_ARGUMENT) return 0;
  uint64_t count_used = PDF_Number_Read(&count, file, reader, position + first_used);
  if (count_used == 0 || count_used == PDF_READ_INVALID_ARGUMENT) {
    PDF_Number_Delete(&first, file);
    return 0;
  }
  PDF_Xref_Section* section = PDF_Memory_Alloc_Zeroed<PDF_Xref_Section>(file->memory);
  if (section == nullptr) {
    PDF_Number_Delete(&first, file);
    PDF_Number_Delete(&count, file);
    return 0;
  }
  section->first_number = first;
  section->count = count;

  uint64_t at = position + first_used + count_used;
  // A damaged count only makes the hint wrong, never an allocation larger.
  PDF_Memory_Expect(file->memory, static_cast<uint64_t>(static_cast<uint32_t>(PDF_Number_Get_Integer(count))) *
                                      sizeof(PDF_Xref_Entry));
  int32_t first_value = PDF_Number_Get_Integer(first);
  int32_t end =
      static_cast<int32_t>(static_cast<uint32_t>(first_value) + static_cast<uint32_t>(PDF_Number_Get_Integer(count)));
  int32_t linked = 0;
  for (int32_t number = first_value; number < end; ++number) {
    PDF_Xref_Entry* entry = nullptr;
    uint64_t used = PDF_Xref_Entry_Read(&entry, file, reader, at);
    if (used == 0) {
      // The first line of a subsection needs a higher level than the others.
      if (number == first_value) {
        PDF_Message_Report(file->message, PDF_RESULT_REPAIRED, PDF_LEVEL_DOCUMENT,
                           "Unable to read object %d (invalid offset in cross reference table).\n", number);
      } else {
        PDF_Message_Report(file->message, PDF_RESULT_REPAIRED, PDF_LEVEL_DOCUMENT,
                           "Unable to read object %d (invalid offset in cross reference table).", number);
      }
      int needed = number == first_value ? PDF_TOLERANCE_REPAIR : PDF_TOLERANCE_SKIP_DAMAGE;
      if (file->tolerance_level < needed) {
        PDF_Xref_Section_Delete(&section, file);
        return 0;
      }
      // Past the end of the input no line can follow: a count far beyond the
      // lines there ends the subsection here instead of making a free entry
      // for every number it names. (No trailer can follow either, so the
      // open fails as it would after all of them.)
      uint8_t byte = 0;
      if (PDF_Read_Data_Read(reader, &byte, at, 1) != 1) break;
      // A free substitute hides any older definition of the number.
      entry = New_Entry(file, 'f', 0, 0, nullptr);
      if (entry == nullptr) {
        PDF_Xref_Section_Delete(&section, file);
        return 0;
      }
      used = 20;
    }
    PDF_Xref_Section_Append_Entry(section, entry);
    linked += 1;
    at += used;
  }
  PDF_Number_Set_Integer(section->count, linked);
  *out_section = section;
  return at - position;
}

uint64_t PDF_Xref_Table_Read_Newest(PDF_Xref_Table* table, PDF_File* file, PDF_Read_Data* reader, uint64_t position) {
  uint64_t total = 0;
  table->reader = reader;  // the deferred entries' headers are read through it
  for (;;) {
    PDF_Xref_Section* section = nullptr;
    uint64_t used = PDF_Xref_Section_Read(&section, file, reader, position + total);
    if (used == 0) return total;
    total += used;
    if (PDF_Number_Get_Integer(section->count) == 0) {
      PDF_Xref_Section_Delete(&section, file);
    } else {
      PDF_Xref_Table_Insert_Section(table, section);
    }
  }
}

uint64_t PDF_Xref_Entry_Merge(PDF_Xref_Table* table, PDF_File* file, PDF_Read_Data* reader, uint64_t position,
                              uint32_t number) {
  uint64_t offset = 0, generation = 0;
  char type = 0;
  uint64_t count = Read_Line(reader, position, &offset, &generation, &type);
  if (count == 0) return 0;
  if (PDF_Xref_Table_Has_Number(table, number)) return count;  // a newer definition wins
  PDF_Result result = PDF_RESULT_OK;
  if (type == 'n') {
    PDF_Object* object = Read_Object_Header(file, reader, offset);
    if (object == nullptr) {
      // An unreadable in-use entry of an older table is dropped silently.
      return file->tolerance_level >= PDF_TOLERANCE_SKIP_DAMAGE ? count : 0;
    }
    result = PDF_Xref_Table_Add_Entry(table, file, object, number, offset, static_cast<uint16_t>(generation), 'n');
    if (result != PDF_RESULT_OK) PDF_Object_Delete(&object, file, PDF_DELETE_MODE_RELEASE);
  } else {
    result = PDF_Xref_Table_Add_Entry(table, file, nullptr, number, offset, static_cast<uint16_t>(generation),
                                      static_cast<uint8_t>(type));
  }
  return result == PDF_RESULT_OK ? count : 0;
}

uint64_t PDF_Xref_Section_Merge(PDF_Xref_Table* table, PDF_File* file, PDF_Read_Data* reader, uint64_t position) {
  uint64_t first = 0, count = 0;
  int32_t sign = 1;
  uint64_t first_used = PDF_Read_Data_Read_Integer(reader, &first, position, &sign);
  if (first_used == 0 || first_used == PDF_READ_INVALID_ARGUMENT) return 0;
  uint64_t count_used = PDF_Read_Data_Read_Integer(reader, &count, position + first_used, &sign);
  if (count_used == 0 || count_used == PDF_READ_INVALID_ARGUMENT) return 0;
  uint64_t at = position + first_used + count_used;
  for (uint64_t i = 0; i < count; ++i) {
    uint64_t used = PDF_Xref_Entry_Merge(table, file, reader, at, static_cast<uint32_t>(first + i));
    if (used == 0) return 0;  // the subsection's bytes are not counted
    at += used;
  }
  return at - position;
}

uint64_t PDF_Xref_Table_Read_Older(PDF_Xref_Table* table, PDF_File* file, PDF_Read_Data* reader, uint64_t position) {
  uint64_t total = 0;
  for (;;) {
    uint64_t used = PDF_Xref_Section_Merge(table, file, reader, position + total);
    if (used == 0) return total;
    total += used;
  }
}

PDF_Object* PDF_Xref_Table_Find_By_Type(PDF_Xref_Table* table, const char* type, const char* subtype) {
  if (table == nullptr) return nullptr;
  for (PDF_Xref_Section* section = table->first_section; section != nullptr; section = section->next) {
    for (PDF_Xref_Entry* entry = section->head; entry != nullptr; entry = entry->next) {
      if (entry->type == 'c' || PDF_Xref_Entry_Get_Object(table, entry) == nullptr) continue;
      if (PDF_Object_Load(entry->object) != PDF_RESULT_OK) continue;
      PDF_Dictionary* dictionary = static_cast<PDF_Dictionary*>(
          PDF_Data_Object_Get_Direct_Value(PDF_Object_Get_Value(entry->object), PDF_Data_Type_Dictionary));
      if (dictionary == nullptr) continue;
      if (type != nullptr) {
        PDF_Name* name = static_cast<PDF_Name*>(
            PDF_Data_Object_Get_Direct_Value(PDF_Dictionary_Find_Value(dictionary, "Type"), PDF_Data_Type_Name));
        if (name == nullptr || PDF_Name_Compare(name, type)) continue;
      }
      if (subtype != nullptr) {
        PDF_Name* name = static_cast<PDF_Name*>(
            PDF_Data_Object_Get_Direct_Value(PDF_Dictionary_Find_Value(dictionary, "Subtype"), PDF_Data_Type_Name));
        if (name == nullptr || PDF_Name_Compare(name, subtype)) continue;
      }
      return entry->object;
    }
  }
  return nullptr;
}
