#include "reader/pdf_xref_chain.h"

#include "objects/pdf_data_object.h"
#include "objects/pdf_number.h"
#include "objects/pdf_object.h"
#include "objects/pdf_stream.h"
#include "reader/pdf_file.h"
#include "reader/pdf_header.h"
#include "reader/pdf_read_data.h"
#include "reader/pdf_startxref.h"
#include "reader/pdf_trailer.h"
#include "reader/pdf_xref_section.h"
#include "reader/pdf_xref_stream.h"
#include "reader/pdf_xref_table.h"
#include "runtime/pdf_seen_set.h"

namespace {

// Reads the cross-reference stream at offset and merges it into the table.
// Without a trailer yet, the stream's dictionary makes one. A Prev of the
// stream's dictionary is stored through prev when that is given.
PDF_Result Merge_Stream(PDF_Xref_Table* table, PDF_Trailer** trailer, PDF_File* file, PDF_Read_Data* reader,
                        uint64_t offset, uint64_t* prev) {
  PDF_Object* object = nullptr;
  uint64_t used = PDF_Object_Read(&object, file, reader, offset);
  PDF_Result result = PDF_RESULT_BAD_TRAILER;
  if (used != 0 && used != PDF_READ_INVALID_ARGUMENT && PDF_Object_Load(object) == PDF_RESULT_OK) {
    PDF_Stream* stream =
        static_cast<PDF_Stream*>(PDF_Data_Object_Get_Direct_Value(PDF_Object_Get_Value(object), PDF_Data_Type_Stream));
    if (stream != nullptr) {
      result = PDF_Xref_Table_Read_Stream(table, stream, file, reader);
      if (result == PDF_RESULT_OK && *trailer == nullptr) {
        result = PDF_Trailer_Create_From_Xref_Stream(trailer, file, stream);
      }
      if (result == PDF_RESULT_OK && prev != nullptr) {
        PDF_Data_Object* value = PDF_Stream_Find_Value(stream, "Prev");
        if (value != nullptr) {
          *prev = static_cast<uint64_t>(PDF_Number_Get_Long(
              static_cast<PDF_Number*>(PDF_Data_Object_Get_Direct_Value(value, PDF_Data_Type_Number))));
        }
      }
    }
  }
  if (object != nullptr) PDF_Object_Delete(&object, file, PDF_DELETE_MODE_RELEASE);
  return result;
}

}  // namespace

PDF_Result PDF_File_Read_Xref_Chain(PDF_Body** out_body, PDF_File* file, PDF_Read_Data* reader, uint64_t start, bool) {
  if (out_body == nullptr || file == nullptr || reader == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_body = nullptr;
  uint64_t position = start;
  PDF_Result result = PDF_RESULT_OK;
  if (position == 0) {
    result = PDF_Header_Find_Startxref(file, reader, &position);
    if (result != PDF_RESULT_OK) return result;
  }

  PDF_Xref_Table* table = nullptr;
  result = PDF_Xref_Table_Create(&table, file, false);
  if (result != PDF_RESULT_OK) return result;
  PDF_Trailer* trailer = nullptr;
  bool stream_read = false;
  uint64_t stream_offset = 0;
  // Every section read is noted by its position: a Prev that leads back to
  // one of them ends the chain there, as a Prev of 0 would, and an XRefStm
  // already merged is not merged again.
  PDF_Seen_Set sections = {nullptr, 0, 0, 0};
  if (!PDF_Seen_Set_Add(&sections, position)) {
    PDF_Xref_Table_Delete(&table, file);
    return PDF_RESULT_OUT_OF_MEMORY;
  }

  // The newest section: a classic table with its trailer, or a stream.
  uint64_t keyword = PDF_Xref_Table_Match_Keyword(table, reader, position);
  if (keyword != 0) {
    uint64_t used = PDF_Xref_Table_Read_Newest(table, file, reader, position + keyword);
    if (used == 0) {
      result = PDF_RESULT_MALFORMED_XREF;
    } else if (PDF_Trailer_Read(&trailer, file, reader, position + keyword + used) == 0) {
      result = PDF_RESULT_BAD_TRAILER;
    } else {
      int64_t xref_stream = PDF_Trailer_Get_XRefStm(trailer);
      if (xref_stream != 0) {
        stream_offset = static_cast<uint64_t>(xref_stream);
        result = PDF_Trailer_Clear_XRefStm(trailer, file);
      }
    }
  } else {
    stream_offset = position;
  }
  if (result == PDF_RESULT_OK && stream_offset != 0) {
    stream_read = true;
    if (stream_offset != position && !PDF_Seen_Set_Add(&sections, stream_offset)) result = PDF_RESULT_OUT_OF_MEMORY;
    if (result == PDF_RESULT_OK) result = Merge_Stream(table, &trailer, file, reader, stream_offset, nullptr);
  }

  // Older sections, newest first, until a Prev of 0 or one already read.
  uint64_t prev = result == PDF_RESULT_OK ? PDF_Trailer_Get_Prev(trailer) : 0;
  while (result == PDF_RESULT_OK && prev != 0 && !PDF_Seen_Set_Has(&sections, prev)) {
    if (!PDF_Seen_Set_Add(&sections, prev)) {
      result = PDF_RESULT_OUT_OF_MEMORY;
      break;
    }
    keyword = PDF_Xref_Table_Match_Keyword(table, reader, prev);
    if (keyword != 0) {
      uint64_t used = PDF_Xref_Table_Read_Older(table, file, reader, prev + keyword);
      PDF_Trailer* older = nullptr;
      if (used == 0 || PDF_Trailer_Read(&older, file, reader, prev + keyword + used) == 0) {
        result = PDF_RESULT_BAD_TRAILER;
        break;
      }
      stream_offset = static_cast<uint64_t>(PDF_Trailer_Get_XRefStm(older));
      prev = PDF_Trailer_Get_Prev(older);
      PDF_Trailer_Delete(&older, file);
      if (stream_offset != 0) {
        if (PDF_Seen_Set_Has(&sections, stream_offset)) {
          stream_offset = 0;
        } else if (!PDF_Seen_Set_Add(&sections, stream_offset)) {
          result = PDF_RESULT_OUT_OF_MEMORY;
          break;
        }
      }
    } else {
      stream_offset = prev;
      prev = 0;
    }
    if (stream_offset != 0) {
      stream_read = true;
      result = Merge_Stream(table, &trailer, file, reader, stream_offset, &prev);
      if (result != PDF_RESULT_OK) result = PDF_RESULT_BAD_TRAILER;
    }
  }
  PDF_Seen_Set_Release(&sections);

  if (result == PDF_RESULT_OK) result = PDF_Trailer_Clear_Prev(trailer, file);
  if (result == PDF_RESULT_OK) result = PDF_Body_Create(out_body, file, table, trailer, stream_read);
  if (result != PDF_RESULT_OK) {
    if (trailer != nullptr) PDF_Trailer_Delete(&trailer, file);
    if (table != nullptr) PDF_Xref_Table_Delete(&table, file);
  }
  return result;
}
