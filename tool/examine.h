// Inspection of one PDF through the library's internals: encryption, the
// PDF/A identification and invoice schema of the XMP metadata, the embedded
// files, and the head of a ZUGFeRD 1.0 invoice XML. It makes no decision; the
// verdict stays with the exported calls.
//
// It runs in a worker process like the verdict, as a defence in depth.
#ifndef INVOICE_EXTRACT_TOOL_EXAMINE_H
#define INVOICE_EXTRACT_TOOL_EXAMINE_H

#include <string>

#include "report.h"

namespace tool {

struct Inspect_Request {
  // Read the embedded ZUGFeRD 1.0 XML with the invoice XML handlers.
  bool read_invoice_xml = false;
  // Keep the decoded bytes of the embedded file that DocumentFileName names.
  bool keep_invoice_bytes = false;
};

// Fills *out; with keep_invoice_bytes, *invoice_bytes gets the bytes of the
// named file when it is there and decodes (and stays empty otherwise).
void Inspect_File(const std::string& path, const Inspect_Request& request, Inspection* out, std::string* invoice_bytes);

// The first attachment whose name is DocumentFileName, or null.
const Attachment* Named_Invoice_File(const Inspection& inspection);

}  // namespace tool

#endif
