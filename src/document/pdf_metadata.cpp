#include "document/pdf_metadata.h"

#include <cstring>

#include "document/pdf_catalog.h"
#include "filters/pdf_stream.h"
#include "objects/pdf_data_object.h"
#include "xmp/pdf_xmp.h"

// The no-key state: encrypted, and no key installed.
static bool Has_No_Key(const PDF_File* file) { return file->encrypted != 0 && file->key == nullptr; }

// The catalog's metadata stream, or null.
static PDF_Stream* Metadata_Stream(PDF_File* file) {
  PDF_Object* metadata = PDF_Catalog_Get_Metadata(PDF_File_Get_Catalog(file), file);
  PDF_Data_Object* value = PDF_Object_Get_Value(metadata);
  if (value == nullptr) return nullptr;
  return static_cast<PDF_Stream*>(PDF_Data_Object_Get_Typed_Value(value, PDF_Object_Type_Stream));
}

PDF_Result PDF_File_Get_Pdfa_Level(PDF_File* file, uint32_t* out_part, char* out_conformance,
                                   int32_t* out_flavour) {
  if (file == nullptr || out_part == nullptr || out_conformance == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_part = 0;
  *out_conformance = 0;
  if (out_flavour != nullptr) *out_flavour = 0;
  file->metadata_failure = 0;
  // An encrypted document reads as no PDF/A at all, with success.
  if (Has_No_Key(file)) return PDF_RESULT_OK;
  PDF_Stream* stream = Metadata_Stream(file);
  if (stream == nullptr) return PDF_RESULT_OK;

  PDF_XMP* xmp = nullptr;
  PDF_Result result = PDF_XMP_Create_From_Stream(&xmp, file->memory, stream);
  if (result != PDF_RESULT_OK) {
    if (!file->tolerant) return result;
    // Tolerant: remember the failure; the catalog shows no metadata from now
    // on, until the next level query clears it.
    file->metadata_failure = result;
  }
  PDF_Pdfa_Flavour flavour = PDF_XMP_Get_Pdfa_Level(xmp, out_part, out_conformance);
  if (flavour == 0) {
    *out_part = 0;
    *out_conformance = 0;
  }
  if (out_flavour != nullptr) *out_flavour = flavour;
  if (xmp != nullptr) PDF_XMP_Delete(&xmp, file->memory);
  // An unknown pair keeps the part and letter that were read.
  return flavour == -1 ? PDF_RESULT_UNKNOWN_PDFA : PDF_RESULT_OK;
}

PDF_Result PDF_File_Get_Metadata_Property(PDF_File* file, const char* name_space, const char* name, char* buffer,
                                          uint64_t* in_out_size) {
  if (file == nullptr || name_space == nullptr || name == nullptr || in_out_size == nullptr) {
    return PDF_RESULT_INVALID_ARGUMENT;
  }
  if (Has_No_Key(file)) return PDF_RESULT_NO_KEY;
  uint64_t capacity = *in_out_size;
  *in_out_size = 0;
  PDF_Stream* stream = Metadata_Stream(file);
  if (stream == nullptr) return PDF_RESULT_OK;

  PDF_XMP* xmp = nullptr;
  PDF_Result result = PDF_XMP_Create_From_Stream(&xmp, file->memory, stream);
  if (result != PDF_RESULT_OK) return result;
  const char* text = nullptr;
  uint64_t length = 0;
  result = PDF_XMP_Get_Property(xmp, name_space, name, &text, &length);
  if (result == PDF_RESULT_OK) {
    *in_out_size = length;
    if (length != 0) {
      if (capacity >= length) {
        memcpy(buffer, text, length);
        // A value that fills the buffer exactly gets no terminator.
        if (capacity > length) buffer[length] = '\0';
      } else {
        result = PDF_RESULT_BUFFER_TOO_SMALL;
      }
    }
  }
  PDF_XMP_Delete(&xmp, file->memory);
  return result;
}
