// The value parser over bytes in memory: the first byte chooses the tolerance
// level (0 to 4), the rest is read as a sequence of values, each copied and
// deleted again. A stream value has its data loaded and decoded.
//
// From tolerance level 2 a dictionary that can't read a value skips to the
// next "/" or ">", which lies inside the failed value when that was a nested
// dictionary. The parser remembers the positions that failed, so this costs
// a re-read per level, not a doubling (the regression input
// tolerant-nested-dictionaries-exponential once took hours).
#include <cstdint>
#include <vector>

#include "fuzz_common.h"
#include "objects/pdf_data_object.h"
#include "objects/pdf_stream.h"
#include "objects/pdf_stream_decode.h"
#include "reader/pdf_file.h"
#include "reader/pdf_read_data.h"
#include "reader/pdf_xref_table.h"

namespace {

void Parse(const uint8_t* data, size_t size) {
  Fuzz_Allocator allocator;
  PDF_Memory memory = Fuzz_Memory(&allocator);
  PDF_File* file = nullptr;
  if (PDF_File_New(&file, &memory, nullptr) != 0) return;
  file->tolerance_level = static_cast<int8_t>(data[0] % 5);
  file->tolerant = file->tolerance_level >= 4;

  std::vector<uint8_t> bytes(data + 1, data + size);
  Fuzz_Input input{bytes.data(), bytes.size()};
  PDF_Read_Data* reader = nullptr;
  if (PDF_Read_Data_Create(&reader, &memory, Fuzz_Read, &input, nullptr) == 0) {
    uint64_t position = 0;
    for (int values = 0; values < 64 && position < bytes.size(); ++values) {
      PDF_Data_Object* value = nullptr;
      uint64_t used = PDF_Data_Object_Read(&value, file, reader, position);
      if (used == 0 || used == PDF_READ_INVALID_ARGUMENT) break;
      position += used;
      if (value == nullptr) continue;  // "0 0 R" reads as a null with no variant kept
      if (PDF_Data_Object_Get_Type(value) == PDF_Data_Type_Stream) {
        PDF_Stream* stream = static_cast<PDF_Stream*>(PDF_Data_Object_Get_Value(value));
        if (PDF_Stream_Load(stream) == 0) PDF_Stream_Decode(stream, true);
      }
      PDF_Data_Object* copy = nullptr;
      if (PDF_Data_Object_Copy(&copy, file, value, false, PDF_COPY_MODE_AS_IS) == 0) {
        PDF_Data_Object_Delete(&copy, file, PDF_DELETE_MODE_RELEASE);
      }
      PDF_Data_Object_Delete(&value, file, PDF_DELETE_MODE_RELEASE);
    }
    PDF_Read_Data_Release(&reader, &memory);
  }
  if (file->xref_table != nullptr) PDF_Body_Delete(&file->xref_table, file);
  PDF_File_Delete(&file);
  Fuzz_Reclaim(&allocator);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  Parse(data, size);
  return 0;
}
