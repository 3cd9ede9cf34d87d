// The XMP bridge over a packet: the level query and the property queries
// that identification makes, and a few shapes of property.
//
// A present and empty conformance makes the level query throw
// std::out_of_range by design; that exception is caught here, checked to come
// from that case alone, and ends the input.
#include <exempi/xmp.h>

#include <cstdint>
#include <stdexcept>
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
  try {
    PDF_XMP_Get_Pdfa_Level(xmp, &part, &conformance);
  } catch (const std::out_of_range&) {
    XmpStringPtr value = xmp_string_new();
    bool empty =
        xmp_get_property(xmp->meta, PDF_XMP_NS_PDFA_ID, "conformance", value, nullptr) && xmp_string_len(value) == 0;
    xmp_string_free(value);
    if (!empty) __builtin_trap();  // thrown for another reason: a finding
    PDF_XMP_Delete(&xmp, &memory);
    return 0;
  }
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
