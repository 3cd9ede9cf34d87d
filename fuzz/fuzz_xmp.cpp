// The XMP bridge over a packet: the level query and the property queries
// that identification makes, and a few shapes of property. Nothing may
// throw out of the bridge.

#include <cstdint>
#include <string>

#include "front/zugf_identify.h"
#include "fuzz_common.h"
#include "xmp/pdf_xmp.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Fuzz_Allocator allocator;
  PDF_Memory memory = Fuzz_Memory(&allocator);
  PDF_XMP* xmp = nullptr;
  if (PDF_XMP_Create(&xmp, &memory, data, static_cast<uint32_t>(size)) != 0) {
    if (xmp != nullptr || allocator.live_blocks != 0) __builtin_trap();
    return 0;
  }
  uint32_t part = 0;
  char conformance = 0;
  PDF_XMP_Get_Pdfa_Level(xmp, &part, &conformance);
  const char* text = nullptr;
  uint64_t length = 0;
  for (const char* name_space : ZUGF_Namespace_Table) {
    PDF_XMP_Get_Property(xmp, name_space, "DocumentType", &text, &length);
    PDF_XMP_Get_Property(xmp, name_space, "DocumentFileName", &text, &length);
    PDF_XMP_Get_Property(xmp, name_space, "Version", &text, &length);
  }
  PDF_XMP_Get_Property(xmp, "http://purl.org/dc/elements/1.1/", "title", &text, &length);
  PDF_XMP_Get_Property(xmp, "http://purl.org/dc/elements/1.1/", "creator", &text, &length);
  PDF_XMP_Get_Property(xmp, "http://www.aiim.org/pdfa/ns/extension/", "schemas", &text, &length);
  PDF_XMP_Delete(&xmp, &memory);
  if (allocator.live_blocks != 0) __builtin_trap();
  return 0;
}
