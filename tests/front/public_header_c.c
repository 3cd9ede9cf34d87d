/* Compiled as C99 with -pedantic-errors: a C program must be able to use the
 * public header as it stands, constants and inline function included. */
#include "invoice_extract.h"

#include "front/public_header_c.h"

static const int32_t documented_codes[] = {
    ZUGF_RESULT_INVOICE,   ZUGF_RESULT_NOT_PDFA3,      ZUGF_RESULT_NOT_INVOICE,   ZUGF_RESULT_NO_INVOICE_FILE,
    ZUGF_RESULT_BAD_INPUT, ZUGF_RESULT_EXTRACT_FAILED, ZUGF_RESULT_OUT_OF_MEMORY, ZUGF_RESULT_CANNOT_DECODE,
};

size_t Public_Header_C_Codes(const int32_t** codes) {
  *codes = documented_codes;
  return sizeof(documented_codes) / sizeof(documented_codes[0]);
}

const char* Public_Header_C_Describe(int32_t result) { return ZUGF_Describe_Result(result); }

void Public_Header_C_Version(int* major, int* minor, int* patch, const char** text) {
  *major = INVOICE_EXTRACT_VERSION_MAJOR;
  *minor = INVOICE_EXTRACT_VERSION_MINOR;
  *patch = INVOICE_EXTRACT_VERSION_PATCH;
  *text = INVOICE_EXTRACT_VERSION_STRING;
}
