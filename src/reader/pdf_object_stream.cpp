#include "reader/pdf_object_stream.h"

#include <cstdlib>

#include "objects/pdf_data_object.h"
#include "objects/pdf_filter.h"
#include "objects/pdf_number.h"
#include "objects/pdf_object.h"
#include "objects/pdf_stream.h"
#include "objects/pdf_stream_decode.h"
#include "reader/pdf_file.h"
#include "reader/pdf_read_data.h"
#include "reader/pdf_xref_table.h"
#include "runtime/pdf_limits.h"

namespace {

// One pair of object number and offset from the head of the object stream.
bool Read_Pair(const uint8_t* data, uint64_t length, uint64_t* at, int32_t* number, int32_t* offset) {
  uint64_t used = PDF_Text_Read_Integer(data + *at, length - *at, number);
  if (used == 0) return false;
  *at += used;
  used = PDF_Text_Read_Integer(data + *at, length - *at, offset);
  if (used == 0) return false;
  *at += used;
  return true;
}

uint32_t Slot_Of(const PDF_Object* container, uint32_t capacity) {
  uint64_t key = reinterpret_cast<uintptr_t>(container);
  key ^= key >> 17;
  key *= 0x9E3779B97F4A7C15ull;
  return static_cast<uint32_t>(key >> 40) & (capacity - 1);
}

// The cache's record for the container, made as needed; null when the
// memory can't be had.
PDF_Object_Stream_Pairs* Record_Of(PDF_File* file, const PDF_Object* container) {
  PDF_Object_Stream_Cache* cache = file->object_streams;
  if (cache == nullptr) {
    cache = static_cast<PDF_Object_Stream_Cache*>(calloc(1, sizeof(PDF_Object_Stream_Cache)));
    if (cache == nullptr) return nullptr;
    file->object_streams = cache;
  }
  if (2 * (cache->count + 1) > cache->capacity) {
    // Grown to keep at most half of the slots in use.
    uint32_t capacity = cache->capacity == 0 ? 16 : cache->capacity * 2;
    PDF_Object_Stream_Pairs** slots =
        // NOLINTNEXTLINE(bugprone-sizeof-expression): an array of pointers
        static_cast<PDF_Object_Stream_Pairs**>(calloc(capacity, sizeof(*slots)));
    if (slots == nullptr) return nullptr;
    for (uint32_t i = 0; i < cache->capacity; ++i) {
      PDF_Object_Stream_Pairs* record = cache->slots[i];
      if (record == nullptr) continue;
      uint32_t slot = Slot_Of(record->container, capacity);
      while (slots[slot] != nullptr) slot = (slot + 1) & (capacity - 1);
      slots[slot] = record;
    }
    free(cache->slots);
    cache->slots = slots;
    cache->capacity = capacity;
  }
  uint32_t slot = Slot_Of(container, cache->capacity);
  while (cache->slots[slot] != nullptr && cache->slots[slot]->container != container) {
    slot = (slot + 1) & (cache->capacity - 1);
  }
  PDF_Object_Stream_Pairs* record = cache->slots[slot];
  if (record == nullptr) {
    record = static_cast<PDF_Object_Stream_Pairs*>(calloc(1, sizeof(PDF_Object_Stream_Pairs)));
    if (record == nullptr) return nullptr;
    record->container = container;
    cache->slots[slot] = record;
    cache->count += 1;
  }
  return record;
}

// The record for the container with its present stream and data, renewed as
// needed.
PDF_Object_Stream_Pairs* Pairs_Of(PDF_File* file, const PDF_Object* container, const void* stream, const uint8_t* data,
                                  uint64_t length) {
  PDF_Object_Stream_Pairs* record = Record_Of(file, container);
  if (record == nullptr) return nullptr;
  if (record->stream != stream || record->data != data || record->length != length) {
    // Another stream or other bytes: the pairs are read again from the start.
    record->stream = stream;
    record->data = data;
    record->length = length;
    record->at = 0;
    record->read = 0;
    record->failed = 0;
  }
  return record;
}

// Reads pairs in order until the one at index is held or one fails; true
// when the pair at index is held.
bool Pair_Read_Through(PDF_Object_Stream_Pairs* record, uint64_t index) {
  while (record->read <= index && !record->failed) {
    if (record->read == record->capacity) {
      uint32_t capacity = record->capacity < 64 ? 64 : record->capacity * 2;
      void* grown = realloc(record->values, sizeof(int32_t) * 2 * static_cast<uint64_t>(capacity));
      if (grown == nullptr) return false;
      record->values = static_cast<int32_t*>(grown);
      record->capacity = capacity;
    }
    int32_t number = 0;
    int32_t offset = 0;
    if (!Read_Pair(record->data, record->length, &record->at, &number, &offset)) {
      record->failed = 1;
      break;
    }
    record->values[2 * record->read] = number;
    record->values[2 * record->read + 1] = offset;
    record->read += 1;
  }
  return index < record->read;
}

// The pair at index through the cache: 1 read, 0 not readable, -1 the cache
// can't serve it (no memory), so that the caller reads the pairs itself.
int Cached_Pair(PDF_Object_Stream_Pairs* record, uint64_t index, int32_t* number, int32_t* offset) {
  if (record == nullptr || index >= 0x40000000u) return -1;
  if (!Pair_Read_Through(record, index)) {
    if (record->failed && record->read <= index) return 0;
    return -1;
  }
  *number = record->values[2 * index];
  *offset = record->values[2 * index + 1];
  return 1;
}

PDF_Result Load_From_Container(PDF_Xref_Entry* entry, PDF_File* file) {
  PDF_Object* container = PDF_Body_Find_Object(file->xref_table, entry->container, 0);
  if (container == nullptr) return PDF_RESULT_OBJECT_MISSING;
  if (file->tolerance_level == PDF_TOLERANCE_STRICT &&
      PDF_Object_Get_Type(container) != PDF_Object_Type_Object_Stream) {
    return PDF_RESULT_NOT_OBJECT_STREAM;
  }
  PDF_Stream* stream =
      static_cast<PDF_Stream*>(PDF_Data_Object_Get_Direct_Value(PDF_Object_Get_Value(container), PDF_Data_Type_Stream));
  if (stream == nullptr) return PDF_RESULT_NOT_OBJECT_STREAM;

  PDF_Number* n = static_cast<PDF_Number*>(
      PDF_Data_Object_Get_Typed_Value(PDF_Stream_Find_Value(stream, "N"), PDF_Data_Type_Number));
  if (n == nullptr) return PDF_RESULT_OBJECT_UNREADABLE;
  const int64_t count = PDF_Number_To_Bounded_Long(PDF_Number_Get_Real(n));
  if (count <= 0 || entry->offset >= static_cast<uint64_t>(count)) return PDF_RESULT_OBJECT_UNREADABLE;
  PDF_Number* first_number = static_cast<PDF_Number*>(
      PDF_Data_Object_Get_Typed_Value(PDF_Stream_Find_Value(stream, "First"), PDF_Data_Type_Number));
  if (first_number == nullptr) return PDF_RESULT_OBJECT_UNREADABLE;
  const int64_t first = PDF_Number_To_Bounded_Long(PDF_Number_Get_Real(first_number));

  // A container is inflated at most once: a stream whose single filter has
  // failed on it fails again at once. Only failures that the same stream is
  // sure to repeat are kept: those of the decoder, the predictor and the
  // filter's parameters, with one filter named (a chain strikes entries as
  // it goes, and a failed load may leave part of the data behind).
  PDF_Object_Stream_Pairs* record = Record_Of(file, container);
  if (record != nullptr && record->undecodable == stream) return record->decode_result;
  uint32_t filters = 0;
  PDF_Stream_Get_Filter_Count(stream, &filters);
  PDF_Result result = PDF_Stream_Decode(stream, true);
  if (result != PDF_RESULT_OK) {
    bool repeats = result == PDF_RESULT_BAD_COMPRESSED_DATA || result == PDF_RESULT_OLD_LZW ||
                   result == PDF_RESULT_MALFORMED_FILTER || result == PDF_RESULT_NOT_SINGLE_BYTE ||
                   result == PDF_RESULT_UNSUPPORTED_FILTER;
    if (record != nullptr && filters == 1 && repeats) {
      record->undecodable = stream;
      record->decode_result = result;
    }
    return result;
  }
  const uint8_t* data = PDF_Stream_Get_Data(stream);
  if (data == nullptr) return PDF_RESULT_OBJECT_UNREADABLE;
  const uint64_t length = PDF_Stream_Get_Length(stream);

  // The pairs are read from the start up to the entry's own; the cache keeps
  // them for the container's other members.
  PDF_Object_Stream_Pairs* pairs = Pairs_Of(file, container, stream, data, length);
  uint64_t at = 0;
  int32_t number = 0;
  int32_t offset = 0;
  int cached = Cached_Pair(pairs, entry->offset, &number, &offset);
  if (cached == 0) return PDF_RESULT_OBJECT_UNREADABLE;
  for (uint64_t i = 0; cached < 0 && i <= entry->offset; ++i) {
    if (!Read_Pair(data, length, &at, &number, &offset)) return PDF_RESULT_OBJECT_UNREADABLE;
  }
  if (file->tolerance_level == PDF_TOLERANCE_STRICT && number != PDF_Object_Get_Number(entry->object)) {
    return PDF_RESULT_OBJECT_UNREADABLE;
  }
  // A negative offset passes as long as First makes up for it.
  const int64_t start = first + offset;
  if (start < 0 || static_cast<uint64_t>(start) > length) return PDF_RESULT_OBJECT_UNREADABLE;

  uint64_t size = length - static_cast<uint64_t>(start);
  if (entry->offset + 1 < static_cast<uint64_t>(count)) {
    int32_t next_number = 0;
    int32_t next_offset = 0;
    int next = cached < 0 ? -1 : Cached_Pair(pairs, entry->offset + 1, &next_number, &next_offset);
    if (next == 0) return PDF_RESULT_OBJECT_UNREADABLE;
    if (next < 0) {
      // Read on from where the walk to the entry's own pair ended.
      if (cached >= 0) {
        at = 0;
        for (uint64_t i = 0; i <= entry->offset; ++i) Read_Pair(data, length, &at, &next_number, &next_offset);
      }
      if (!Read_Pair(data, length, &at, &next_number, &next_offset)) return PDF_RESULT_OBJECT_UNREADABLE;
    }
    const int64_t end = first + next_offset;
    if (end < 0 || static_cast<uint64_t>(end) > length || next_offset < offset) {
      return PDF_RESULT_OBJECT_UNREADABLE;
    }
    size = static_cast<uint64_t>(end - start);
  }
  return PDF_Object_Read_From_Buffer(entry->object, file, data + start, size);
}

}  // namespace

PDF_Result PDF_Xref_Entry_Load_Compressed(PDF_Xref_Entry* entry) {
  if (entry == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  if (entry->type != 'c') return PDF_RESULT_OK;
  PDF_File* file = entry->file;
  if (file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  if (entry->object == nullptr) {
    // Made on first load, of the entry's number and generation 0.
    PDF_Result result = PDF_Object_Create(&entry->object, file, nullptr, entry->number, 0, PDF_Object_Type_Unknown);
    if (result != PDF_RESULT_OK) return result;
  }
  // While it loads the entry reads as free, so that a chain of containers
  // that leads back to it finds nothing instead of recursing for ever. A
  // chain of containers each held in the next one counts as nesting.
  if (file->nesting_depth >= PDF_NESTING_LIMIT) return PDF_RESULT_OBJECT_UNREADABLE;
  entry->type = 'f';
  file->nesting_depth += 1;
  PDF_Result result = Load_From_Container(entry, file);
  file->nesting_depth -= 1;
  if (result != PDF_RESULT_OK) {
    entry->type = 'c';
    return result;
  }
  entry->offset = 0;
  entry->container = 0;
  entry->type = 'n';
  return PDF_RESULT_OK;
}

void PDF_Object_Stream_Cache_Delete(PDF_File* file) {
  if (file == nullptr || file->object_streams == nullptr) return;
  PDF_Object_Stream_Cache* cache = file->object_streams;
  for (uint32_t i = 0; i < cache->capacity; ++i) {
    if (cache->slots[i] == nullptr) continue;
    free(cache->slots[i]->values);
    free(cache->slots[i]);
  }
  free(cache->slots);
  free(cache);
  file->object_streams = nullptr;
}

void PDF_Object_Stream_Cache_Forget(PDF_File* file, const PDF_Object* container) {
  if (file == nullptr || file->object_streams == nullptr || container == nullptr) return;
  PDF_Object_Stream_Cache* cache = file->object_streams;
  uint32_t slot = Slot_Of(container, cache->capacity);
  while (cache->slots[slot] != nullptr && cache->slots[slot]->container != container) {
    slot = (slot + 1) & (cache->capacity - 1);
  }
  PDF_Object_Stream_Pairs* record = cache->slots[slot];
  if (record == nullptr) return;
  // The record stays in its slot, emptied, so that the probe chains through
  // it stay whole; it matches no stream from now on.
  record->stream = nullptr;
  record->data = nullptr;
  record->length = 0;
  record->read = 0;
  record->at = 0;
  record->failed = 0;
  record->undecodable = nullptr;
}
