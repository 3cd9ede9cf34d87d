#include "document/pdf_metadata.h"

#include <cstring>

#include "document/pdf_catalog.h"
#include "objects/pdf_data_object.h"
#include "objects/pdf_object.h"
#include "objects/pdf_stream.h"
#include "objects/pdf_stream_decode.h"
#include "reader/pdf_file.h"
#include "runtime/pdf_memory.h"
#include "xmp/pdf_xmp.h"

// The no-key state: encrypted, and no key installed.
static bool Has_No_Key(const PDF_File* file) { return file->encrypted != 0 && file->key == nullptr; }

// The catalog's metadata stream, or null.
static PDF_Stream* Metadata_Stream(PDF_File* file) {
  PDF_Object* metadata = PDF_Catalog_Get_Metadata(PDF_File_Get_Catalog(file), file);
  PDF_Data_Object* value = PDF_Object_Get_Value(metadata);
  if (value == nullptr) return nullptr;
  return static_cast<PDF_Stream*>(PDF_Data_Object_Get_Typed_Value(value, PDF_Data_Type_Stream));
}

// Keeps a record that parsed from these bytes in place of the one kept
// before. false, with nothing kept, when there is no memory for it: the
// caller then deletes the record after use.
static bool Keep_Packet(PDF_File* file, PDF_XMP* xmp, const uint8_t* bytes, uint32_t length) {
  PDF_Metadata_Cache* cache = file->metadata_cache;
  if (cache == nullptr) {
    cache = PDF_Memory_Alloc_Zeroed<PDF_Metadata_Cache>(file->memory);
    if (cache == nullptr) return false;
    file->metadata_cache = cache;
    file->release_metadata_cache = PDF_File_Release_Metadata_Cache;
  }
  uint8_t* copy = static_cast<uint8_t*>(PDF_Memory_Alloc(file->memory, length == 0 ? 1 : length));
  if (copy == nullptr) return false;
  memcpy(copy, bytes, length);
  if (cache->xmp != nullptr) PDF_XMP_Delete(&cache->xmp, file->memory);
  if (cache->bytes != nullptr) PDF_Memory_Free(file->memory, &cache->bytes);
  cache->xmp = xmp;
  cache->bytes = copy;
  cache->length = length;
  return true;
}

// PDF_XMP_Create_From_Stream, with the packet parsed before when the stream's
// bytes are those parsed then. *out_kept tells that the record belongs to the
// file's cache; otherwise the caller deletes it.
static PDF_Result Open_Packet(PDF_File* file, PDF_Stream* stream, PDF_XMP** out_xmp, bool* out_kept) {
  *out_kept = false;
  // Decoding changes the length: the data first, the length after it. A
  // stream that can't be loaded or decoded gives no bytes and so an empty
  // record, which is cheap and isn't kept.
  const uint8_t* bytes = PDF_Stream_Get_Data(stream);
  uint32_t length = static_cast<uint32_t>(PDF_Stream_Get_Length(stream));
  PDF_Metadata_Cache* cache = file->metadata_cache;
  if (bytes != nullptr && cache != nullptr && cache->xmp != nullptr && cache->length == length &&
      memcmp(cache->bytes, bytes, length) == 0) {
    // The toolkit's parse depends on the bytes alone: the same bytes give the
    // same record.
    *out_xmp = cache->xmp;
    *out_kept = true;
    return PDF_RESULT_OK;
  }
  PDF_Result result = PDF_XMP_Create(out_xmp, file->memory, bytes, length);
  if (result == PDF_RESULT_OK && bytes != nullptr) *out_kept = Keep_Packet(file, *out_xmp, bytes, length);
  return result;
}

PDF_Result PDF_File_Get_Pdfa_Level(PDF_File* file, uint32_t* out_part, char* out_conformance, int32_t* out_flavour) {
  if (file == nullptr || out_part == nullptr || out_conformance == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_part = 0;
  *out_conformance = 0;
  if (out_flavour != nullptr) *out_flavour = 0;
  file->metadata_failure = 0;
  // Kept: an encrypted document reads as no PDF/A at all, with success, so
  // that the front end answers "not PDF/A-3" for every encrypted file.
  if (Has_No_Key(file)) return PDF_RESULT_OK;
  PDF_Stream* stream = Metadata_Stream(file);
  if (stream == nullptr) return PDF_RESULT_OK;

  PDF_XMP* xmp = nullptr;
  bool kept = false;
  PDF_Result result = Open_Packet(file, stream, &xmp, &kept);
  if (result != PDF_RESULT_OK) {
    if (!file->tolerant) return result;
    // Kept: tolerant, the failure is remembered and the catalog shows no
    // metadata from now on, until the next level query clears it; the
    // property query then finds nothing instead of failing again.
    file->metadata_failure = result;
  }
  // Throws std::out_of_range for an empty conformance (see PDF_XMP_Get_Pdfa_Level).
  PDF_Pdfa_Flavour flavour = PDF_XMP_Get_Pdfa_Level(xmp, out_part, out_conformance);
  if (flavour == 0) {
    *out_part = 0;
    *out_conformance = 0;
  }
  if (out_flavour != nullptr) *out_flavour = flavour;
  if (xmp != nullptr && !kept) PDF_XMP_Delete(&xmp, file->memory);
  // Kept: an unknown pair keeps the part and letter that were read, so that
  // a part of 4 comes back as 4 beside the failure.
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
  bool kept = false;
  PDF_Result result = Open_Packet(file, stream, &xmp, &kept);
  if (result != PDF_RESULT_OK) return result;
  const char* text = nullptr;
  uint64_t length = 0;
  result = PDF_XMP_Get_Property(xmp, name_space, name, &text, &length);
  if (result == PDF_RESULT_OK) {
    *in_out_size = length;
    if (length != 0) {
      if (capacity >= length) {
        memcpy(buffer, text, length);
        // Kept: a value that fills the buffer exactly is copied without a
        // terminator and still succeeds; callers compare by the size.
        if (capacity > length) buffer[length] = '\0';
      } else {
        result = PDF_RESULT_BUFFER_TOO_SMALL;
      }
    }
  }
  if (!kept) PDF_XMP_Delete(&xmp, file->memory);
  return result;
}

PDF_Result PDF_File_Release_Metadata_Cache(PDF_File* file) {
  if (file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Metadata_Cache* cache = file->metadata_cache;
  if (cache == nullptr) return PDF_RESULT_OK;
  PDF_Result result = PDF_RESULT_OK;
  if (cache->xmp != nullptr) result = PDF_XMP_Delete(&cache->xmp, file->memory);
  if (cache->bytes != nullptr) PDF_Memory_Free(file->memory, &cache->bytes);
  PDF_Result released = PDF_Memory_Free(file->memory, &file->metadata_cache);
  return result != PDF_RESULT_OK ? result : released;
}
