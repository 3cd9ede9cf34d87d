#include "reader/pdf_xref_stream.h"

#include <cstdint>

#include "objects/pdf_array.h"
#include "objects/pdf_data_object.h"
#include "objects/pdf_name.h"
#include "objects/pdf_number.h"
#include "objects/pdf_object.h"
#include "objects/pdf_stream.h"
#include "objects/pdf_stream_decode.h"
#include "reader/pdf_file.h"
#include "reader/pdf_read_data.h"
#include "reader/pdf_xref_section.h"
#include "reader/pdf_xref_table.h"
#include "runtime/pdf_memory.h"

namespace {

// A chain of new entries of consecutive numbers, not yet in the table. The
// entries are linked into a section record on the stack; the section itself
// is allocated only when the run is closed.
struct Run {
  uint32_t first;
  uint32_t count;
  PDF_Xref_Section entries;  // head and tail alone are used
};

void Run_Append(Run* run, uint32_t number, PDF_Xref_Entry* entry) {
  if (run->entries.head == nullptr) run->first = number;
  PDF_Xref_Section_Append_Entry(&run->entries, entry);
  run->count += 1;
}

// Deletes the entries of the run and the objects they hold.
void Run_Discard(Run* run, PDF_File* file) {
  PDF_Xref_Entry* entry = run->entries.head;
  while (entry != nullptr) {
    PDF_Xref_Entry* next = entry->next;
    if (entry->object != nullptr) PDF_Object_Delete(&entry->object, file, PDF_DELETE_MODE_RELEASE);
    PDF_Memory_Free(file->memory, &entry);
    entry = next;
  }
  *run = Run{};
}

// Wraps the run in a section and links it into the table. On failure the run
// keeps its entries for the caller to discard.
PDF_Result Run_Close(Run* run, PDF_Xref_Table* table, PDF_File* file) {
  if (run->entries.head == nullptr) return PDF_RESULT_OK;
  PDF_Xref_Section* section = nullptr;
  PDF_Result result = PDF_Xref_Section_Create(&section, file, run->first, run->count);
  if (result != PDF_RESULT_OK) return result;
  section->head = run->entries.head;
  section->tail = run->entries.tail;
  PDF_Xref_Table_Insert_Section(table, section);
  *run = Run{};
  return PDF_RESULT_OK;
}

// A big-endian number of width bytes.
uint64_t Read_Field(const uint8_t* bytes, uint64_t width) {
  uint64_t value = 0;
  for (uint64_t i = 0; i < width; ++i) value = (value << 8) | bytes[i];
  return value;
}

// The entry for one row of the stream, with its object where it has one.
PDF_Result Make_Entry(PDF_Xref_Entry** out_entry, PDF_File* file, PDF_Read_Data* reader, uint32_t number, uint8_t type,
                      uint64_t second, uint64_t third) {
  *out_entry = nullptr;
  PDF_Object* object = nullptr;
  uint64_t offset = 0;
  uint16_t generation = 0;
  uint32_t container = 0;
  if (type == 'n') {
    offset = second;
    generation = static_cast<uint16_t>(third);
    // The header is read now, the object made from it on first lookup.
    if (PDF_Object_Read_Header(reader, offset) == 0) return PDF_RESULT_OBJECT_UNREADABLE;
  } else if (type == 'c') {
    offset = third;
    container = static_cast<uint32_t>(second);
    // The object is made, and its body parsed out of the object stream, on
    // first lookup: most compressed objects (pages, fonts) are never asked
    // for, and an object for each would cost memory in proportion to the file.
  } else {
    type = 'f';
    generation = static_cast<uint16_t>(third);
  }
  PDF_Xref_Entry* entry = nullptr;
  PDF_Result result = PDF_Xref_Entry_Create(&entry, file, object, offset, generation, type);
  if (result != PDF_RESULT_OK) {
    if (object != nullptr) PDF_Object_Delete(&object, file, PDF_DELETE_MODE_RELEASE);
    return result;
  }
  entry->container = container;
  if (type == 'c') entry->number = number;
  if (type == 'n') entry->deferred = 1;
  *out_entry = entry;
  return PDF_RESULT_OK;
}

// One element of W, Index and the like: the number at the index, or the
// array's code for it.
PDF_Result Array_Number(PDF_Array* array, uint32_t index, double* out_value) {
  uint8_t decimals = 0;
  *out_value = 0;
  return PDF_Array_Get_Number(array, index, out_value, &decimals);
}

}  // namespace

PDF_Result PDF_Xref_Table_Read_Stream(PDF_Xref_Table* table, PDF_Stream* stream, PDF_File* file,
                                      PDF_Read_Data* reader) {
  if (table == nullptr || stream == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  table->reader = reader;  // the deferred entries' headers are read through it

  PDF_Name* type = PDF_Stream_Get_Type(stream);
  bool is_xref = type != nullptr && PDF_Name_Is(type, "XRef");
  if (!is_xref && file->tolerance_level == PDF_TOLERANCE_STRICT) return PDF_RESULT_MALFORMED_XREF;

  PDF_Number* size_number = static_cast<PDF_Number*>(
      PDF_Data_Object_Get_Direct_Value(PDF_Stream_Find_Value(stream, "Size"), PDF_Data_Type_Number));
  if (size_number == nullptr) return PDF_RESULT_MALFORMED_XREF;
  const int64_t size = PDF_Number_To_Bounded_Long(PDF_Number_Get_Real(size_number));

  PDF_Array* w = static_cast<PDF_Array*>(
      PDF_Data_Object_Get_Direct_Value(PDF_Stream_Find_Value(stream, "W"), PDF_Data_Type_Array));
  if (w == nullptr || PDF_Array_Get_Count(w) != 3) return PDF_RESULT_MALFORMED_XREF;
  uint64_t widths[3] = {0, 0, 0};
  for (uint32_t i = 0; i < 3; ++i) {
    double value = 0;
    PDF_Result result = Array_Number(w, i, &value);
    if (result != PDF_RESULT_OK) return result;
    // A negative or absurd width would read outside the entry.
    if (!(value >= 0 && value < 2147483648.0)) return PDF_RESULT_MALFORMED_XREF;
    widths[i] = static_cast<uint64_t>(value);
  }
  if (widths[1] == 0) return PDF_RESULT_MALFORMED_XREF;
  const uint64_t width = widths[0] + widths[1] + widths[2];
  if (width == 0) return PDF_RESULT_OK;

  PDF_Array* index = static_cast<PDF_Array*>(
      PDF_Data_Object_Get_Direct_Value(PDF_Stream_Find_Value(stream, "Index"), PDF_Data_Type_Array));

  PDF_Result result = PDF_Stream_Decode(stream, true);
  if (result != PDF_RESULT_OK) return result;
  const uint8_t* data = PDF_Stream_Get_Data(stream);
  uint64_t remaining = data == nullptr ? 0 : PDF_Stream_Get_Length(stream);
  uint64_t at = 0;
  // The data has a row for each entry at most.
  PDF_Memory_Expect(file->memory, remaining / width * sizeof(PDF_Xref_Entry));

  int64_t current = 0;
  uint32_t pair = 0;
  bool first_pass = true;
  Run run = {};
  for (;;) {
    // Both ends are meant as they stand: an entry that would begin a new
    // pass as the very last of the data is not read, and once the numbers
    // reach Size no further pass starts.
    if (remaining <= width || current >= size) return PDF_RESULT_OK;

    uint64_t count = 0;
    if (index != nullptr) {
      double first_value = 0, count_value = 0;
      result = Array_Number(index, pair * 2, &first_value);
      if (result == PDF_RESULT_OK) {
        current = PDF_Number_To_Bounded_Long(first_value);
      } else if (result != PDF_RESULT_INDEX_OUT_OF_RANGE) {
        return result;
      }
      result = Array_Number(index, pair * 2 + 1, &count_value);
      if (result == PDF_RESULT_OK) {
        count = static_cast<uint32_t>(static_cast<uint64_t>(PDF_Number_To_Bounded_Long(count_value)));
      } else if (result != PDF_RESULT_INDEX_OUT_OF_RANGE) {
        return result;
      }
      pair += 1;
    } else if (first_pass) {
      current = 0;
      count = static_cast<uint32_t>(static_cast<uint64_t>(size));
    }
    first_pass = false;

    if (count == 0) {
      // The rest of the data stands for the count, up to Size.
      count = remaining / width;
      if (count == 0) return PDF_RESULT_OK;
      if (current >= size) {
        count = 0;
      } else if (count > static_cast<uint64_t>(size - current)) {
        count = static_cast<uint64_t>(size - current);
      }
    }

    for (uint64_t i = 0; i < count; ++i, ++current) {
      if (remaining < width) break;
      const uint8_t* row = data + at;
      uint8_t entry_type = 'n';
      if (widths[0] > 0) {
        // Only the last byte of a wide type field counts.
        switch (row[widths[0] - 1]) {
          case 0:
            entry_type = 'f';
            break;
          case 1:
            entry_type = 'n';
            break;
          case 2:
            entry_type = 'c';
            break;
          default:
            entry_type = '?';
            break;
        }
      }
      uint64_t second = Read_Field(row + widths[0], widths[1]);
      uint64_t third = widths[2] == 0 ? 0 : Read_Field(row + widths[0] + widths[1], widths[2]);
      at += width;
      remaining -= width;

      const uint32_t number = static_cast<uint32_t>(current);
      if (PDF_Xref_Table_Has_Number(table, number)) {
        // An earlier definition wins; the run breaks here.
        result = Run_Close(&run, table, file);
        if (result != PDF_RESULT_OK) {
          Run_Discard(&run, file);
          return result;
        }
        continue;
      }
      PDF_Xref_Entry* entry = nullptr;
      result = Make_Entry(&entry, file, reader, number, entry_type, second, third);
      if (result != PDF_RESULT_OK) {
        Run_Discard(&run, file);
        return result;
      }
      Run_Append(&run, number, entry);
    }

    result = Run_Close(&run, table, file);
    if (result != PDF_RESULT_OK) {
      Run_Discard(&run, file);
      return result;
    }
  }
}
