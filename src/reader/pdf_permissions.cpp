#include "reader/pdf_permissions.h"

#include "objects/pdf_data_object.h"
#include "objects/pdf_dictionary.h"
#include "objects/pdf_name.h"
#include "objects/pdf_number.h"

static PDF_Number* Direct_Number(PDF_Dictionary* dictionary, const char* key) {
  return static_cast<PDF_Number*>(
      PDF_Data_Object_Get_Direct_Value(PDF_Dictionary_Find_Value(dictionary, key), PDF_Data_Type_Number));
}

PDF_Result PDF_Security_Read_Permissions(PDF_Dictionary* encrypt, uint32_t* out_value) {
  if (out_value == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Number* permissions = Direct_Number(encrypt, "P");
  if (permissions == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  int32_t value = PDF_Number_Get_Integer(permissions);
  if (value == 0) return PDF_RESULT_INVALID_ARGUMENT;
  *out_value = static_cast<uint32_t>(value);
  return PDF_RESULT_OK;
}

PDF_Result PDF_Security_Classify(PDF_Dictionary* encrypt, uint32_t* out_mode) {
  if (out_mode == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_mode = 0;
  PDF_Name* filter = static_cast<PDF_Name*>(
      PDF_Data_Object_Get_Direct_Value(PDF_Dictionary_Find_Value(encrypt, "Filter"), PDF_Data_Type_Name));
  if (filter == nullptr || PDF_Name_Compare(filter, "Standard")) return PDF_RESULT_BAD_ENCRYPTION;
  PDF_Number* v = Direct_Number(encrypt, "V");
  if (v == nullptr) return PDF_RESULT_BAD_ENCRYPTION;
  double version = PDF_Number_Get_Real(v);
  if (version != 1.0 && version != 2.0) return PDF_RESULT_BAD_ENCRYPTION;
  PDF_Number* r = Direct_Number(encrypt, "R");
  if (r == nullptr) return PDF_RESULT_BAD_ENCRYPTION;
  double revision = PDF_Number_Get_Real(r);
  if (revision != 2.0 && revision != 3.0) return PDF_RESULT_BAD_ENCRYPTION;
  if (version == 1.0) {
    *out_mode = revision == 2.0 ? 1 : 2;
  } else {
    if (revision == 2.0) return PDF_RESULT_UNSUPPORTED_REVISION;
    *out_mode = 3;
  }
  return PDF_RESULT_OK;
}
