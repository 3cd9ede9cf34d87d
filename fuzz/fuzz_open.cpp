// The whole path of the exported calls over a file in memory: the first byte
// chooses the tolerance level (0 to 4), the rest is the PDF. The document is
// opened, its PDF/A level read, the invoice identified, and the embedded file
// (the invoice, or a file of that name found without the metadata) decoded
// and read.
#include <cstdint>
#include <cstdlib>

#include "document/pdf_document.h"
#include "document/pdf_embedded_file.h"
#include "front/zugf_identify.h"
#include "front/zugf_process.h"
#include "fuzz_common.h"

namespace {

int32_t Ignore_Message(const char*, int32_t, int32_t, void*) { return 0; }

void Read_Embedded(PDF_Document* document, uint32_t id) {
  if (PDF_Document_Decode_Embedded_File(document, id) != 0) return;
  PDF_Embedded_File_Info info = {};
  if (PDF_Document_Get_Embedded_File_Info(document, id, &info) != 0) return;
  if (info.filter_count != 0) return;
  void* block = malloc(info.length == 0 ? 1 : info.length);
  if (block == nullptr) return;
  PDF_Document_Read_Embedded_File(document, id, block);
  free(block);
}

void Open(const uint8_t* data, size_t size) {
  Fuzz_Allocator allocator;
  Fuzz_Input input{data + 1, size - 1};
  int8_t level = static_cast<int8_t>(data[0] % 5);
  PDF_Document* document = nullptr;
  if (PDF_Document_Create(&document, Fuzz_Alloc, &allocator, Fuzz_Free, &allocator, Fuzz_Read, &input, Ignore_Message,
                          nullptr, level) == 0) {
    PDF_Document_Check_Licence(document);
    uint32_t part = 0;
    char conformance = 0;
    int32_t flavour = 0;
    PDF_Document_Get_Pdfa_Level(document, &part, &conformance, &flavour);
    ZUGF_Context context = {};
    context.document = document;
    const uint32_t three = 3;  // past the part test, whatever the file says
    ZUGF_Identify_Invoice(&context, &three);
    uint32_t id = context.invoice_object_id;
    if (id == 0) PDF_Document_Find_Embedded_File(document, "ZUGFeRD-invoice.xml", 19, PDF_NAME_UTF8, &id);
    if (id != 0) Read_Embedded(document, id);
    PDF_Document_Release(&document);
  }
  Fuzz_Reclaim(&allocator);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  Open(data, size);
  return 0;
}
