// Names: strings of kind 0, holding the bytes after the solidus undecoded.
#ifndef INVOICE_EXTRACT_PDF_NAME_H
#define INVOICE_EXTRACT_PDF_NAME_H

#include <cstdint>

#include "objects/pdf_data_object.h"
#include "objects/pdf_string.h"
#include "runtime/pdf_result.h"

struct PDF_File;
struct PDF_Read_Data;

typedef PDF_String PDF_Name;

// -14 for a text holding white space or a delimiter.
PDF_Result PDF_Name_Create(PDF_Name** out_name, PDF_File* file, const char* text);
uint64_t PDF_Name_Read(PDF_Name** out_name, PDF_File* file, PDF_Read_Data* reader, uint64_t position);
// Difference flag: false when equal. With null text, true exactly when the
// name is not empty.
bool PDF_Name_Compare(const PDF_Name* name, const char* text);
// The question form of the flag above: true exactly when PDF_Name_Compare
// answers false, so a null name is no text and a null text is the empty name.
bool PDF_Name_Is(const PDF_Name* name, const char* text);
const char* PDF_Name_Get_Text(const PDF_Name* name);
PDF_Result PDF_Name_Delete(PDF_Name** holder, PDF_File* file);
PDF_Result PDF_Name_Copy(PDF_Name** out_name, PDF_File* file, const PDF_Name* source, int32_t copy_mode);
PDF_Result PDF_Name_Set_Owner(PDF_Name* name, PDF_Data_Object* owner);

#endif
