// The tagged variant in which every PDF value travels, with its four
// dispatches by tag (construction, deletion, copying, the recursive walks),
// the value parser and reference resolution.
#ifndef INVOICE_EXTRACT_PDF_DATA_OBJECT_H
#define INVOICE_EXTRACT_PDF_DATA_OBJECT_H

#include <cstdint>

#include "runtime/pdf_result.h"

struct PDF_File;
struct PDF_Object;
struct PDF_Read_Data;

// The tags of PDF_Data_Object, 1 to 9, and the classification of an
// object's body (PDF_Object::type), which extends them: one enumeration, so
// that classifying a scalar body is the identity. 0 is no valid tag, and is
// only ever returned as a variant's tag for a null variant.
enum PDF_Object_Type : int32_t {
  PDF_Object_Type_Unknown = 0,
  PDF_Data_Type_Null = 1,
  PDF_Data_Type_Reference = 2,
  PDF_Data_Type_Boolean = 3,
  PDF_Data_Type_Number = 4,
  PDF_Data_Type_String = 5,
  PDF_Data_Type_Name = 6,
  PDF_Data_Type_Array = 7,
  PDF_Data_Type_Dictionary = 8,
  PDF_Data_Type_Stream = 9,
  PDF_Object_Type_Object_Stream = 10,
  PDF_Object_Type_Xref_Stream = 11,
  PDF_Object_Type_Catalog = 12,
  PDF_Object_Type_Reserved = 13,
  PDF_Object_Type_Metadata = 14,
  PDF_Object_Type_Encrypt = 15,
  PDF_Object_Type_Pages = 16,
  PDF_Object_Type_Page = 17,
  PDF_Object_Type_Filespec = 20,
  PDF_Object_Type_Image = 21,
  PDF_Object_Type_Form = 22,
  PDF_Object_Type_OCG = 24,
  PDF_Object_Type_OCMD = 25,
  PDF_Object_Type_Font = 26,
  PDF_Object_Type_Font_Descriptor = 27,
};

// Delete modes: what happens at a reference (and at a dictionary entry
// removed alone).
enum : uint32_t {
  PDF_DELETE_MODE_RELEASE = 0,   // target's reference count drops by one
  PDF_DELETE_MODE_KEEP = 1,      // count untouched; a removed entry's value is kept
  PDF_DELETE_MODE_WITHDRAW = 2,  // as 0, and a target that reaches zero is withdrawn
};

// Copy modes.
enum : int32_t {
  PDF_COPY_MODE_ORDINARY = 0,
  PDF_COPY_MODE_PAGE_NEIGHBOURHOOD = 1,  // SE dropped, Dest and A in mode 3, Page refused
  PDF_COPY_MODE_KEEP_PAGES = 3,          // a reference to a Page stays a reference to it
  PDF_COPY_MODE_AS_IS = 4,               // every reference copied as it stands
};

struct PDF_Data_Object {
  int32_t type;
  void* value;
};

int32_t PDF_Data_Object_Get_Type(const PDF_Data_Object* object);
void* PDF_Data_Object_Get_Value(const PDF_Data_Object* object);
// value if the variant itself has the tag; references are not followed.
void* PDF_Data_Object_Get_Direct_Value(const PDF_Data_Object* object, int32_t type);
// value of the variant at the end of a reference chain if it has the tag;
// asking for tag 2 returns the reference itself without following it.
void* PDF_Data_Object_Get_Typed_Value(PDF_Data_Object* object, int32_t type);

// Takes ownership of value; with a null value the tag's default is built.
PDF_Result PDF_Data_Object_Create(PDF_Data_Object** out_object, PDF_File* file, int32_t type, void* value);
PDF_Result PDF_Data_Object_Delete(PDF_Data_Object** holder, PDF_File* file, uint32_t delete_mode);
// Deletes a value of the tag alone, as a variant of that tag would; for values
// that were built but never wrapped.
PDF_Result PDF_Data_Object_Delete_Value(int32_t type, void** value, PDF_File* file, uint32_t delete_mode);
PDF_Result PDF_Data_Object_Copy(PDF_Data_Object** out_object, PDF_File* file, PDF_Data_Object* source,
                                bool copy_targets, int32_t copy_mode);
PDF_Result PDF_Data_Object_Decrypt(PDF_Data_Object* object, PDF_File* file, PDF_Object* container);
PDF_Result PDF_Data_Object_Load_All(PDF_Data_Object* object, PDF_File* file);

// The value parser: tries the readers of every kind in a fixed order from the
// same position. Returns the bytes consumed, 0 when no value is there (the
// holder then stays null); a null holder gives -500 through the count.
uint64_t PDF_Data_Object_Read(PDF_Data_Object** out_object, PDF_File* file, PDF_Read_Data* reader, uint64_t position);

// Follows references to the final variant; null for a dangling reference. A
// chain that closes on itself ends in a variant of tag 2.
PDF_Data_Object* PDF_Data_Object_Resolve(PDF_Data_Object* object);

#endif
