// The optional reporter through which the library tells its caller, in words,
// what failed or what it repaired. Reports never change control flow.
#ifndef INVOICE_EXTRACT_PDF_MESSAGE_H
#define INVOICE_EXTRACT_PDF_MESSAGE_H

#include <cstdint>

#include "runtime/pdf_memory.h"
#include "runtime/pdf_result.h"

typedef int32_t (*PDF_Message_Callback)(const char* text, int32_t code, int32_t level, void* user_data);

enum { PDF_MESSAGE_TEXT_SIZE = 1024 };

struct PDF_Message {
  PDF_Message_Callback callback;
  void* user_data;
  char text[PDF_MESSAGE_TEXT_SIZE];
  uint32_t hold_count;
};

PDF_Result PDF_Message_Create(PDF_Message** out_message, PDF_Memory* memory, PDF_Message_Callback callback,
                              void* user_data);
PDF_Result PDF_Message_Delete(PDF_Message** holder, PDF_Memory* memory);
// Formats in the manner of printf and hands the text to the callback. A null
// message drops the report.
void PDF_Message_Report(PDF_Message* message, int32_t code, int32_t level, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

#endif
