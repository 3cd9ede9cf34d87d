// Numbers: every PDF number, object numbers included, is a double with the
// count of decimals it had in the file. There is no integer type.
#ifndef INVOICE_EXTRACT_PDF_NUMBER_H
#define INVOICE_EXTRACT_PDF_NUMBER_H

#include <cstdint>

#include "objects/pdf_data_object.h"
#include "runtime/pdf_result.h"

struct PDF_File;
struct PDF_Read_Data;

struct PDF_Number {
  PDF_Data_Object* owner;  // wrapping variant; owns nothing
  double value;
  uint8_t decimals;  // digits after the point as read; 0 for an integer
};

PDF_Result PDF_Number_Create(PDF_Number** out_number, PDF_File* file, uint8_t decimals, double value);
PDF_Result PDF_Number_Delete(PDF_Number** holder, PDF_File* file);
PDF_Result PDF_Number_Copy(PDF_Number** out_number, PDF_File* file, const PDF_Number* source, int32_t copy_mode);
uint64_t PDF_Number_Read(PDF_Number** out_number, PDF_File* file, PDF_Read_Data* reader, uint64_t position);

double PDF_Number_Get_Real(const PDF_Number* number);
int32_t PDF_Number_Get_Integer(const PDF_Number* number);  // truncated toward zero
// A value truncated toward zero and held within 2^48 either way, so that sums
// and differences of two of them, or of one and a 32-bit offset, cannot
// overflow; NaN gives 0. For counts and offsets read from a file.
int64_t PDF_Number_To_Bounded_Long(double value);
int64_t PDF_Number_Get_Long(const PDF_Number* number);  // truncated toward zero
uint8_t PDF_Number_Get_Decimals(const PDF_Number* number);
PDF_Result PDF_Number_Set_Integer(PDF_Number* number, int32_t value);
PDF_Result PDF_Number_Increment(PDF_Number* number);
PDF_Result PDF_Number_Decrement(PDF_Number* number);
PDF_Result PDF_Number_Set_Owner(PDF_Number* number, PDF_Data_Object* owner);

#endif
