// The cross-reference readers: the first byte chooses the tolerance level (0
// to 4), the rest is the file. The open walks the classic tables, trailers,
// cross-reference streams and the Prev chain; then every entry of the table is
// looked up, which loads compressed objects out of their object streams, and
// each object's value is loaded.
#include <cstdint>

#include "fuzz_common.h"
#include "objects/pdf_object.h"
#include "reader/pdf_file.h"
#include "reader/pdf_read_data.h"
#include "reader/pdf_xref_table.h"

namespace {

void Walk(const uint8_t* data, size_t size) {
  Fuzz_Allocator allocator;
  PDF_Memory memory = Fuzz_Memory(&allocator);
  Fuzz_Input input{data + 1, size - 1};
  PDF_Read_Data* reader = nullptr;
  if (PDF_Read_Data_Create(&reader, &memory, Fuzz_Read, &input, nullptr) != 0) return;
  PDF_File* file = nullptr;
  if (PDF_File_Open(&file, &memory, reader, nullptr, static_cast<int8_t>(data[0] % 5)) == 0 && file != nullptr) {
    PDF_Body* body = file->xref_table;
    uint32_t lookups = 0;
    for (PDF_Xref_Section* section = body != nullptr && body->table != nullptr ? body->table->first_section : nullptr;
         section != nullptr && lookups < 4096; section = section->next) {
      uint32_t first = static_cast<uint32_t>(PDF_Number_Get_Long(section->first_number));
      uint32_t count = static_cast<uint32_t>(PDF_Number_Get_Long(section->count));
      for (uint32_t i = 0; i < count && lookups < 4096; ++i, ++lookups) {
        PDF_Object* object = PDF_Body_Find_Object(body, first + i, 0);
        if (object != nullptr) PDF_Object_Load(object);
      }
    }
    PDF_File_Delete(&file);
  }
  PDF_Read_Data_Release(&reader, &memory);
  Fuzz_Reclaim(&allocator);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  Walk(data, size);
  return 0;
}
