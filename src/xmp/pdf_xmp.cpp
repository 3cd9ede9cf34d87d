#include "xmp/pdf_xmp.h"
#include "runtime/pdf_memory.h"

#include <cstdlib>
#include <memory>
#include <type_traits>

#include "objects/pdf_stream.h"
#include "objects/pdf_stream_decode.h"
#include "xmp/pdf_xmp_lock.h"

const char PDF_XMP_NS_PDFA_ID[] = "http://www.aiim.org/pdfa/ns/id/";

namespace {

// Option bits of the toolkit's property and iterator calls.
const uint32_t XMP_OPTION_VALUE_IS_STRUCT = 0x100;
const uint32_t XMP_OPTION_VALUE_IS_ARRAY = 0x200;
const uint32_t XMP_OPTION_ARRAY_IS_ALT_TEXT = 0x1000;
const uint32_t XMP_OPTION_COMPOSITE_MASK = 0x1F00;
const uint32_t XMP_OPTION_SCHEMA_NODE = 0x80000000u;

// Toolkit strings and iterators, released when they go out of scope, so that
// nothing stays behind when a call fails half way.
typedef std::unique_ptr<std::remove_pointer<XmpStringPtr>::type, void (*)(XmpStringPtr)> Xmp_String_Holder;
typedef std::unique_ptr<std::remove_pointer<XmpIteratorPtr>::type, bool (*)(XmpIteratorPtr)> Xmp_Iterator_Holder;

Xmp_String_Holder New_Xmp_String() { return Xmp_String_Holder(xmp_string_new(), xmp_string_free); }

void Assign_Xmp_String(std::string* target, XmpStringPtr source) {
  target->assign(xmp_string_cstr(source), xmp_string_len(source));
}

// The toolkit is initialised once for the process, by the first record, and
// never terminated: setting it up and tearing it down around every query
// cost more than the query. Guarded by the process-wide mutex.
bool toolkit_ready = false;

// Makes sure that the toolkit is initialised. Only a failure that the toolkit
// reports as an error counts; a plain false answer is not used, but the next
// record tries again.
bool Initialize_Toolkit() {
  bool ok = true;
  PDF_XMP_Lock();
  if (!toolkit_ready) {
    try {
      if (xmp_init()) {
        toolkit_ready = true;
      } else if (xmp_get_error() != 0) {
        ok = false;
      }
    } catch (...) {
      ok = false;
    }
  }
  PDF_XMP_Unlock();
  return ok;
}

// Reads one simple property: 1 found, 0 absent, -1 the toolkit failed.
int Read_Property(XmpPtr meta, const char* name_space, const char* name, std::string* out_value) {
  Xmp_String_Holder value = New_Xmp_String();
  if (!value) return -1;
  if (!xmp_get_property(meta, name_space, name, value.get(), nullptr)) {
    return xmp_get_error() != 0 ? -1 : 0;
  }
  Assign_Xmp_String(out_value, value.get());
  return 1;
}

struct Pdfa_Flavour_Row {
  const char* part;
  const char* conformance;
  PDF_Pdfa_Flavour flavour;
};

const Pdfa_Flavour_Row pdfa_flavours[] = {
    {"1", "A", PDF_PDFA_1A}, {"1", "B", PDF_PDFA_1B}, {"2", "A", PDF_PDFA_2A}, {"2", "U", PDF_PDFA_2U},
    {"2", "B", PDF_PDFA_2B}, {"3", "A", PDF_PDFA_3A}, {"3", "U", PDF_PDFA_3U}, {"3", "B", PDF_PDFA_3B},
};

}  // namespace

PDF_Result PDF_XMP_Create(PDF_XMP** out_xmp, PDF_Memory* memory, const void* bytes, uint32_t length) {
  if (out_xmp == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_xmp = nullptr;
  if (!Initialize_Toolkit()) return PDF_RESULT_INVALID_ARGUMENT;

  PDF_XMP* xmp = PDF_Memory_Alloc_Zeroed<PDF_XMP>(memory);
  if (xmp == nullptr) {
    PDF_XMP_Delete(&xmp, memory);  // finds nothing to release
    return PDF_RESULT_OUT_OF_MEMORY;
  }
  xmp->memory = memory;
  xmp->date = PDF_Memory_Alloc_Zeroed<PDF_Pdf_Date>(memory);
  if (xmp->date == nullptr) {
    PDF_XMP_Delete(&xmp, memory);
    return PDF_RESULT_OUT_OF_MEMORY;
  }

  bool made = true;
  try {
    xmp->meta = xmp_new_empty();
    xmp->text = new std::string();
  } catch (...) {
    made = false;
  }
  if (!made || xmp->meta == nullptr) {
    PDF_XMP_Delete(&xmp, memory);
    return PDF_RESULT_INVALID_ARGUMENT;
  }

  if (bytes != nullptr) {
    XmpPtr parsed = nullptr;
    try {
      parsed = xmp_new(static_cast<const char*>(bytes), length);
    } catch (...) {
      parsed = nullptr;
    }
    if (parsed == nullptr) {
      PDF_XMP_Delete(&xmp, memory);
      return PDF_RESULT_XMP_REJECTED;
    }
    xmp_free(xmp->meta);
    xmp->meta = parsed;
  }

  *out_xmp = xmp;
  return PDF_RESULT_OK;
}

PDF_Result PDF_XMP_Create_From_Stream(PDF_XMP** out_xmp, PDF_Memory* memory, PDF_Stream* stream) {
  const uint8_t* bytes = nullptr;
  uint64_t length = 0;
  if (stream != nullptr) {
    // Decoding changes the length: the data first, the length after it. A
    // stream that can't be loaded or decoded gives no bytes.
    bytes = PDF_Stream_Get_Data(stream);
    length = PDF_Stream_Get_Length(stream);
  }
  return PDF_XMP_Create(out_xmp, memory, bytes, static_cast<uint32_t>(length));
}

PDF_Result PDF_XMP_Delete(PDF_XMP** holder, PDF_Memory* memory) {
  if (holder == nullptr || *holder == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_XMP* xmp = *holder;
  if (xmp->meta != nullptr) {
    xmp_free(xmp->meta);
    xmp->meta = nullptr;
  }
  if (xmp->text != nullptr) {
    delete xmp->text;
    xmp->text = nullptr;
  }
  if (xmp->date != nullptr) PDF_Memory_Free(memory, &xmp->date);
  // The toolkit stays initialised for the next record.
  return PDF_Memory_Free(memory, holder);
}

PDF_Pdfa_Flavour PDF_XMP_Get_Pdfa_Level(PDF_XMP* xmp, uint32_t* out_part, char* out_conformance) {
  if (xmp == nullptr) return PDF_PDFA_NONE;
  if (out_part != nullptr) *out_part = 0;
  if (out_conformance != nullptr) *out_conformance = 0;

  std::string part;
  std::string conformance;
  try {
    int found = Read_Property(xmp->meta, PDF_XMP_NS_PDFA_ID, "part", &part);
    if (found <= 0) return found < 0 ? PDF_PDFA_UNKNOWN : PDF_PDFA_NONE;
    found = Read_Property(xmp->meta, PDF_XMP_NS_PDFA_ID, "conformance", &conformance);
    if (found <= 0) return found < 0 ? PDF_PDFA_UNKNOWN : PDF_PDFA_NONE;
  } catch (...) {
    return PDF_PDFA_UNKNOWN;
  }

  // An empty conformance stores no letter, and matches no row below: an
  // unknown level like any other.
  if (out_part != nullptr) *out_part = static_cast<uint32_t>(atol(part.c_str()));
  if (out_conformance != nullptr) *out_conformance = conformance.empty() ? 0 : conformance[0];

  // Kept: exact comparison, with no trimming, no case folding and no numeric
  // reading, so that " 3" or "03" (stored as part 3 above) and "b" are
  // unknown pairs, as they have always been.
  for (const Pdfa_Flavour_Row& row : pdfa_flavours) {
    if (part == row.part && conformance == row.conformance) return row.flavour;
  }
  return PDF_PDFA_UNKNOWN;
}

bool PDF_XMP_Get_Text(PDF_XMP* xmp, const char* name_space, const char* name, std::string* out_string) {
  if (xmp == nullptr || out_string == nullptr) return false;
  try {
    out_string->clear();
    if (name_space == nullptr || name == nullptr) return false;

    // The toolkit knows a namespace only once a packet has used it.
    Xmp_String_Holder prefix = New_Xmp_String();
    if (!prefix || !xmp_namespace_prefix(name_space, prefix.get())) return false;
    Assign_Xmp_String(out_string, prefix.get());
    if (!xmp_has_property(xmp->meta, name_space, name)) return false;

    Xmp_String_Holder value = New_Xmp_String();
    uint32_t options = 0;
    if (!value || !xmp_get_property(xmp->meta, name_space, name, value.get(), &options)) return false;
    Assign_Xmp_String(out_string, value.get());

    if ((options & XMP_OPTION_VALUE_IS_ARRAY) != 0 && (options & XMP_OPTION_ARRAY_IS_ALT_TEXT) != 0) {
      Xmp_String_Holder item = New_Xmp_String();
      if (!item) return false;
      if (xmp_get_localized_text(xmp->meta, name_space, name, nullptr, "x-default", nullptr, item.get(), nullptr)) {
        Assign_Xmp_String(out_string, item.get());
      }
      return true;
    }
    if ((options & (XMP_OPTION_VALUE_IS_ARRAY | XMP_OPTION_VALUE_IS_STRUCT)) == 0) return true;

    // Arrays and structs: the leaf values, joined; qualifiers are left out.
    out_string->clear();
    Xmp_Iterator_Holder iterator(xmp_iterator_new(xmp->meta, name_space, name, XMP_ITER_OMITQUALIFIERS),
                                 xmp_iterator_free);
    if (!iterator) return false;
    uint32_t item_options = 0;
    while (xmp_iterator_next(iterator.get(), nullptr, nullptr, value.get(), &item_options)) {
      if ((item_options & XMP_OPTION_SCHEMA_NODE) != 0 || (item_options & XMP_OPTION_COMPOSITE_MASK) != 0) {
        continue;
      }
      if (!out_string->empty()) out_string->append(", ");
      out_string->append(xmp_string_cstr(value.get()), xmp_string_len(value.get()));
    }
    return true;
  } catch (...) {
    return false;
  }
}

PDF_Result PDF_XMP_Get_Property(PDF_XMP* xmp, const char* name_space, const char* name, const char** out_text,
                                uint64_t* out_length) {
  if (xmp == nullptr || out_text == nullptr || out_length == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_text = nullptr;
  *out_length = 0;
  if (!PDF_XMP_Get_Text(xmp, name_space, name, xmp->text)) return PDF_RESULT_OK;
  *out_text = xmp->text->c_str();
  *out_length = xmp->text->size();
  return PDF_RESULT_OK;
}
