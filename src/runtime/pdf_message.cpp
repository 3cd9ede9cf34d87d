#include "runtime/pdf_message.h"

#include <cstdarg>
#include <cstdio>

PDF_Result PDF_Message_Create(PDF_Message** out_message, PDF_Memory* memory, PDF_Message_Callback callback,
                              void* user_data) {
  if (out_message == nullptr || callback == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Message* message = static_cast<PDF_Message*>(PDF_Memory_Alloc(memory, sizeof(PDF_Message)));
  if (message == nullptr) {
    *out_message = nullptr;
    // Kept: there is no object to format in, so the callback hears it
    // directly, with this text exactly (no line end), -7 and level 91.
    callback("Unable to create message object", PDF_RESULT_OUT_OF_MEMORY, PDF_LEVEL_RESOURCE, user_data);
    return PDF_RESULT_OUT_OF_MEMORY;
  }
  message->callback = callback;
  message->user_data = user_data;
  message->hold_count = 1;
  *out_message = message;
  return PDF_RESULT_OK;
}

PDF_Result PDF_Message_Delete(PDF_Message** holder, PDF_Memory* memory) {
  if (holder == nullptr || *holder == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Message* message = *holder;
  message->hold_count -= 1;
  if (message->hold_count != 0) {
    *holder = nullptr;
    return PDF_RESULT_OK;
  }
  return PDF_Memory_Free(memory, holder);
}

void PDF_Message_Report(PDF_Message* message, int32_t code, int32_t level, const char* format, ...) {
  if (message == nullptr || message->callback == nullptr) return;
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(message->text, sizeof(message->text), format, arguments);
  va_end(arguments);
  message->text[sizeof(message->text) - 1] = '\0';
  message->callback(message->text, code, level, message->user_data);
}
