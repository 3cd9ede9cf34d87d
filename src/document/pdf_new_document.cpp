#include "document/pdf_new_document.h"

#include "objects/pdf_array.h"
#include "objects/pdf_data_object.h"
#include "objects/pdf_dictionary.h"
#include "objects/pdf_object.h"
#include "reader/pdf_file.h"
#include "reader/pdf_header.h"
#include "reader/pdf_trailer.h"
#include "reader/pdf_xref_table.h"

PDF_Result PDF_Pages_Create(PDF_Object** out_pages, PDF_File* file, PDF_Object* parent) {
  if (out_pages == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_pages = nullptr;
  PDF_Dictionary* dictionary = nullptr;
  PDF_Array* kids = nullptr;
  PDF_Data_Object* kids_value = nullptr;
  PDF_Data_Object* value = nullptr;
  PDF_Result result = PDF_Dictionary_Create(&dictionary, file);
  if (result == PDF_RESULT_OK) result = PDF_Dictionary_Set_Name(dictionary, file, "Type", "Pages");
  if (result == PDF_RESULT_OK && parent != nullptr) {
    result = PDF_Dictionary_Set_Reference(dictionary, file, "Parent", parent);
  }
  if (result == PDF_RESULT_OK) result = PDF_Array_Create(&kids, file);
  if (result == PDF_RESULT_OK) {
    result = PDF_Data_Object_Create(&kids_value, file, PDF_Data_Type_Array, kids);
    if (result == PDF_RESULT_OK) kids = nullptr;
  }
  if (result == PDF_RESULT_OK) {
    result = PDF_Dictionary_Set_Value(dictionary, file, "Kids", kids_value);
    if (result == PDF_RESULT_OK) kids_value = nullptr;
  }
  if (result == PDF_RESULT_OK) result = PDF_Dictionary_Set_Number(dictionary, file, "Count", 0, 0);
  if (result == PDF_RESULT_OK) {
    result = PDF_Data_Object_Create(&value, file, PDF_Data_Type_Dictionary, dictionary);
    if (result == PDF_RESULT_OK) dictionary = nullptr;
  }
  if (result == PDF_RESULT_OK) {
    result = PDF_Object_Create(out_pages, file, value, 0, 0, PDF_Object_Type_Pages);
    if (result == PDF_RESULT_OK) value = nullptr;
  }
  if (value != nullptr) PDF_Data_Object_Delete(&value, file, PDF_DELETE_MODE_RELEASE);
  if (kids_value != nullptr) PDF_Data_Object_Delete(&kids_value, file, PDF_DELETE_MODE_RELEASE);
  if (kids != nullptr) PDF_Array_Delete(&kids, file, PDF_DELETE_MODE_RELEASE);
  if (dictionary != nullptr) PDF_Dictionary_Delete(&dictionary, file, PDF_DELETE_MODE_RELEASE);
  return result;
}

PDF_Result PDF_Catalog_Create(PDF_Object** out_catalog, PDF_File* file, PDF_Object* pages) {
  if (out_catalog == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_catalog = nullptr;
  PDF_Dictionary* dictionary = nullptr;
  PDF_Data_Object* value = nullptr;
  PDF_Result result = PDF_Dictionary_Create(&dictionary, file);
  if (result == PDF_RESULT_OK) result = PDF_Dictionary_Set_Name(dictionary, file, "Type", "Catalog");
  if (result == PDF_RESULT_OK) result = PDF_Dictionary_Set_Reference(dictionary, file, "Pages", pages);
  if (result == PDF_RESULT_OK) {
    result = PDF_Data_Object_Create(&value, file, PDF_Data_Type_Dictionary, dictionary);
    if (result == PDF_RESULT_OK) dictionary = nullptr;
  }
  if (result == PDF_RESULT_OK) {
    result = PDF_Object_Create(out_catalog, file, value, 0, 0, PDF_Object_Type_Catalog);
    if (result == PDF_RESULT_OK) value = nullptr;
  }
  if (value != nullptr) PDF_Data_Object_Delete(&value, file, PDF_DELETE_MODE_RELEASE);
  if (dictionary != nullptr) PDF_Dictionary_Delete(&dictionary, file, PDF_DELETE_MODE_RELEASE);
  return result;
}

PDF_Result PDF_File_Create_Empty(PDF_File** out_file, PDF_Memory* memory, PDF_Message* message) {
  if (out_file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_File* file = nullptr;
  PDF_Result result = PDF_File_New(&file, memory, message);
  if (result != PDF_RESULT_OK) return result;
  PDF_Object* pages = nullptr;
  PDF_Object* catalog = nullptr;
  PDF_Xref_Table* table = nullptr;
  PDF_Dictionary* dictionary = nullptr;
  PDF_Trailer* trailer = nullptr;
  result = PDF_Header_Create(&file->header, file, 4);
  if (result == PDF_RESULT_OK) result = PDF_Pages_Create(&pages, file, nullptr);
  if (result == PDF_RESULT_OK) result = PDF_Catalog_Create(&catalog, file, pages);
  // The chain over the catalog; then the catalog and the pages go into it.
  if (result == PDF_RESULT_OK) result = PDF_Xref_Table_Create(&table, file, true);
  if (result == PDF_RESULT_OK) result = PDF_Dictionary_Create(&dictionary, file);
  if (result == PDF_RESULT_OK) {
    result = PDF_Trailer_Create(&trailer, file, dictionary);
    if (result == PDF_RESULT_OK) dictionary = nullptr;
  }
  if (result == PDF_RESULT_OK) result = PDF_Trailer_Set_Root(trailer, file, catalog);
  if (result == PDF_RESULT_OK) result = PDF_Body_Create(&file->xref_table, file, table, trailer, false);
  if (result == PDF_RESULT_OK) {
    table = nullptr;
    trailer = nullptr;
    result = PDF_Xref_Table_Add_Entry(file->xref_table->table, file, catalog, 0, 0, 0, 'n');
  }
  if (result == PDF_RESULT_OK) {
    catalog = nullptr;
    result = PDF_Xref_Table_Add_Entry(file->xref_table->table, file, pages, 0, 0, 0, 'n');
  }
  if (result == PDF_RESULT_OK) {
    pages = nullptr;
    file->all_objects_read = 1;
    *out_file = file;
    return PDF_RESULT_OK;
  }
  // Referrers go before what they refer to, since releasing a reference
  // touches its target: trailer, then catalog, then pages.
  if (file->xref_table != nullptr) PDF_Body_Delete(&file->xref_table, file);
  if (trailer != nullptr) PDF_Trailer_Delete(&trailer, file);
  if (table != nullptr) PDF_Xref_Table_Delete(&table, file);
  if (dictionary != nullptr) PDF_Dictionary_Delete(&dictionary, file, PDF_DELETE_MODE_RELEASE);
  if (catalog != nullptr) PDF_Object_Delete(&catalog, file, PDF_DELETE_MODE_RELEASE);
  if (pages != nullptr) PDF_Object_Delete(&pages, file, PDF_DELETE_MODE_RELEASE);
  PDF_File_Delete(&file);
  return result;
}
