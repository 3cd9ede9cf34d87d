#include "objects/pdf_number.h"
#include "runtime/pdf_memory.h"
#include "runtime/pdf_message.h"

#include <cmath>
#include <limits>

#include "reader/pdf_file.h"
#include "reader/pdf_read_data.h"

PDF_Result PDF_Number_Create(PDF_Number** out_number, PDF_File* file, uint8_t decimals, double value) {
  if (out_number == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_number = nullptr;
  PDF_Number* number = PDF_Memory_Alloc_Zeroed<PDF_Number>(file->memory);
  if (number == nullptr) {
    PDF_Message_Report(file->message, PDF_RESULT_OUT_OF_MEMORY, PDF_LEVEL_RESOURCE,
                       "Unable to allocate memory for Number object!");
    return PDF_RESULT_OUT_OF_MEMORY;
  }
  number->owner = nullptr;
  number->value = value;
  number->decimals = decimals;
  *out_number = number;
  return PDF_RESULT_OK;
}

PDF_Result PDF_Number_Delete(PDF_Number** holder, PDF_File* file) {
  if (holder == nullptr || *holder == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  return PDF_Memory_Free(file->memory, holder);
}

PDF_Result PDF_Number_Copy(PDF_Number** out_number, PDF_File* file, const PDF_Number* source, int32_t) {
  if (out_number == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_number = nullptr;
  if (source == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  return PDF_Number_Create(out_number, file, source->decimals, source->value);
}

uint64_t PDF_Number_Read(PDF_Number** out_number, PDF_File* file, PDF_Read_Data* reader, uint64_t position) {
  if (out_number == nullptr) return PDF_READ_INVALID_ARGUMENT;
  *out_number = nullptr;
  double value = 0.0;
  uint8_t decimals = 0;
  uint64_t count = PDF_Read_Data_Read_Number(reader, &value, &decimals, position);
  if (count == 0 || count == PDF_READ_INVALID_ARGUMENT) return 0;
  if (PDF_Number_Create(out_number, file, decimals, value) != PDF_RESULT_OK) return 0;
  return count;
}

double PDF_Number_Get_Real(const PDF_Number* number) { return number == nullptr ? 0.0 : number->value; }

int64_t PDF_Number_To_Bounded_Long(double value) {
  const double limit = 281474976710656.0;
  if (!(value == value)) return 0;
  if (value >= limit) return static_cast<int64_t>(limit);
  if (value <= -limit) return -static_cast<int64_t>(limit);
  return static_cast<int64_t>(value);
}

// Truncation toward zero; values outside the target range (and NaN) give the
// smallest value of the type, as the processor's truncating conversion does.
template <typename T>
static T Truncate(double value) {
  if (!(value > static_cast<double>(std::numeric_limits<T>::min()) - 1.0 &&
        value < -static_cast<double>(std::numeric_limits<T>::min()))) {
    return std::numeric_limits<T>::min();
  }
  return static_cast<T>(value);
}

int32_t PDF_Number_Get_Integer(const PDF_Number* number) {
  return number == nullptr ? 0 : Truncate<int32_t>(number->value);
}

int64_t PDF_Number_Get_Long(const PDF_Number* number) {
  return number == nullptr ? 0 : Truncate<int64_t>(number->value);
}

uint8_t PDF_Number_Get_Decimals(const PDF_Number* number) { return number == nullptr ? 0 : number->decimals; }

PDF_Result PDF_Number_Set_Integer(PDF_Number* number, int32_t value) {
  if (number == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  number->value = value;
  number->decimals = 0;
  return PDF_RESULT_OK;
}

PDF_Result PDF_Number_Increment(PDF_Number* number) {
  if (number == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  number->value += 1.0;
  return PDF_RESULT_OK;
}

PDF_Result PDF_Number_Decrement(PDF_Number* number) {
  if (number == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  number->value -= 1.0;
  return PDF_RESULT_OK;
}

PDF_Result PDF_Number_Set_Owner(PDF_Number* number, PDF_Data_Object* owner) {
  if (number == nullptr || owner == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  number->owner = owner;
  return PDF_RESULT_OK;
}
