#include "document/pdf_catalog.h"

#include "objects/pdf_array.h"
#include "objects/pdf_data_object.h"
#include "objects/pdf_dictionary.h"
#include "objects/pdf_object.h"
#include "objects/pdf_object_reference.h"
#include "objects/pdf_string.h"
#include "reader/pdf_file.h"
#include "reader/pdf_trailer.h"
#include "reader/pdf_xref_table.h"
#include "runtime/pdf_limits.h"
#include "runtime/pdf_seen_set.h"
#include "text/pdf_text.h"

PDF_Dictionary* PDF_Catalog_Get_Dictionary(PDF_Object* catalog) {
  if (PDF_Object_Get_Type(catalog) != PDF_Object_Type_Catalog) return nullptr;
  return static_cast<PDF_Dictionary*>(
      PDF_Data_Object_Get_Direct_Value(PDF_Object_Get_Value(catalog), PDF_Data_Type_Dictionary));
}

PDF_Dictionary* PDF_Catalog_Get_Names(PDF_Object* catalog) {
  if (catalog == nullptr) return nullptr;
  PDF_Data_Object* names = PDF_Dictionary_Find_Value(PDF_Catalog_Get_Dictionary(catalog), "Names");
  return static_cast<PDF_Dictionary*>(PDF_Data_Object_Get_Typed_Value(names, PDF_Data_Type_Dictionary));
}

PDF_Object* PDF_Catalog_Get_Metadata(PDF_Object* catalog, PDF_File* file) {
  // Kept: once a tolerant read of the metadata has failed, the catalog has
  // none, so every later query answers "no metadata" rather than failing
  // again on the same packet.
  if (catalog == nullptr || (file != nullptr && file->metadata_failure != 0)) return nullptr;
  PDF_Data_Object* metadata = PDF_Dictionary_Find_Value(PDF_Catalog_Get_Dictionary(catalog), "Metadata");
  // Kept: unlike Names, Metadata must be a reference; a direct dictionary
  // counts as no metadata at all, and such a file reads as no PDF/A.
  PDF_Object_Reference* reference =
      static_cast<PDF_Object_Reference*>(PDF_Data_Object_Get_Direct_Value(metadata, PDF_Data_Type_Reference));
  return PDF_Object_Reference_Get_Object(reference);
}

PDF_Object* PDF_File_Get_Catalog(PDF_File* file) {
  if (file == nullptr || file->xref_table == nullptr) return nullptr;
  PDF_Data_Object* root = PDF_Trailer_Get_Root(file->xref_table->trailer);
  PDF_Object_Reference* reference =
      static_cast<PDF_Object_Reference*>(PDF_Data_Object_Get_Direct_Value(root, PDF_Data_Type_Reference));
  return PDF_Object_Reference_Get_Object(reference);
}

PDF_Object* PDF_Names_Find_Embedded_File(PDF_Dictionary* names, const char* name) {
  if (names == nullptr) return nullptr;
  PDF_Data_Object* files = PDF_Dictionary_Find_Value(names, "EmbeddedFiles");
  PDF_Dictionary* root = static_cast<PDF_Dictionary*>(PDF_Data_Object_Get_Typed_Value(files, PDF_Data_Type_Dictionary));
  if (root == nullptr) return nullptr;
  return PDF_Name_Tree_Find(root, name);
}

// Kept: not the search that name trees define. The keys of the tree are
// never compared and Limits is never read: each value is opened and its F
// entry compared with the name, linearly in array order, so a name held only
// in UF or only as the key is not found, and the first F that matches wins.
// Which attachment an invoice check finds depends on exactly this.
// Each node is searched once: a node met again, through a Kids entry that
// leads back up the tree or to a node already searched, can hold no match
// that the first search missed, and is passed over. A node deeper than the
// nesting limit is damaged: nothing is found below it.
static PDF_Object* Find_In_Node(PDF_Dictionary* node, const char* name, uint64_t length, PDF_Seen_Set* seen,
                                uint32_t depth) {
  if (node == nullptr || depth >= PDF_NESTING_LIMIT) return nullptr;
  if (!PDF_Seen_Set_Add(seen, reinterpret_cast<uintptr_t>(node))) return nullptr;
  PDF_Data_Object* kids_value = PDF_Dictionary_Find_Value(node, "Kids");
  if (kids_value != nullptr) {
    // Kept: Kids makes the node inner whatever else it holds; a Names array
    // beside it is never searched.
    PDF_Array* kids = static_cast<PDF_Array*>(PDF_Data_Object_Get_Typed_Value(kids_value, PDF_Data_Type_Array));
    if (kids == nullptr) return nullptr;
    for (PDF_Array_Element* element = kids->first; element != nullptr; element = element->next) {
      PDF_Dictionary* kid =
          static_cast<PDF_Dictionary*>(PDF_Data_Object_Get_Typed_Value(element->value, PDF_Data_Type_Dictionary));
      // Kept: a kid that isn't a dictionary ends the search of this node
      // with nothing found; the kids after it are not visited.
      if (kid == nullptr) return nullptr;
      if (PDF_Seen_Set_Has(seen, reinterpret_cast<uintptr_t>(kid))) continue;
      PDF_Object* found = Find_In_Node(kid, name, length, seen, depth + 1);
      if (found != nullptr) return found;
    }
    return nullptr;
  }
  PDF_Array* pairs = static_cast<PDF_Array*>(
      PDF_Data_Object_Get_Typed_Value(PDF_Dictionary_Find_Value(node, "Names"), PDF_Data_Type_Array));
  if (pairs == nullptr) return nullptr;
  for (PDF_Array_Element* key = pairs->first; key != nullptr;) {
    // A key that is no string, or a key without a value, ends the walk.
    if (PDF_Data_Object_Get_Direct_Value(key->value, PDF_Data_Type_String) == nullptr) return nullptr;
    PDF_Array_Element* value_element = key->next;
    if (value_element == nullptr) return nullptr;
    PDF_Data_Object* value = value_element->value;
    PDF_Object_Reference* reference =
        static_cast<PDF_Object_Reference*>(PDF_Data_Object_Get_Direct_Value(value, PDF_Data_Type_Reference));
    if (reference == nullptr) return nullptr;
    PDF_Dictionary* filespec =
        static_cast<PDF_Dictionary*>(PDF_Data_Object_Get_Typed_Value(value, PDF_Data_Type_Dictionary));
    PDF_String* file_name = static_cast<PDF_String*>(
        PDF_Data_Object_Get_Direct_Value(PDF_Dictionary_Find_Value(filespec, "F"), PDF_Data_Type_String));
    // Kept: a value without a direct string F ends the search of this leaf,
    // so the pairs behind it are not seen.
    if (file_name == nullptr) return nullptr;
    // Kept: compared as a literal string (kind 1), so an F written in
    // hexadecimal form doesn't match even when its bytes are the name.
    if (PDF_String_Compare(file_name, reinterpret_cast<const uint8_t*>(name), 1, length) == 0) {
      return PDF_Object_Reference_Get_Object(reference);
    }
    key = value_element->next;
  }
  return nullptr;
}

PDF_Object* PDF_Name_Tree_Find(PDF_Dictionary* node, const char* name) {
  if (node == nullptr) return nullptr;
  PDF_Seen_Set seen = {nullptr, 0, 0, 0};
  PDF_Object* found = Find_In_Node(node, name, PDF_Text_Length(name), &seen, 0);
  PDF_Seen_Set_Release(&seen);
  return found;
}
