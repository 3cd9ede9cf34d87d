#include "front/zugf_process.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include "document/pdf_document.h"
#include "document/pdf_embedded_file.h"
#include "front/zugf_callbacks.h"
#include "front/zugf_identify.h"
#include "front/zugf_memory.h"
#include "invoice_extract.h"
#include "reader/pdf_file.h"

// Library codes to exported codes, once for the open and once for the
// extraction stage. The named codes read alike in both; an unnamed one gives
// the stage's own code.
static int32_t Map_Result(PDF_Result result, int32_t unnamed) {
  switch (result) {
    case PDF_RESULT_OK:
      return ZUGF_OK;
    // Kept: -105 and -9 come from the front end's own extraction steps and
    // never out of the open; their rows stay so that both stages name the
    // same codes and a caller reads -20 and -11 alike from either.
    case PDF_RESULT_FILTER_LEFT:
      return ZUGF_CANNOT_DECODE;
    case PDF_RESULT_UNREADABLE:
      return ZUGF_INPUT_UNUSABLE;
    case PDF_RESULT_OUTPUT_FAILED:
      return ZUGF_EXTRACTION_FAILED;
    case PDF_RESULT_OUT_OF_MEMORY:
      return ZUGF_OUT_OF_MEMORY;
    default:
      return unnamed;
  }
}

// Kept: an unnamed code at open is -10 (the input can't be used), where the
// same code during extraction is -11. Callers tell a bad file from a failed
// extraction by this difference.
int32_t ZUGF_Map_Open_Result(PDF_Result result) { return Map_Result(result, ZUGF_INPUT_UNUSABLE); }

int32_t ZUGF_Map_Extract_Result(PDF_Result result) { return Map_Result(result, ZUGF_EXTRACTION_FAILED); }

PDF_Result ZUGF_Open_Document(const char* pdf_path, ZUGF_Context* context) {
  if (pdf_path[0] == '\0') return PDF_RESULT_UNREADABLE;
  context->input_file = fopen(pdf_path, "rb");
  if (context->input_file == nullptr) return PDF_RESULT_UNREADABLE;
  return ZUGF_Open_Stream(context);
}

PDF_Result ZUGF_Open_Stream(ZUGF_Context* context) {
  // The library reads the stream through blocks held in memory (the same
  // bytes and counts as ZUGF_Read_Callback on the stream, without a seek and
  // a read for every byte), and takes its memory from an arena that goes
  // whole after the document.
  context->input.stream = context->input_file;
  PDF_Result result =
      PDF_Document_Create(&context->document, ZUGF_Arena_Alloc_Callback, &context->arena, ZUGF_Arena_Free_Callback,
                          &context->arena, ZUGF_Read_Input_Callback, &context->input, nullptr, nullptr,
                          PDF_TOLERANCE_SHORT_STREAMS, ZUGF_Arena_Expect_Callback);
  if (result != PDF_RESULT_OK) {
    ZUGF_Release_Arena(&context->arena);
    ZUGF_Release_Input(&context->input);
    fclose(context->input_file);
    context->input_file = nullptr;
    return result;
  }
  return PDF_Document_Check_Licence(context->document);
}

PDF_Result ZUGF_Read_Invoice(ZUGF_Context* context, ZUGF_Invoice* invoice) {
  *invoice = ZUGF_Invoice{nullptr, 0};
  PDF_Embedded_File_Info info = {};
  PDF_Result result = PDF_Document_Get_Embedded_File_Info(context->document, context->invoice_object_id, &info);
  if (result != PDF_RESULT_OK) return result;
  // A filter left after decoding is one the library cannot decode; the
  // encoded bytes are never handed out.
  if (info.filter_count > 0) return PDF_RESULT_FILTER_LEFT;

  // One byte at least, so that an empty invoice has a block too.
  uint8_t* block = static_cast<uint8_t*>(malloc(info.length != 0 ? info.length : 1));
  if (block == nullptr) return PDF_RESULT_OUT_OF_MEMORY;
  result = PDF_Document_Read_Embedded_File(context->document, context->invoice_object_id, block);
  if (result != PDF_RESULT_OK) {
    free(block);
    return result;
  }
  *invoice = ZUGF_Invoice{block, info.length};
  return PDF_RESULT_OK;
}

PDF_Result ZUGF_Write_Invoice_File(const char* xml_path, ZUGF_Context* context) {
  ZUGF_Invoice invoice;
  PDF_Result result = ZUGF_Read_Invoice(context, &invoice);
  if (result != PDF_RESULT_OK) return result;
  // Kept: the output is opened, and an existing file truncated, only now,
  // after every check has passed; a write that fails later leaves the partial
  // file on disk and nothing removes it.
  context->output_file = fopen(xml_path, "wb");
  if (context->output_file == nullptr) {
    free(invoice.bytes);
    return PDF_RESULT_OUTPUT_FAILED;
  }
  if (invoice.length != 0 && fwrite(invoice.bytes, 1, invoice.length, context->output_file) != invoice.length) {
    free(invoice.bytes);
    return PDF_RESULT_OUTPUT_FAILED;
  }
  free(invoice.bytes);
  return PDF_RESULT_OK;
}

namespace {

// The stages of a call, for the code that an exception at each one gives.
enum Stage { STAGE_LEVEL, STAGE_IDENTIFY, STAGE_EXTRACT };

// The checks, and the extraction when asked for, after a successful open.
int32_t Run_Steps(ZUGF_Context* context, const char* xml_path, ZUGF_Invoice* invoice, Stage* stage) {
  uint32_t part = 0;
  char conformance = 0;
  *stage = STAGE_LEVEL;
  if (PDF_Document_Get_Pdfa_Level(context->document, &part, &conformance, nullptr) != PDF_RESULT_OK) {
    // Kept: any failure of the level query is -1, whatever its code, even
    // -7; it never goes through the tables, so a caller sees "not PDF/A-3"
    // and never -10, -11 or -12 from this step.
    return ZUGF_NOT_PDFA3;
  }
  *stage = STAGE_IDENTIFY;
  int32_t result = ZUGF_Identify_Invoice(context, &part);
  if (result != ZUGF_OK || (xml_path == nullptr && invoice == nullptr)) return result;
  *stage = STAGE_EXTRACT;
  PDF_Result library_result = PDF_Document_Decode_Embedded_File(context->document, context->invoice_object_id);
  if (library_result == PDF_RESULT_OK) {
    library_result =
        invoice != nullptr ? ZUGF_Read_Invoice(context, invoice) : ZUGF_Write_Invoice_File(xml_path, context);
  }
  return ZUGF_Map_Extract_Result(library_result);
}

// What an exception that a stage let through gives: out of memory as such at
// extraction, anything else as that stage's failure.
int32_t Exception_Result(Stage stage, bool out_of_memory) {
  switch (stage) {
    case STAGE_LEVEL:
      return ZUGF_NOT_PDFA3;
    case STAGE_IDENTIFY:
      return ZUGF_NOT_INVOICE;
    default:
      return out_of_memory ? ZUGF_OUT_OF_MEMORY : ZUGF_EXTRACTION_FAILED;
  }
}

// An open through open, with an exception that it lets through taken as a
// library code: no memory, or an input that can't be used.
template <typename Open>
PDF_Result Open_Guarded(Open open) {
  try {
    return open();
  } catch (const std::bad_alloc&) {
    return PDF_RESULT_OUT_OF_MEMORY;
  } catch (...) {
    return PDF_RESULT_UNREADABLE;
  }
}

}  // namespace

// The checks, and the extraction when asked for (to the file at xml_path, or
// into invoice), after the open that gave open_result; then the clean-up.
// No C++ exception leaves an exported call: one that got through the library
// is the failure of the stage where it arose, and the clean-up runs all the
// same.
static int32_t Process(ZUGF_Context* context, PDF_Result open_result, const char* xml_path, ZUGF_Invoice* invoice) {
  int32_t result = ZUGF_OK;
  if (open_result != PDF_RESULT_OK) {
    result = ZUGF_Map_Open_Result(open_result);
  } else {
    Stage stage = STAGE_LEVEL;
    try {
      result = Run_Steps(context, xml_path, invoice, &stage);
    } catch (const std::bad_alloc&) {
      result = Exception_Result(stage, true);
    } catch (...) {
      result = Exception_Result(stage, false);
    }
  }

  // The document goes first; the output is flushed and closed only after it.
  // Kept: a failed release returns at once and closes neither stream, so the
  // input and the output (unflushed) stay open until the process ends; the
  // result already decided is returned unchanged. Closing them here would
  // touch streams the half-released handle may still read through. The
  // document's memory and the input blocks, which are no streams, go all the
  // same: nothing reaches the handle after this call.
  context->arena.closing = 1;  // the arena goes next, with everything in it
  bool released = context->document == nullptr || PDF_Document_Release(&context->document) == PDF_RESULT_OK;
  ZUGF_Release_Arena(&context->arena);
  ZUGF_Release_Input(&context->input);
  if (!released) return result;
  if (context->input_file != nullptr) {
    fclose(context->input_file);
    context->input_file = nullptr;
  }
  if (context->output_file != nullptr) fclose(context->output_file);
  return result;
}

int32_t ZUGF_Process_File(const char* pdf_path, const char* xml_path) {
  ZUGF_Context context;
  memset(&context, 0, sizeof(context));
  if (pdf_path == nullptr) return ZUGF_INPUT_UNUSABLE;
  return Process(&context, Open_Guarded([&] { return ZUGF_Open_Document(pdf_path, &context); }), xml_path, nullptr);
}

int32_t ZUGF_Process_Buffer(const void* data, uint64_t size, ZUGF_Invoice* invoice) {
  ZUGF_Context context;
  memset(&context, 0, sizeof(context));
  // No bytes are like an empty path: nothing to open.
  if (data == nullptr || size == 0) return ZUGF_INPUT_UNUSABLE;
  // The bytes are read as a stream over memory, so that every read answers
  // as the same bytes in a file would. The record outlives the stream,
  // which the clean-up closes.
  ZUGF_Memory memory = {static_cast<const uint8_t*>(data), size, 0};
  context.input_file = ZUGF_Open_Memory(&memory);
  if (context.input_file == nullptr) return ZUGF_OUT_OF_MEMORY;
  return Process(&context, Open_Guarded([&] { return ZUGF_Open_Stream(&context); }), nullptr, invoice);
}

extern "C" int32_t ZUGF_Check_Zugferd(const char* pdf_path) { return ZUGF_Process_File(pdf_path, nullptr); }

extern "C" int32_t ZUGF_Extract_Zugferd(const char* pdf_path, const char* xml_path) {
  return ZUGF_Process_File(pdf_path, xml_path);
}

extern "C" int32_t ZUGF_Check_Zugferd_Buffer(const void* data, size_t size) {
  return ZUGF_Process_Buffer(data, size, nullptr);
}

extern "C" int32_t ZUGF_Extract_Zugferd_Buffer(const void* data, size_t size, void** xml, size_t* xml_size) {
  if (xml != nullptr) *xml = nullptr;
  if (xml_size != nullptr) *xml_size = 0;
  if (data == nullptr || size == 0) return ZUGF_INPUT_UNUSABLE;
  // Nowhere to put the invoice: the output side fails, before any reading.
  if (xml == nullptr || xml_size == nullptr) return ZUGF_EXTRACTION_FAILED;
  ZUGF_Invoice invoice = {nullptr, 0};
  int32_t result = ZUGF_Process_Buffer(data, size, &invoice);
  if (result == ZUGF_OK) {
    *xml = invoice.bytes;
    *xml_size = invoice.length;
  }
  return result;
}

extern "C" void ZUGF_Free(void* block) { free(block); }
