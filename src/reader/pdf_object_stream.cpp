#include "reader/pdf_object_stream.h"

#include "filters/pdf_stream.h"
#include "filters/pdf_stream_decode.h"
#include "objects/pdf_number.h"
#include "objects/pdf_object.h"
#include "reader/pdf_read_data.h"

namespace {

// A number truncated toward zero and held within 2^48 either way, so that a
// sum of it and a 32-bit offset cannot overflow.
int64_t Bounded_Long(const PDF_Number* number) {
  const double limit = 281474976710656.0;
  double value = PDF_Number_Get_Real(number);
  if (!(value == value)) return 0;
  if (value >= limit) return static_cast<int64_t>(limit);
  if (value <= -limit) return -static_cast<int64_t>(limit);
  return static_cast<int64_t>(value);
}

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

PDF_Result Load_From_Container(PDF_Xref_Entry* entry, PDF_File* file) {
  PDF_Object* container = PDF_Body_Find_Object(file->xref_table, entry->container, 0);
  if (container == nullptr) return PDF_RESULT_OBJECT_MISSING;
  if (file->tolerance_level == 0 && PDF_Object_Get_Type(container) != PDF_Object_Type_Object_Stream) {
    return PDF_RESULT_NOT_OBJECT_STREAM;
  }
  PDF_Stream* stream =
      static_cast<PDF_Stream*>(PDF_Data_Object_Get_Direct_Value(PDF_Object_Get_Value(container), PDF_Data_Type_Stream));
  if (stream == nullptr) return PDF_RESULT_NOT_OBJECT_STREAM;

  PDF_Number* n = static_cast<PDF_Number*>(
      PDF_Data_Object_Get_Typed_Value(PDF_Stream_Find_Value(stream, "N"), PDF_Data_Type_Number));
  if (n == nullptr) return PDF_RESULT_OBJECT_UNREADABLE;
  const int64_t count = Bounded_Long(n);
  if (count <= 0 || entry->offset >= static_cast<uint64_t>(count)) return PDF_RESULT_OBJECT_UNREADABLE;
  PDF_Number* first_number = static_cast<PDF_Number*>(
      PDF_Data_Object_Get_Typed_Value(PDF_Stream_Find_Value(stream, "First"), PDF_Data_Type_Number));
  if (first_number == nullptr) return PDF_RESULT_OBJECT_UNREADABLE;
  const int64_t first = Bounded_Long(first_number);

  PDF_Result result = PDF_Stream_Decode(stream, true);
  if (result != PDF_RESULT_OK) return result;
  const uint8_t* data = PDF_Stream_Get_Data(stream);
  if (data == nullptr) return PDF_RESULT_OBJECT_UNREADABLE;
  const uint64_t length = PDF_Stream_Get_Length(stream);

  // The pairs are read from the start up to the entry's own.
  uint64_t at = 0;
  int32_t number = 0;
  int32_t offset = 0;
  for (uint64_t i = 0; i <= entry->offset; ++i) {
    if (!Read_Pair(data, length, &at, &number, &offset)) return PDF_RESULT_OBJECT_UNREADABLE;
  }
  if (file->tolerance_level == 0 && number != PDF_Object_Get_Number(entry->object)) {
    return PDF_RESULT_OBJECT_UNREADABLE;
  }
  // A negative offset passes as long as First makes up for it.
  const int64_t start = first + offset;
  if (start < 0 || static_cast<uint64_t>(start) > length) return PDF_RESULT_OBJECT_UNREADABLE;

  uint64_t size = length - static_cast<uint64_t>(start);
  if (entry->offset + 1 < static_cast<uint64_t>(count)) {
    int32_t next_number = 0;
    int32_t next_offset = 0;
    if (!Read_Pair(data, length, &at, &next_number, &next_offset)) return PDF_RESULT_OBJECT_UNREADABLE;
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
  if (file == nullptr || entry->object == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  // While it loads the entry reads as free, so that a chain of containers
  // that leads back to it finds nothing instead of recursing for ever.
  entry->type = 'f';
  PDF_Result result = Load_From_Container(entry, file);
  if (result != PDF_RESULT_OK) {
    entry->type = 'c';
    return result;
  }
  entry->offset = 0;
  entry->container = 0;
  entry->type = 'n';
  return PDF_RESULT_OK;
}

uint64_t PDF_Text_Read_Integer(const uint8_t* bytes, uint64_t length, int32_t* out_value) {
  if (out_value == nullptr) return 0;
  *out_value = 0;
  if (length == 0 || bytes == nullptr) return 0;
  uint64_t at = 0;
  while (at < length && PDF_Read_Data_Is_Space(bytes[at])) ++at;
  if (at == length) return 0;
  bool negative = false;
  if (bytes[at] == '-' || bytes[at] == '+') {
    negative = bytes[at] == '-';
    ++at;
    if (at == length) return 0;
  }
  if (bytes[at] < '0' || bytes[at] > '9') return 0;
  // Summed in 32 bits; a longer run of digits simply wraps.
  uint32_t value = 0;
  while (at < length && bytes[at] >= '0' && bytes[at] <= '9') {
    value = value * 10u + static_cast<uint32_t>(bytes[at] - '0');
    ++at;
  }
  if (negative) value = 0u - value;
  *out_value = static_cast<int32_t>(value);
  return at;
}
