// Arrays: a doubly linked list of owned variants, zero-based unsigned 32-bit
// indices, no stored count.
#ifndef INVOICE_EXTRACT_PDF_ARRAY_H
#define INVOICE_EXTRACT_PDF_ARRAY_H

#include <cstdint>

#include "objects/pdf_data_object.h"
#include "runtime/pdf_result.h"

struct PDF_File;
struct PDF_Object;
struct PDF_Read_Data;

struct PDF_Array_Element {
  PDF_Data_Object* value;  // owned
  PDF_Array_Element* previous;
  PDF_Array_Element* next;
};

struct PDF_Array {
  PDF_Data_Object* owner;  // wrapping variant; owns nothing
  PDF_Array_Element* first;
  PDF_Array_Element* last;
};

PDF_Result PDF_Array_Create(PDF_Array** out_array, PDF_File* file);
PDF_Result PDF_Array_Delete(PDF_Array** holder, PDF_File* file, uint32_t delete_mode);
PDF_Result PDF_Array_Element_Create(PDF_Array_Element** out_element, PDF_File* file, PDF_Data_Object* value);
PDF_Result PDF_Array_Element_Delete(PDF_Array_Element** holder, PDF_File* file, uint32_t delete_mode);

uint32_t PDF_Array_Get_Count(const PDF_Array* array);
PDF_Data_Object* PDF_Array_Get_Value(const PDF_Array* array, uint32_t index);
PDF_Result PDF_Array_Get_Number(const PDF_Array* array, uint32_t index, double* out_real, uint8_t* out_decimals);

// Take ownership of the variant on success.
PDF_Result PDF_Array_Append_Value(PDF_Array* array, PDF_File* file, PDF_Data_Object* value);
PDF_Result PDF_Array_Insert_Value(PDF_Array* array, PDF_File* file, PDF_Data_Object* value, uint32_t index);
PDF_Result PDF_Array_Remove_Value(PDF_Array* array, PDF_File* file, uint32_t index, uint32_t delete_mode);
PDF_Result PDF_Array_Append_Name(PDF_Array* array, PDF_File* file, const char* text);
PDF_Result PDF_Array_Append_Number(PDF_Array* array, PDF_File* file, double value, uint8_t decimals);
PDF_Result PDF_Array_Insert_Reference(PDF_Array* array, PDF_File* file, PDF_Object* object, uint32_t index);

// Bytes through "[" or "]" after white space and comments, else 0.
uint64_t PDF_Array_Read_Begin(PDF_Read_Data* reader, uint64_t position);
uint64_t PDF_Array_Read_End(PDF_Read_Data* reader, uint64_t position);
uint64_t PDF_Array_Read(PDF_Array** out_array, PDF_File* file, PDF_Read_Data* reader, uint64_t position);

PDF_Result PDF_Array_Copy(PDF_Array** out_array, PDF_File* file, PDF_Array* source, bool copy_targets,
                          int32_t copy_mode);
PDF_Result PDF_Array_Decrypt(PDF_Array* array, PDF_File* file, PDF_Object* container);
PDF_Result PDF_Array_Load_All(PDF_Array* array, PDF_File* file);
PDF_Result PDF_Array_Set_Owner(PDF_Array* array, PDF_Data_Object* owner);

#endif
