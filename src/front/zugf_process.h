// The spine of the exported calls: open, check, identify, extract, and the
// mapping of library codes onto the exported ones.
#ifndef INVOICE_EXTRACT_ZUGF_PROCESS_H
#define INVOICE_EXTRACT_ZUGF_PROCESS_H

#include <cstdint>
#include <cstdio>

#include "front/zugf_callbacks.h"
#include "runtime/pdf_result.h"

struct PDF_Document;

// Exported results.
enum ZUGF_Result : int32_t {
  ZUGF_OK = 0,
  ZUGF_NOT_PDFA3 = -1,
  ZUGF_NOT_INVOICE = -2,
  ZUGF_NO_EMBEDDED_INVOICE = -3,
  ZUGF_INPUT_UNUSABLE = -10,
  ZUGF_EXTRACTION_FAILED = -11,
  ZUGF_OUT_OF_MEMORY = -12,
  ZUGF_CANNOT_DECODE = -20,
};

struct ZUGF_Context {
  FILE* input_file;
  FILE* output_file;
  PDF_Document* document;
  uint32_t invoice_object_id;  // 0: not found
  ZUGF_Input input;            // the library's reads of input_file, served from memory
  ZUGF_Arena arena;            // the document's memory
};

// The decoded invoice of an extraction into memory: a block from malloc (never
// null, even for 0 bytes) and its length.
struct ZUGF_Invoice {
  uint8_t* bytes;
  uint64_t length;
};

int32_t ZUGF_Process_File(const char* pdf_path, const char* xml_path);
// The same over the PDF's bytes in memory, read through the same stream
// callbacks: a null invoice checks only; otherwise an invoice (result 0)
// goes into *invoice, which the caller frees.
int32_t ZUGF_Process_Buffer(const void* data, uint64_t size, ZUGF_Invoice* invoice);
PDF_Result ZUGF_Open_Document(const char* pdf_path, ZUGF_Context* context);
// Creates the document over the context's input stream, which is closed on failure.
PDF_Result ZUGF_Open_Stream(ZUGF_Context* context);
// The decoded invoice into a new block; a library result code.
PDF_Result ZUGF_Read_Invoice(ZUGF_Context* context, ZUGF_Invoice* invoice);
PDF_Result ZUGF_Write_Invoice_File(const char* xml_path, ZUGF_Context* context);

// Library code to exported code at the open stage and at the extraction stage.
int32_t ZUGF_Map_Open_Result(PDF_Result result);
int32_t ZUGF_Map_Extract_Result(PDF_Result result);

#endif
