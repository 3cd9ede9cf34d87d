#include "reader/pdf_header.h"
#include "runtime/pdf_memory.h"
#include "runtime/pdf_message.h"

#include <cmath>

#include "reader/pdf_file.h"
#include "reader/pdf_read_data.h"

PDF_Result PDF_Header_Create(PDF_Header** out_header, PDF_File* file, int8_t level) {
  if (out_header == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_header = nullptr;
  if (level > 6) return PDF_RESULT_BAD_HEADER_LEVEL;
  PDF_Memory* memory = file != nullptr ? file->memory : nullptr;
  PDF_Header* header = static_cast<PDF_Header*>(PDF_Memory_Alloc(memory, sizeof(PDF_Header)));
  if (header == nullptr) {
    PDF_Message_Report(file != nullptr ? file->message : nullptr, PDF_RESULT_OUT_OF_MEMORY, PDF_LEVEL_RESOURCE,
                       "Unable to allocate memory for Header!");
    return PDF_RESULT_OUT_OF_MEMORY;
  }
  header->level = level;
  header->second = 23;
  *out_header = header;
  return PDF_RESULT_OK;
}

uint64_t PDF_Header_Read(PDF_Header** out_header, PDF_File* file, PDF_Read_Data* reader, uint64_t position) {
  if (out_header == nullptr || file == nullptr) return 0;
  *out_header = nullptr;
  // The first number that can be read at or after the position decides; a
  // "%PDF-" line is a comment to the number reader and is passed over.
  double value = 0.0;
  uint8_t decimals = 0;
  uint64_t offset = position;
  uint64_t used = 0;
  for (;; ++offset) {
    used = PDF_Read_Data_Read_Number(reader, &value, &decimals, offset);
    if (used != 0) break;
    if (offset == position + 1025) return 0;
  }
  value = std::fabs(value);
  // Kept: below 1.4 is level 4, above is 5 and exactly 1.4 is 0, so 1.5 to
  // 1.7 all read as 5 and only 1.4 itself gives 0. The number is the first
  // one after the comment line "%PDF-...", not the version written in it, so
  // the level says nothing reliable about the version; the open falls back on
  // level 4 when no number is read.
  int8_t level = 0;
  if (value < 1.4) {
    level = 4;
  } else if (value > 1.4) {
    level = 5;
  }
  if (PDF_Header_Create(out_header, file, level) != PDF_RESULT_OK) return 0;
  file->header_level = static_cast<uint8_t>(level);
  return offset - position + used;
}

PDF_Result PDF_Header_Delete(PDF_Header** holder, PDF_File* file) {
  if (holder == nullptr || *holder == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  return PDF_Memory_Free(file->memory, holder);
}
