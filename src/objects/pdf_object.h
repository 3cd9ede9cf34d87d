// Indirect objects: made from their "n g obj" header alone, their body parsed
// on first use, classified into PDF_Object_Type, and guarded by flags that
// stop walks and copies on cycles. Objects belong to the object table.
#ifndef INVOICE_EXTRACT_PDF_OBJECT_H
#define INVOICE_EXTRACT_PDF_OBJECT_H

#include <cstdint>

#include "objects/pdf_data_object.h"
#include "objects/pdf_number.h"
#include "runtime/pdf_result.h"

struct PDF_File;
struct PDF_Read_Data;

struct PDF_Object {
  uint8_t traversed;             // set by PDF_Object_Load_All
  uint8_t deleting;              // set while PDF_Object_Delete runs
  uint8_t resolving;             // set while a resolve passes through
  PDF_Object* copy;              // the copy of this object, once made; not owned
  PDF_Number* number;            // owned, 0 decimals
  PDF_Number* generation;        // owned, 0 decimals
  uint32_t id;                   // unique within the file, from 1
  uint32_t reference_count;      // references pointing here
  void* link_a;                  // zero at creation
  void* link_b;                  // carried over by a copy
  PDF_Data_Object* value;        // the body, owned; null until loaded
  int32_t type;                  // PDF_Object_Type of the body
  PDF_Read_Data* source_reader;  // set while pending; not owned
  uint64_t source_position;      // start of the body while pending; 1 once loaded
  PDF_File* source_file;         // set while pending
  uint8_t loading;               // set while the body is parsed: a reference back into it finds no value
};

PDF_Result PDF_Object_Create(PDF_Object** out_object, PDF_File* file, PDF_Data_Object* value, uint64_t number,
                             uint64_t generation, int32_t type);
// Reads the header and stops. A result of 0 with a non-null holder means an
// object without a header, pending at the position given.
uint64_t PDF_Object_Read(PDF_Object** out_object, PDF_File* file, PDF_Read_Data* reader, uint64_t position);
// The header that PDF_Object_Read reads, without making the object: the bytes
// consumed through "obj", or 0 where PDF_Object_Read would consume none
// (no header, or a broken one).
uint64_t PDF_Object_Read_Header(PDF_Read_Data* reader, uint64_t position);
PDF_Result PDF_Object_Read_From_Buffer(PDF_Object* object, PDF_File* file, const uint8_t* bytes, uint64_t size);
PDF_Result PDF_Object_Load(PDF_Object* object);
PDF_Result PDF_Object_Load_All(PDF_Object* object, PDF_File* file);

PDF_Data_Object* PDF_Object_Get_Value(PDF_Object* object);
int32_t PDF_Object_Get_Type(PDF_Object* object);
PDF_Result PDF_Object_Set_Type(PDF_Object* object, int32_t type);
int32_t PDF_Object_Classify(const PDF_Data_Object* value);
int32_t PDF_Object_Get_Number(const PDF_Object* object);
int32_t PDF_Object_Get_Generation(const PDF_Object* object);
PDF_Result PDF_Object_Set_Number(PDF_Object* object, int32_t number);
uint32_t PDF_Object_Get_Id(const PDF_Object* object);
PDF_Result PDF_Object_Retain(PDF_Object* object);
PDF_Result PDF_Object_Release(PDF_Object* object);  // stops at 0
uint32_t PDF_Object_Get_Reference_Count(const PDF_Object* object);
bool PDF_Object_Get_Resolving(const PDF_Object* object);
PDF_Result PDF_Object_Set_Resolving(PDF_Object* object, bool resolving);
PDF_Result PDF_Object_Clear_Traversed(PDF_Object* object);
bool PDF_Object_Is_From_File(const PDF_Object* object);

PDF_Result PDF_Object_Copy(PDF_Object** out_object, PDF_File* file, bool copy_targets, PDF_Object* source,
                           int32_t copy_mode);
PDF_Result PDF_Object_Delete(PDF_Object** holder, PDF_File* file, uint32_t delete_mode);

#endif
