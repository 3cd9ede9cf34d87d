// The invoice decision over the XMP metadata and the embedded files.
#ifndef INVOICE_EXTRACT_ZUGF_IDENTIFY_H
#define INVOICE_EXTRACT_ZUGF_IDENTIFY_H

#include <cstdint>

struct ZUGF_Context;

// The two spellings of the invoice schema's namespace, in order of trial.
extern const char* const ZUGF_Namespace_Table[2];

// 0 when the document is an invoice (the context's invoice object id is then
// set), -1 when part is not 3, -2 without invoice metadata, -3 without the
// embedded invoice.
int32_t ZUGF_Identify_Invoice(ZUGF_Context* context, const uint32_t* part);

#endif
