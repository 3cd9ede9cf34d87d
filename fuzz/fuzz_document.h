// Checks that the whole-file targets make before calls that would reach a
// hazard the library keeps: an empty pdfaid conformance, which throws out of
// the level query, and an EmbeddedFiles name tree whose Kids lead back to a
// node on the way, which the search follows until the stack runs out.
#ifndef INVOICE_EXTRACT_FUZZ_DOCUMENT_H
#define INVOICE_EXTRACT_FUZZ_DOCUMENT_H

#include <exempi/xmp.h>

#include <set>
#include <utility>
#include <vector>

#include "document/pdf_catalog.h"
#include "objects/pdf_array.h"
#include "objects/pdf_data_object.h"
#include "objects/pdf_dictionary.h"
#include "objects/pdf_object.h"
#include "objects/pdf_stream.h"
#include "reader/pdf_file.h"
#include "xmp/pdf_xmp.h"

// Whether the level query of this file would meet a present and empty
// conformance. Reads the metadata stream through the same path as the query
// (which decodes it in place, as the query would).
inline bool Fuzz_Conformance_Is_Empty(PDF_File* file) {
  if (file == nullptr) return false;
  if (file->encrypted != 0 && file->key == nullptr) return false;
  PDF_Object* metadata = PDF_Catalog_Get_Metadata(PDF_File_Get_Catalog(file), file);
  PDF_Data_Object* value = PDF_Object_Get_Value(metadata);
  if (value == nullptr) return false;
  PDF_Stream* stream = static_cast<PDF_Stream*>(PDF_Data_Object_Get_Typed_Value(value, PDF_Data_Type_Stream));
  if (stream == nullptr) return false;
  PDF_XMP* xmp = nullptr;
  if (PDF_XMP_Create_From_Stream(&xmp, file->memory, stream) != 0 || xmp == nullptr) return false;
  bool empty = false;
  XmpStringPtr part = xmp_string_new();
  XmpStringPtr conformance = xmp_string_new();
  if (xmp_get_property(xmp->meta, PDF_XMP_NS_PDFA_ID, "part", part, nullptr) &&
      xmp_get_property(xmp->meta, PDF_XMP_NS_PDFA_ID, "conformance", conformance, nullptr)) {
    empty = xmp_string_len(conformance) == 0;
  }
  xmp_string_free(part);
  xmp_string_free(conformance);
  PDF_XMP_Delete(&xmp, file->memory);
  return empty;
}

// Whether the search of the EmbeddedFiles tree could come back to a node it
// is inside of (walked without recursion, in the search's order; deeper than
// max_depth counts as such too).
inline bool Fuzz_Name_Tree_Loops(PDF_File* file, size_t max_depth = 10000) {
  PDF_Dictionary* names = PDF_Catalog_Get_Names(PDF_File_Get_Catalog(file));
  if (names == nullptr) return false;
  PDF_Dictionary* root = static_cast<PDF_Dictionary*>(
      PDF_Data_Object_Get_Typed_Value(PDF_Dictionary_Find_Value(names, "EmbeddedFiles"), PDF_Data_Type_Dictionary));
  if (root == nullptr) return false;
  // Each frame: a node and the index of its next kid.
  std::vector<std::pair<PDF_Dictionary*, uint32_t>> path{{root, 0}};
  std::set<PDF_Dictionary*> on_path{root};
  while (!path.empty()) {
    if (path.size() > max_depth) return true;
    PDF_Dictionary* node = path.back().first;
    PDF_Array* kids = static_cast<PDF_Array*>(
        PDF_Data_Object_Get_Typed_Value(PDF_Dictionary_Find_Value(node, "Kids"), PDF_Data_Type_Array));
    uint32_t index = path.back().second;
    if (kids == nullptr || index >= PDF_Array_Get_Count(kids)) {
      on_path.erase(node);
      path.pop_back();
      continue;
    }
    path.back().second += 1;
    PDF_Dictionary* kid = static_cast<PDF_Dictionary*>(
        PDF_Data_Object_Get_Typed_Value(PDF_Array_Get_Value(kids, index), PDF_Data_Type_Dictionary));
    if (kid == nullptr) return false;  // the search ends here
    if (on_path.count(kid) != 0) return true;
    on_path.insert(kid);
    path.emplace_back(kid, 0);
  }
  return false;
}

#endif
