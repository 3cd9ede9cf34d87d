#include "objects/pdf_stream_decode.h"

#include "filters/pdf_flate.h"
#include "filters/pdf_lzw.h"
#include "filters/pdf_predictor.h"
#include "objects/pdf_array.h"
#include "objects/pdf_data_object.h"
#include "objects/pdf_dictionary.h"
#include "objects/pdf_filter.h"
#include "objects/pdf_stream.h"
#include "reader/pdf_file.h"
#include "runtime/pdf_memory.h"
#include "runtime/pdf_message.h"

namespace {

typedef PDF_Result (*Buffer_Decoder)(PDF_Memory* memory, const uint8_t* input, uint64_t input_length,
                                     uint8_t** out_buffer, uint64_t* out_length);

// Decodes the whole of data into a new buffer, runs the predictor over it,
// puts it in place of data, and strikes the filter from the dictionary.
PDF_Result Decode_Step(PDF_Stream* stream, Buffer_Decoder decoder, const PDF_Filter_Parms* record, PDF_Array* filters,
                       PDF_Array* parms, uint32_t index) {
  if (stream == nullptr || stream->file == nullptr || record == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_File* file = stream->file;
  PDF_Memory* memory = file->memory;
  uint8_t* buffer = nullptr;
  uint64_t length = 0;
  PDF_Result result = decoder(memory, stream->data, stream->length, &buffer, &length);
  if (result != PDF_RESULT_OK) return result;

  // Kept: the raw bytes go before the predictor runs, so a predictor failure
  // (-99 for BitsPerComponent other than 8, -54 for an unknown predictor or
  // row tag) leaves the stream with no data and its old length and Length: a
  // later load fails with -10. An empty stream has no raw bytes, and the
  // release of nothing fails with -8. The new buffer is dropped on every
  // failure below, since nothing refers to it.
  result = PDF_Memory_Free(memory, &stream->data);
  if (result == PDF_RESULT_OK && record->predictor != 1) {
    if (record->bits_per_component != 8) {
      result = PDF_RESULT_NOT_SINGLE_BYTE;
    } else {
      result = PDF_Predictor_Decode(buffer, length, record->colors, record->columns, record->predictor, &length);
    }
  }
  if (result != PDF_RESULT_OK) {
    PDF_Memory_Free(memory, &buffer);
    return result;
  }

  stream->data = buffer;
  stream->length = length;
  result = PDF_Dictionary_Set_Number(stream->dictionary, file, "Length", static_cast<double>(length), 0);
  if (result != PDF_RESULT_OK) return result;

  // Kept: the index is the step's place in the table, not in the array, which
  // has lost an entry for every step before this one. With two decodable
  // filters the second removal fails with -25 after data, length and Length
  // are already right, and its entry stays, so a repeated decode runs that
  // filter over decoded bytes; with three the middle step strikes the wrong
  // entry. A -25 from the chain does not mean that nothing was decoded.
  // Kept: an indirect Filter (or DecodeParms) array is shortened inside the
  // object it refers to, which other streams may share.
  if (filters != nullptr) {
    result = PDF_Array_Remove_Value(filters, file, index, PDF_DELETE_MODE_RELEASE);
    if (result == PDF_RESULT_OK && parms != nullptr) {
      result = PDF_Array_Remove_Value(parms, file, index, PDF_DELETE_MODE_RELEASE);
    }
    return result;
  }
  result = PDF_Dictionary_Remove_Entry(stream->dictionary, file, "Filter", PDF_DELETE_MODE_RELEASE);
  if (result != PDF_RESULT_OK) return result;
  return PDF_Dictionary_Remove_Entry(stream->dictionary, file, "DecodeParms", PDF_DELETE_MODE_RELEASE);
}

// Walks the table over the loaded stream; the first result other than 0 ends
// the walk.
PDF_Result Run_Table(PDF_Stream* stream, const PDF_Filter_Parms* table, uint32_t count, PDF_Array* filters,
                     PDF_Array* parms, bool report_unsupported) {
  for (uint32_t index = 0; index < count; ++index) {
    const PDF_Filter_Parms* record = &table[index];
    PDF_Result result = PDF_RESULT_OK;
    // Kept: unless a report is wanted, a filter without a decoder is passed
    // over and its entry stays, and the next filter still runs, on bytes it
    // can't understand ([/ASCII85Decode /FlateDecode] ends in -300).
    if (record->type == PDF_Filter_Type_LZW) {
      result = PDF_Stream_Decode_LZW(stream, record, filters, parms, index);
    } else if (record->type == PDF_Filter_Type_Flate) {
      result = PDF_Stream_Decode_Flate(stream, record, filters, parms, index);
    } else if (report_unsupported) {
      PDF_Message_Report(stream->file->message, PDF_RESULT_UNSUPPORTED_FILTER, PDF_LEVEL_DOCUMENT,
                         "unsupported stream filter (%d)", static_cast<int>(record->type));
      result = PDF_RESULT_UNSUPPORTED_FILTER;
    }
    if (result != PDF_RESULT_OK) return result;
  }
  return PDF_RESULT_OK;
}

}  // namespace

PDF_Result PDF_Stream_Decode_Flate(PDF_Stream* stream, const PDF_Filter_Parms* record, PDF_Array* filters,
                                   PDF_Array* parms, uint32_t index) {
  return Decode_Step(stream, PDF_Flate_Decode, record, filters, parms, index);
}

// Kept: EarlyChange stays in the record and is not passed on: the decoder
// always widens its codes early, so data written with EarlyChange 0 doesn't
// decode past the first width change.
PDF_Result PDF_Stream_Decode_LZW(PDF_Stream* stream, const PDF_Filter_Parms* record, PDF_Array* filters,
                                 PDF_Array* parms, uint32_t index) {
  return Decode_Step(stream, PDF_LZW_Decode, record, filters, parms, index);
}

PDF_Result PDF_Stream_Decode(PDF_Stream* stream, bool report_unsupported) {
  if (stream == nullptr || stream->file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Memory* memory = stream->file->memory;

  // Kept: the count's result is not looked at, so a Filter of an unusable
  // type counts as no filter at all: 0, and the data isn't even loaded.
  uint32_t count = 0;
  PDF_Stream_Get_Filter_Count(stream, &count);
  if (count == 0) return PDF_RESULT_OK;

  PDF_Filter_Parms* table = PDF_Memory_Alloc_Zeroed<PDF_Filter_Parms>(memory, count);
  if (table == nullptr) return PDF_RESULT_OUT_OF_MEMORY;
  PDF_Result result = PDF_Stream_Get_Filter_Table(stream, table);

  // Kept: the arrays are only taken when more than one filter is named, so a
  // one-element Filter array goes as a whole, together with DecodeParms,
  // exactly as a lone name does.
  PDF_Array* filters = nullptr;
  PDF_Array* parms = nullptr;
  if (result == PDF_RESULT_OK && count > 1) {
    filters = static_cast<PDF_Array*>(
        PDF_Data_Object_Get_Typed_Value(PDF_Stream_Find_Value(stream, "Filter"), PDF_Data_Type_Array));
    parms = static_cast<PDF_Array*>(
        PDF_Data_Object_Get_Typed_Value(PDF_Stream_Find_Value(stream, "DecodeParms"), PDF_Data_Type_Array));
    if (filters == nullptr) result = PDF_RESULT_MISSING_DATA;
  }
  if (result == PDF_RESULT_OK) result = PDF_Stream_Load(stream);
  if (result == PDF_RESULT_OK) result = Run_Table(stream, table, count, filters, parms, report_unsupported);

  PDF_Result released = PDF_Memory_Free(memory, &table);
  return result != PDF_RESULT_OK ? result : released;
}

uint8_t* PDF_Stream_Get_Data(PDF_Stream* stream) {
  if (stream == nullptr) return nullptr;
  if (PDF_Stream_Load(stream) != PDF_RESULT_OK) {
    // A short read leaves a buffer behind that would pass for loaded data.
    if (stream->data != nullptr && stream->file != nullptr) PDF_Memory_Free(stream->file->memory, &stream->data);
    return nullptr;
  }
  if (PDF_Stream_Decode(stream, true) != PDF_RESULT_OK) return nullptr;
  return stream->data;
}

bool PDF_Stream_Is_Plain_Flate(PDF_Stream* stream) {
  uint32_t count = 0;
  if (PDF_Stream_Get_Filter_Count(stream, &count) != PDF_RESULT_OK) return false;
  if (count == 0) return true;
  if (stream->file == nullptr) return false;
  PDF_Memory* memory = stream->file->memory;
  PDF_Filter_Parms* table = PDF_Memory_Alloc_Zeroed<PDF_Filter_Parms>(memory, count);
  if (table == nullptr) return false;
  bool plain = PDF_Stream_Get_Filter_Table(stream, table) == PDF_RESULT_OK;
  for (uint32_t index = 0; plain && index < count; ++index) {
    plain = table[index].type == PDF_Filter_Type_Flate && table[index].predictor == 1;
  }
  PDF_Memory_Free(memory, &table);
  return plain;
}
