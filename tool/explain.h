// Words for a person: which e-invoice a file is, and why the library's
// verdict is what it is.
#ifndef INVOICE_EXTRACT_TOOL_EXPLAIN_H
#define INVOICE_EXTRACT_TOOL_EXPLAIN_H

#include <cstdint>
#include <string>

#include "report.h"

namespace tool {

// "Factur-X invoice (EN 16931)", "ZUGFeRD 2 invoice", or for another
// DocumentType "ZUGFeRD 1.0 document of type ORDER"; "" without a schema.
std::string Flavour_Label(const Inspection& inspection);

// Whether the identification is one of the PDF/A part 3 pairs (3A, 3U, 3B).
bool Is_Pdfa3(const Inspection& inspection);

// For an e-invoice of another flavour than ZUGFeRD 1.0 (ZUGFeRD 2, Factur-X
// and its XRechnung profile): PDF/A part 3, DocumentType "INVOICE", and the
// file that DocumentFileName names embedded and decodable. Its label, or ""
// for any other file.
std::string Other_Flavour_Invoice(const Inspection& inspection);

// The first check behind a verdict of the exported calls, e.g. "PDF/A part 2,
// not 3" or "Factur-X invoice (EN 16931): not ZUGFeRD 1.0"; "" for an invoice
// and wherever the inspection shows no reason.
std::string Explain_Verdict(int32_t result, const Inspection& inspection);

}  // namespace tool

#endif
