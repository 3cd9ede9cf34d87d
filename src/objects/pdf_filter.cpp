#include "objects/pdf_filter.h"

#include "objects/pdf_array.h"
#include "objects/pdf_boolean.h"
#include "objects/pdf_data_object.h"
#include "objects/pdf_dictionary.h"
#include "objects/pdf_number.h"
#include "objects/pdf_object.h"
#include "objects/pdf_object_reference.h"
#include "objects/pdf_stream.h"

namespace {

struct Filter_Name {
  const char* text;
  PDF_Filter_Type type;
};

// In the order in which names are compared.
const Filter_Name kFilter_Names[] = {
    {"LZWDecode", PDF_Filter_Type_LZW},
    {"FlateDecode", PDF_Filter_Type_Flate},
    {"RunLengthDecode", PDF_Filter_Type_Run_Length},
    {"CCITTFaxDecode", PDF_Filter_Type_CCITT_Fax},
    {"JBIG2Decode", PDF_Filter_Type_JBIG2},
    {"DCTDecode", PDF_Filter_Type_DCT},
    {"JPXDecode", PDF_Filter_Type_JPX},
    {"ASCIIHexDecode", PDF_Filter_Type_ASCII_Hex},
    {"ASCII85Decode", PDF_Filter_Type_ASCII85},
    {"Crypt", PDF_Filter_Type_Crypt},
};

// A number under the key, as a 32-bit integer narrowed to the field. Absent
// keeps the field; anything but a direct number gives -54.
// Kept: no range check, so a Predictor of 266 is 10 and a Columns of -1 is
// 4294967295; and a reference is not followed, so an indirect Predictor or
// Columns refuses the whole table with -54.
template <typename T>
PDF_Result Read_Number(PDF_Dictionary* dictionary, const char* key, T* field) {
  PDF_Data_Object* value = PDF_Dictionary_Find_Value(dictionary, key);
  if (value == nullptr) return PDF_RESULT_OK;
  PDF_Number* number = static_cast<PDF_Number*>(PDF_Data_Object_Get_Direct_Value(value, PDF_Data_Type_Number));
  if (number == nullptr) return PDF_RESULT_MALFORMED_FILTER;
  *field = static_cast<T>(PDF_Number_Get_Integer(number));
  return PDF_RESULT_OK;
}

// A direct boolean under the key.
PDF_Result Read_Flag(PDF_Dictionary* dictionary, const char* key, uint8_t* field) {
  PDF_Data_Object* value = PDF_Dictionary_Find_Value(dictionary, key);
  if (value == nullptr) return PDF_RESULT_OK;
  PDF_Boolean* flag = static_cast<PDF_Boolean*>(PDF_Data_Object_Get_Direct_Value(value, PDF_Data_Type_Boolean));
  if (flag == nullptr) return PDF_RESULT_MALFORMED_FILTER;
  *field = *flag != 0 ? 1 : 0;
  return PDF_RESULT_OK;
}

// A reference under the key; its target's object number is stored.
PDF_Result Read_Object_Number(PDF_Dictionary* dictionary, const char* key, uint32_t* field) {
  PDF_Data_Object* value = PDF_Dictionary_Find_Value(dictionary, key);
  if (value == nullptr) return PDF_RESULT_OK;
  PDF_Object_Reference* reference =
      static_cast<PDF_Object_Reference*>(PDF_Data_Object_Get_Direct_Value(value, PDF_Data_Type_Reference));
  if (reference == nullptr) return PDF_RESULT_MALFORMED_FILTER;
  *field = static_cast<uint32_t>(PDF_Object_Get_Number(PDF_Object_Reference_Get_Object(reference)));
  return PDF_RESULT_OK;
}

// The keys of FlateDecode, which LZWDecode shares.
PDF_Result Read_Flate_Keys(PDF_Dictionary* dictionary, PDF_Filter_Parms* record) {
  PDF_Result result = Read_Number(dictionary, "Predictor", &record->predictor);
  if (result == PDF_RESULT_OK) result = Read_Number(dictionary, "Colors", &record->colors);
  if (result == PDF_RESULT_OK) result = Read_Number(dictionary, "BitsPerComponent", &record->bits_per_component);
  if (result == PDF_RESULT_OK) result = Read_Number(dictionary, "Columns", &record->columns);
  return result;
}

PDF_Result Read_CCITT_Keys(PDF_Dictionary* dictionary, PDF_Filter_Parms* record) {
  PDF_Result result = Read_Number(dictionary, "K", &record->k);
  if (result == PDF_RESULT_OK) result = Read_Flag(dictionary, "EndOfLine", &record->end_of_line);
  if (result == PDF_RESULT_OK) result = Read_Flag(dictionary, "EncodedByteAlign", &record->encoded_byte_align);
  if (result == PDF_RESULT_OK) result = Read_Number(dictionary, "Columns", &record->columns);
  if (result == PDF_RESULT_OK) result = Read_Number(dictionary, "Rows", &record->rows);
  if (result == PDF_RESULT_OK) result = Read_Flag(dictionary, "EndOfBlock", &record->end_of_block);
  if (result == PDF_RESULT_OK) result = Read_Flag(dictionary, "BlackIs1", &record->black_is_1);
  if (result == PDF_RESULT_OK) {
    result = Read_Number(dictionary, "DamagedRowsBeforeError", &record->damaged_rows_before_error);
  }
  return result;
}

// Filter or DecodeParms of the stream, followed to its end if it is a
// reference; null when absent or dangling.
PDF_Data_Object* Find_Resolved(PDF_Stream* stream, const char* key) {
  return PDF_Data_Object_Resolve(PDF_Stream_Find_Value(stream, key));
}

}  // namespace

PDF_Filter_Type PDF_Filter_Type_From_Name(const PDF_Name* name) {
  if (name == nullptr) return PDF_Filter_Type_None;
  for (const Filter_Name& entry : kFilter_Names) {
    if (PDF_Name_Is(name, entry.text)) return entry.type;
  }
  return PDF_Filter_Type_Unknown;
}

PDF_Result PDF_Filter_Parms_Read(PDF_Dictionary* parms_dictionary, PDF_Filter_Parms* record) {
  if (record == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  record->predictor = 1;
  record->colors = 1;
  record->bits_per_component = 8;
  record->early_change = 1;
  record->k = 0;
  record->end_of_line = 0;
  record->end_of_block = 1;
  record->encoded_byte_align = 0;
  record->columns = record->type == PDF_Filter_Type_CCITT_Fax ? 1728 : 1;
  record->rows = 0;
  record->black_is_1 = 0;
  record->damaged_rows_before_error = 0;
  record->jbig2_globals = 0;
  record->color_transform = 255;
  if (record->type == PDF_Filter_Type_None || parms_dictionary == nullptr) return PDF_RESULT_OK;

  switch (record->type) {
    case PDF_Filter_Type_LZW: {
      PDF_Result result = Read_Number(parms_dictionary, "EarlyChange", &record->early_change);
      if (result != PDF_RESULT_OK) return result;
      return Read_Flate_Keys(parms_dictionary, record);
    }
    case PDF_Filter_Type_Flate:
      return Read_Flate_Keys(parms_dictionary, record);
    case PDF_Filter_Type_CCITT_Fax:
      return Read_CCITT_Keys(parms_dictionary, record);
    case PDF_Filter_Type_JBIG2:
      return Read_Object_Number(parms_dictionary, "JBIG2Globals", &record->jbig2_globals);
    case PDF_Filter_Type_DCT:
      return Read_Number(parms_dictionary, "ColorTransform", &record->color_transform);
    default:
      return PDF_RESULT_OK;
  }
}

PDF_Result PDF_Stream_Get_Filter_Count(PDF_Stream* stream, uint32_t* out_count) {
  if (stream == nullptr || out_count == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Data_Object* filter = Find_Resolved(stream, "Filter");
  switch (PDF_Data_Object_Get_Type(filter)) {
    case PDF_Object_Type_Unknown:
      *out_count = 0;
      return PDF_RESULT_OK;
    case PDF_Data_Type_Name:
      *out_count = 1;
      return PDF_RESULT_OK;
    case PDF_Data_Type_Array:
      // Kept: the elements are not looked at here; a bad one is refused only
      // when the table is read.
      *out_count = PDF_Array_Get_Count(static_cast<PDF_Array*>(filter->value));
      return PDF_RESULT_OK;
    default:
      return PDF_RESULT_BAD_LENGTH_OR_FILTER;
  }
}

PDF_Result PDF_Stream_Get_Filter_Table(PDF_Stream* stream, PDF_Filter_Parms* table) {
  if (stream == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Data_Object* filter = Find_Resolved(stream, "Filter");
  if (filter == nullptr) return PDF_RESULT_OK;
  if (table == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Data_Object* parms = Find_Resolved(stream, "DecodeParms");

  if (filter->type == PDF_Data_Type_Name) {
    table[0].type = PDF_Filter_Type_From_Name(static_cast<PDF_Name*>(filter->value));
    PDF_Result result = PDF_Filter_Parms_Read(nullptr, &table[0]);
    if (result != PDF_RESULT_OK) return result;
    // A lone filter takes the first element of a DecodeParms array.
    // Kept: that element is not followed: a reference to a dictionary there
    // leaves the defaults, and the predictor in it is not applied, so the
    // data comes out still predicted, without any complaint.
    PDF_Data_Object* in_hand = parms;
    PDF_Array* parms_array = static_cast<PDF_Array*>(PDF_Data_Object_Get_Direct_Value(parms, PDF_Data_Type_Array));
    if (parms_array != nullptr) in_hand = PDF_Array_Get_Value(parms_array, 0);
    return PDF_Filter_Parms_Read(
        static_cast<PDF_Dictionary*>(PDF_Data_Object_Get_Direct_Value(in_hand, PDF_Data_Type_Dictionary)), &table[0]);
  }

  if (filter->type != PDF_Data_Type_Array) return PDF_RESULT_MALFORMED_FILTER;
  // Kept: beside an array of filters only an array of parameters will do; a
  // lone dictionary is refused with -54 even for a one-element array.
  PDF_Array* parms_array = nullptr;
  if (parms != nullptr) {
    if (parms->type != PDF_Data_Type_Array) return PDF_RESULT_MALFORMED_FILTER;
    parms_array = static_cast<PDF_Array*>(parms->value);
  }
  PDF_Array_Element* parms_element = parms_array != nullptr ? parms_array->first : nullptr;
  uint32_t index = 0;
  for (PDF_Array_Element* element = static_cast<PDF_Array*>(filter->value)->first; element != nullptr;
       element = element->next, ++index) {
    // Kept: the elements must be direct names; an indirect filter name
    // refuses the table with -54.
    PDF_Name* name = static_cast<PDF_Name*>(PDF_Data_Object_Get_Direct_Value(element->value, PDF_Data_Type_Name));
    if (name == nullptr) return PDF_RESULT_MALFORMED_FILTER;
    PDF_Filter_Parms* record = &table[index];
    record->type = PDF_Filter_Type_From_Name(name);
    PDF_Filter_Parms_Read(nullptr, record);
    // Kept: the parameters at the same index are read only if they are a
    // direct dictionary; a null, a reference or a missing element keeps the
    // defaults without complaint.
    if (parms_element != nullptr) {
      PDF_Dictionary* dictionary = static_cast<PDF_Dictionary*>(
          PDF_Data_Object_Get_Direct_Value(parms_element->value, PDF_Data_Type_Dictionary));
      parms_element = parms_element->next;
      if (dictionary != nullptr) {
        PDF_Result result = PDF_Filter_Parms_Read(dictionary, record);
        if (result != PDF_RESULT_OK) return result;
      }
    }
  }
  return PDF_RESULT_OK;
}
