// Dictionaries: a doubly linked list of entries in insertion order, searched
// by comparing key bytes, with a cursor that makes a walk by index cheap.
#ifndef INVOICE_EXTRACT_PDF_DICTIONARY_H
#define INVOICE_EXTRACT_PDF_DICTIONARY_H

#include <cstdint>

#include "objects/pdf_data_object.h"
#include "objects/pdf_name.h"
#include "runtime/pdf_result.h"

struct PDF_File;
struct PDF_Object;
struct PDF_Read_Data;

struct PDF_Dictionary_Entry {
  PDF_Name* key;           // owned
  PDF_Data_Object* value;  // owned
  PDF_Dictionary_Entry* previous;
  PDF_Dictionary_Entry* next;
};

struct PDF_Dictionary {
  PDF_Data_Object* owner;  // wrapping variant; owns nothing
  PDF_Dictionary_Entry* first;
  PDF_Dictionary_Entry* last;
  PDF_Dictionary_Entry* cursor;  // last entry visited by index or by key
  uint32_t cursor_index;
  uint32_t count;
};

PDF_Result PDF_Dictionary_Create(PDF_Dictionary** out_dictionary, PDF_File* file);
PDF_Result PDF_Dictionary_Delete(PDF_Dictionary** holder, PDF_File* file, uint32_t delete_mode);
PDF_Result PDF_Dictionary_Entry_Create(PDF_Dictionary_Entry** out_entry, PDF_File* file, PDF_Name* key,
                                       PDF_Data_Object* value);
// Deletes the key and, unless the mode is 1, the value.
PDF_Result PDF_Dictionary_Entry_Delete(PDF_Dictionary_Entry** holder, PDF_File* file, uint32_t delete_mode);
// Difference flag: false when the key equals the text, and for a null entry.
bool PDF_Dictionary_Entry_Matches(const PDF_Dictionary_Entry* entry, const char* key);

uint32_t PDF_Dictionary_Get_Count(const PDF_Dictionary* dictionary);
PDF_Result PDF_Dictionary_Get_Entry_At(PDF_Dictionary* dictionary, uint32_t index, PDF_Name** out_key,
                                       PDF_Data_Object** out_value);
// The entry's variant as stored (never resolved), or null.
PDF_Data_Object* PDF_Dictionary_Find_Value(PDF_Dictionary* dictionary, const char* key);
bool PDF_Dictionary_Has_Key(PDF_Dictionary* dictionary, const char* key);
// The direct name under Type or Subtype; an indirect one counts as absent.
PDF_Name* PDF_Dictionary_Get_Type(PDF_Dictionary* dictionary);
PDF_Name* PDF_Dictionary_Get_Subtype(PDF_Dictionary* dictionary);

PDF_Result PDF_Dictionary_Append_Entry(PDF_Dictionary* dictionary, PDF_Dictionary_Entry* entry);
// Takes ownership of key and value on success; a later duplicate replaces the
// earlier entry and stands at the end.
PDF_Result PDF_Dictionary_Set_Entry(PDF_Dictionary* dictionary, PDF_File* file, PDF_Name* key, PDF_Data_Object* value);
PDF_Result PDF_Dictionary_Remove_Entry(PDF_Dictionary* dictionary, PDF_File* file, const char* key,
                                       uint32_t delete_mode);
PDF_Result PDF_Dictionary_Set_Value(PDF_Dictionary* dictionary, PDF_File* file, const char* key,
                                    PDF_Data_Object* value);
PDF_Result PDF_Dictionary_Set_Number(PDF_Dictionary* dictionary, PDF_File* file, const char* key, double value,
                                     uint8_t decimals);
PDF_Result PDF_Dictionary_Set_Boolean(PDF_Dictionary* dictionary, PDF_File* file, const char* key, uint8_t value);
PDF_Result PDF_Dictionary_Set_Name(PDF_Dictionary* dictionary, PDF_File* file, const char* key, const char* name);
PDF_Result PDF_Dictionary_Set_String(PDF_Dictionary* dictionary, PDF_File* file, const char* key, const uint8_t* bytes,
                                     uint64_t length, uint32_t kind);
PDF_Result PDF_Dictionary_Set_Reference(PDF_Dictionary* dictionary, PDF_File* file, const char* key,
                                        PDF_Object* object);

// Bytes through "<<" or ">>" after white space and comments, else 0.
uint64_t PDF_Dictionary_Read_Begin(PDF_Read_Data* reader, uint64_t position);
uint64_t PDF_Dictionary_Read_End(PDF_Read_Data* reader, uint64_t position);
uint64_t PDF_Dictionary_Read(PDF_Dictionary** out_dictionary, PDF_File* file, PDF_Read_Data* reader, uint64_t position);

PDF_Result PDF_Dictionary_Copy(PDF_Dictionary** out_dictionary, PDF_File* file, PDF_Dictionary* source,
                               bool copy_targets, int32_t copy_mode);
PDF_Result PDF_Dictionary_Decrypt(PDF_Dictionary* dictionary, PDF_File* file, PDF_Object* container);
PDF_Result PDF_Dictionary_Load_All(PDF_Dictionary* dictionary, PDF_File* file);
PDF_Result PDF_Dictionary_Set_Owner(PDF_Dictionary* dictionary, PDF_Data_Object* owner);

#endif
