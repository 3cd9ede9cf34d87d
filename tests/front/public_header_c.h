// What the public header gives a C program, gathered by public_header_c.c,
// which is compiled as strict C99.
#ifndef INVOICE_EXTRACT_TESTS_PUBLIC_HEADER_C_H
#define INVOICE_EXTRACT_TESTS_PUBLIC_HEADER_C_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Every documented result code, through its named constant; the count.
size_t Public_Header_C_Codes(const int32_t** codes);
// ZUGF_Describe_Result as compiled in C.
const char* Public_Header_C_Describe(int32_t result);
// The version macros as C sees them.
void Public_Header_C_Version(int* major, int* minor, int* patch, const char** text);

#ifdef __cplusplus
}
#endif

#endif
