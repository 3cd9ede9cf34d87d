#include "objects/pdf_stream.h"

#include <cstring>

#include "objects/pdf_data_object.h"
#include "objects/pdf_dictionary.h"
#include "objects/pdf_filter.h"
#include "objects/pdf_number.h"
#include "objects/pdf_object.h"
#include "objects/pdf_object_reference.h"
#include "objects/pdf_object_security.h"
#include "objects/pdf_stream_decode.h"
#include "reader/pdf_file.h"
#include "reader/pdf_read_data.h"
#include "runtime/pdf_limits.h"
#include "runtime/pdf_memory.h"
#include "runtime/pdf_message.h"
#include "text/pdf_text.h"

static void Report_Allocation_Failure(PDF_File* file) {
  PDF_Message_Report(file->message, PDF_RESULT_OUT_OF_MEMORY, PDF_LEVEL_RESOURCE,
                     "Unable to allocate memory for stream object!");
}

PDF_Result PDF_Stream_Create(PDF_Stream** out_stream, PDF_File* file) {
  if (out_stream == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_stream = nullptr;
  PDF_Stream* stream = PDF_Memory_Alloc_Zeroed<PDF_Stream>(file->memory);
  if (stream == nullptr) {
    Report_Allocation_Failure(file);
    return PDF_RESULT_OUT_OF_MEMORY;
  }
  stream->file = file;
  PDF_Result result = PDF_Dictionary_Create(&stream->dictionary, file);
  if (result == PDF_RESULT_OK) result = PDF_Dictionary_Set_Number(stream->dictionary, file, "Length", 0.0, 0);
  if (result != PDF_RESULT_OK) {
    PDF_Stream_Delete(&stream, PDF_DELETE_MODE_RELEASE);
    return result;
  }
  *out_stream = stream;
  return PDF_RESULT_OK;
}

PDF_Result PDF_Stream_Delete(PDF_Stream** holder, uint32_t delete_mode) {
  if (holder == nullptr || *holder == nullptr || (*holder)->file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Stream* stream = *holder;
  PDF_File* file = stream->file;
  PDF_Result result = PDF_RESULT_OK;
  if (stream->reader != nullptr) {
    result = PDF_Read_Data_Release(&stream->reader, file->memory);
    if (result != PDF_RESULT_OK) return result;
    stream->position = 0;
  }
  if (stream->data != nullptr) {
    result = PDF_Memory_Free(file->memory, &stream->data);
    if (result != PDF_RESULT_OK) return result;
    stream->length = 0;
  }
  if (stream->dictionary != nullptr) {
    result = PDF_Dictionary_Delete(&stream->dictionary, file, delete_mode);
    if (result != PDF_RESULT_OK) return result;
  }
  return PDF_Memory_Free(file->memory, holder);
}

// Deletes a stream whose head could not be read; the parse then fails.
static uint64_t Fail_Head(PDF_Stream** stream) {
  PDF_Stream_Delete(stream, PDF_DELETE_MODE_RELEASE);
  return 0;
}

uint64_t PDF_Stream_Read(PDF_Stream** out_stream, PDF_Dictionary** out_dictionary, PDF_File* file,
                         PDF_Read_Data* reader, uint64_t position) {
  if (out_stream == nullptr || out_dictionary == nullptr || file == nullptr) return PDF_READ_INVALID_ARGUMENT;
  *out_stream = nullptr;
  *out_dictionary = nullptr;
  uint64_t count = PDF_Dictionary_Read(out_dictionary, file, reader, position);
  if (count == 0 || count == PDF_READ_INVALID_ARGUMENT) return count;
  position += count;

  // Kept: a token of 6 to 10 bytes that begins with "stream" is the keyword,
  // and all of it is consumed; anything else leaves a plain dictionary. A
  // stricter test would turn objects such as "<<...>> streamXY" from streams
  // into plain dictionaries and shift where their data is read.
  char token[10];
  uint64_t length = sizeof(token);
  uint64_t used = PDF_Read_Data_Read_Keyword(reader, token, &length, position);
  if (used == 0 || used == PDF_READ_INVALID_ARGUMENT || length < 6) return count;
  if (PDF_Bytes_Differ(token, "stream", 6)) return count;
  count += used;
  position += used;

  PDF_Stream* stream = PDF_Memory_Alloc_Zeroed<PDF_Stream>(file->memory);
  if (stream == nullptr) {
    Report_Allocation_Failure(file);
    PDF_Dictionary_Delete(out_dictionary, file, PDF_DELETE_MODE_RELEASE);
    return 0;
  }
  stream->dictionary = *out_dictionary;
  *out_dictionary = nullptr;
  stream->file = file;

  // The line end behind the keyword: LF, CR LF, or CR alone.
  // Kept: after a lone CR the next byte, whatever it is, is the first data
  // byte and is not consumed.
  // Kept: a space before the line end is stepped over from level 2 only;
  // below that the head fails, so strict levels refuse such files.
  uint8_t byte = 0;
  if (PDF_Read_Data_Read(reader, &byte, position, 1) != 1) return Fail_Head(&stream);
  count += 1;
  position += 1;
  if (file->tolerance_level >= PDF_TOLERANCE_REPAIR && byte == ' ') {
    if (PDF_Read_Data_Read(reader, &byte, position, 1) != 1) return Fail_Head(&stream);
    count += 1;
    position += 1;
  }
  if (byte == 13) {
    uint8_t next = 0;
    if (PDF_Read_Data_Read(reader, &next, position, 1) != 1) return Fail_Head(&stream);
    if (next == 10) {
      count += 1;
      position += 1;
    }
  } else if (byte != 10) {
    return Fail_Head(&stream);
  }
  if (reader == nullptr) return Fail_Head(&stream);
  reader->hold_count += 1;
  stream->reader = reader;
  stream->position = position;

  PDF_Data_Object* value = PDF_Dictionary_Find_Value(stream->dictionary, "Length");
  if (value == nullptr) return Fail_Head(&stream);
  if (PDF_Data_Object_Get_Type(value) == PDF_Data_Type_Reference) {
    // The target may not be known yet (while its table is being read): then
    // the stream is kept with length 0 and loading tries Length again.
    value = PDF_Object_Get_Value(PDF_Object_Reference_Get_Object(static_cast<PDF_Object_Reference*>(value->value)));
  }
  *out_stream = stream;
  // Kept: a Length that is no number (yet) gives -53 in place of the count,
  // with the stream in its holder, on file and of length 0. Callers wrap it
  // like any other stream, and the load reads Length again; this is how a
  // stream whose Length object comes later in the file is read at all. The
  // -53 travels in the unsigned count: a caller that adds it to a position as
  // a byte count wraps round to 53 bytes before where it started.
  if (PDF_Data_Object_Get_Type(value) != PDF_Data_Type_Number) {
    return static_cast<uint64_t>(static_cast<int64_t>(PDF_RESULT_BAD_LENGTH_VALUE));
  }
  // A 64-bit length, as at the load; a negative one turns huge. Nothing
  // looks for "endstream": Length alone says where the data ends.
  stream->length = static_cast<uint64_t>(PDF_Number_Get_Long(static_cast<PDF_Number*>(value->value)));
  return count;
}

bool PDF_Stream_Length_Is_Backed(PDF_Stream* stream) {
  if (stream == nullptr || stream->data != nullptr || stream->reader == nullptr) return true;
  if (stream->length <= PDF_STATED_LENGTH_LIMIT) return true;
  uint64_t last = stream->position + stream->length - 1;
  if (last < stream->position) return false;  // beyond every position
  uint8_t byte = 0;
  return PDF_Read_Data_Read(stream->reader, &byte, last, 1) == 1;
}

PDF_Result PDF_Stream_Read_Raw(PDF_Stream* stream, void* buffer) {
  if (stream == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  if (stream->length == 0) return PDF_RESULT_OK;
  if (buffer == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  if (stream->data != nullptr) {
    memcpy(buffer, stream->data, stream->length);
    return PDF_RESULT_OK;
  }
  if (stream->reader == nullptr) return PDF_RESULT_OBJECT_UNREADABLE;
  if (stream->file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  if (!PDF_Stream_Length_Is_Backed(stream)) return PDF_RESULT_OUT_OF_MEMORY;
  uint64_t count = PDF_Read_Data_Read(stream->reader, buffer, stream->position, stream->length);
  // Kept: from level 3 a short read succeeds, and the caller's buffer holds
  // only part of the data, the rest as the caller left it.
  if (count == 0 || (count < stream->length && stream->file->tolerance_level < PDF_TOLERANCE_SHORT_STREAMS))
    return PDF_RESULT_UNREADABLE;
  return PDF_RESULT_OK;
}

// Reads Length afresh: -52 when absent or a number variant without a value,
// -53 when no number or a reference that leads nowhere.
static PDF_Result Read_Length(PDF_Stream* stream) {
  PDF_Data_Object* value = PDF_Dictionary_Find_Value(stream->dictionary, "Length");
  if (value == nullptr) return PDF_RESULT_BAD_LENGTH_OR_FILTER;
  if (value->type == PDF_Data_Type_Reference) {
    value = PDF_Object_Get_Value(PDF_Object_Reference_Get_Object(static_cast<PDF_Object_Reference*>(value->value)));
    if (value == nullptr) return PDF_RESULT_BAD_LENGTH_VALUE;
  }
  if (value->type != PDF_Data_Type_Number) return PDF_RESULT_BAD_LENGTH_VALUE;
  if (value->value == nullptr) return PDF_RESULT_BAD_LENGTH_OR_FILTER;
  // Kept: taken as a signed 64-bit integer, so a Length of -1 becomes a huge
  // length and the load fails with -7 rather than with a complaint about the
  // value.
  stream->length = static_cast<uint64_t>(PDF_Number_Get_Long(static_cast<PDF_Number*>(value->value)));
  return PDF_RESULT_OK;
}

PDF_Result PDF_Stream_Load(PDF_Stream* stream) {
  if (stream == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  if (stream->data != nullptr) return PDF_RESULT_OK;
  if (stream->length == 0) {
    PDF_Result result = Read_Length(stream);
    if (result != PDF_RESULT_OK) return result;
  }
  if (stream->length != 0) {
    if (stream->reader == nullptr) return PDF_RESULT_UNREADABLE;
    if (!PDF_Stream_Length_Is_Backed(stream)) return PDF_RESULT_OUT_OF_MEMORY;
    stream->data = static_cast<uint8_t*>(PDF_Memory_Alloc(stream->file->memory, stream->length));
    if (stream->data == nullptr) return PDF_RESULT_OUT_OF_MEMORY;
    uint64_t arrived = 0;
    while (arrived < stream->length) {
      uint64_t count = PDF_Read_Data_Read(stream->reader, stream->data + arrived, stream->position + arrived,
                                          stream->length - arrived);
      if (count == 0) break;
      arrived += count;
    }
    // Kept: from level 3 a file that ends early still loads, as long as one
    // byte came. length keeps the stated value and the tail of the buffer
    // holds whatever the allocator gave: readers get uninitialised bytes as
    // stream data. Refusing here would refuse damaged files that open today.
    // Kept: after the -10 data stays allocated and the reader held, so a
    // second load finds data set and returns 0 with the partial buffer;
    // PDF_Stream_Get_Data is the caller that guards against it.
    if (arrived < stream->length && (stream->file->tolerance_level < PDF_TOLERANCE_SHORT_STREAMS || arrived == 0)) {
      return PDF_RESULT_UNREADABLE;
    }
  }
  if (stream->reader == nullptr) return PDF_RESULT_OK;
  PDF_Result result = PDF_Read_Data_Release(&stream->reader, stream->file->memory);
  if (result != PDF_RESULT_OK) return result;
  stream->position = 0;
  return PDF_RESULT_OK;
}

PDF_Result PDF_Stream_Load_All(PDF_Stream* stream) {
  if (stream == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Result result = PDF_Dictionary_Load_All(stream->dictionary, stream->file);
  if (result != PDF_RESULT_OK) return result;
  // Kept: Length is read again whatever length held before: this pass
  // corrects a stream parsed before its Length object could be reached. It
  // does not touch data.
  return Read_Length(stream);
}

PDF_Result PDF_Stream_Copy(PDF_Stream** out_stream, PDF_File* file, PDF_Stream* source, bool copy_targets,
                           int32_t copy_mode) {
  if (out_stream == nullptr || file == nullptr || source == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_stream = nullptr;
  PDF_Stream* stream = PDF_Memory_Alloc_Zeroed<PDF_Stream>(file->memory);
  if (stream == nullptr) {
    Report_Allocation_Failure(file);
    return PDF_RESULT_OUT_OF_MEMORY;
  }
  stream->file = file;
  PDF_Result result = PDF_Dictionary_Copy(&stream->dictionary, file, source->dictionary, copy_targets, copy_mode);
  if (result != PDF_RESULT_OK) {
    PDF_Stream_Delete(&stream, PDF_DELETE_MODE_RELEASE);
    return result;
  }
  // Copying forces the source into memory.
  // Kept: a failed load of the source is returned as it stands and the new
  // stream, with its dictionary, stays allocated until the allocator goes.
  result = PDF_Stream_Load(source);
  if (result != PDF_RESULT_OK) return result;
  if (source->length != 0) {
    if (source->data == nullptr) {
      PDF_Stream_Delete(&stream, PDF_DELETE_MODE_RELEASE);
      return PDF_RESULT_MALFORMED_FILTER;
    }
    stream->data = static_cast<uint8_t*>(PDF_Memory_Alloc(file->memory, source->length));
    if (stream->data == nullptr) {
      PDF_Stream_Delete(&stream, PDF_DELETE_MODE_RELEASE);
      return PDF_RESULT_OUT_OF_MEMORY;
    }
    memcpy(stream->data, source->data, source->length);
    stream->length = source->length;
  }
  // Kept: the copy's decrypted flag is clear whatever the source's was, so
  // the copy of a decrypted stream is deciphered again if it is ever passed
  // to PDF_Stream_Decrypt.
  *out_stream = stream;
  return PDF_RESULT_OK;
}

// Bytes with the top bit set among the first 200.
static uint32_t Count_High_Bytes(const PDF_Stream* stream) {
  uint64_t limit = stream->length < 200 ? stream->length : 200;
  uint32_t count = 0;
  for (uint64_t i = 0; i < limit; ++i) {
    if (stream->data[i] & 0x80) count += 1;
  }
  return count;
}

PDF_Result PDF_Stream_Decrypt(PDF_Stream* stream, PDF_File* file, PDF_Object* container) {
  if (stream == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  if (stream->decrypted) return PDF_RESULT_OK;
  // Kept: marked before anything can fail, so that a failure isn't repeated:
  // a stream whose decryption failed is never tried again and later calls
  // answer 0.
  stream->decrypted = 1;
  if (stream->dictionary == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Result result = PDF_Dictionary_Decrypt(stream->dictionary, file, container);
  if (result != PDF_RESULT_OK) return result;
  result = PDF_Stream_Load(stream);
  if (result != PDF_RESULT_OK) return result;
  bool decrypt = true;
  bool metadata =
      PDF_Name_Is(PDF_Stream_Get_Type(stream), "Metadata") && PDF_Name_Is(PDF_Stream_Get_Subtype(stream), "XML");
  // A metadata stream may have been left in the clear; no entry of the
  // encryption dictionary is read to find out.
  // Kept: once one was found plain, the flag ends the trial for all later
  // ones and they are decrypted without a test, plain or not.
  if (metadata && !file->metadata_is_plain) {
    uint32_t filters = 0;
    if (PDF_Stream_Get_Filter_Count(stream, &filters) == PDF_RESULT_OK && filters > 0) {
      // Kept: data that decodes as it stands was not enciphered, and it
      // stays decoded: the metadata reader finds its filters gone.
      if (PDF_Stream_Decode(stream, false) == PDF_RESULT_OK) decrypt = false;
    } else {
      uint32_t before = Count_High_Bytes(stream);
      result = PDF_Security_Decrypt_Bytes(file, container, stream->data, stream->length);
      if (result != PDF_RESULT_OK) return result;
      if (Count_High_Bytes(stream) < before) {
        decrypt = false;  // it was enciphered and is plain now
      } else {
        // Kept: plain data is deciphered a second time below, which restores
        // it only because RC4 is its own inverse.
        file->metadata_is_plain = 1;
      }
    }
  }
  if (!decrypt) return PDF_RESULT_OK;
  return PDF_Security_Decrypt_Bytes(file, container, stream->data, stream->length);
}

PDF_Result PDF_Stream_Set_Owner(PDF_Stream* stream, PDF_Data_Object* owner) {
  if (stream == nullptr || owner == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  stream->owner = owner;
  return PDF_RESULT_OK;
}

PDF_Dictionary* PDF_Stream_Get_Dictionary(const PDF_Stream* stream) {
  return stream == nullptr ? nullptr : stream->dictionary;
}

uint64_t PDF_Stream_Get_Length(const PDF_Stream* stream) { return stream == nullptr ? 0 : stream->length; }

PDF_Data_Object* PDF_Stream_Find_Value(const PDF_Stream* stream, const char* key) {
  return stream == nullptr ? nullptr : PDF_Dictionary_Find_Value(stream->dictionary, key);
}

PDF_Name* PDF_Stream_Get_Type(const PDF_Stream* stream) {
  return stream == nullptr ? nullptr : PDF_Dictionary_Get_Type(stream->dictionary);
}

PDF_Name* PDF_Stream_Get_Subtype(const PDF_Stream* stream) {
  return stream == nullptr ? nullptr : PDF_Dictionary_Get_Subtype(stream->dictionary);
}
