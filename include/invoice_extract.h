/*
 * invoice_extract: recognise ZUGFeRD 1.0 electronic invoices in PDF files and
 * extract the embedded invoice XML.
 *
 * Both calls are blocking, keep no state between calls, and may be made from
 * several threads at once.
 *
 * Results:
 *    0  the file is a ZUGFeRD invoice (extract: the XML has been written)
 *   -1  not a PDF/A part 3 document (includes every encrypted document)
 *   -2  PDF/A part 3, but the metadata does not describe a ZUGFeRD invoice
 *   -3  the metadata says invoice, but "ZUGFeRD-invoice.xml" is not embedded
 *  -10  the input cannot be used (no path, cannot be opened, damaged, not a
 *       PDF, unsupported encryption, read failure while extracting)
 *  -11  extraction failed (output cannot be written, other failure)
 *  -12  out of memory
 *  -20  the embedded invoice uses a compression the library cannot decode
 *
 * Known gap: a PDF whose XMP metadata holds an empty pdfaid:conformance value
 * makes these functions throw the C++ standard library's std::out_of_range.
 * A C caller cannot catch it; a C++ caller that must survive such files
 * should wrap the call in try/catch.
 */
#ifndef INVOICE_EXTRACT_H
#define INVOICE_EXTRACT_H

#include <stdint.h>

#if defined(INVOICE_EXTRACT_BUILDING)
#define INVOICE_EXTRACT_API __attribute__((visibility("default")))
#else
#define INVOICE_EXTRACT_API
#endif

/* Result codes of both calls. */
#define ZUGF_RESULT_INVOICE 0            /* a ZUGFeRD 1.0 invoice (extract: XML written) */
#define ZUGF_RESULT_NOT_PDFA3 (-1)       /* not a PDF/A part 3 document */
#define ZUGF_RESULT_NOT_INVOICE (-2)     /* PDF/A-3, but no ZUGFeRD 1.0 invoice metadata */
#define ZUGF_RESULT_NO_INVOICE_FILE (-3) /* invoice metadata, but no embedded ZUGFeRD-invoice.xml */
#define ZUGF_RESULT_BAD_INPUT (-10)      /* the input cannot be used */
#define ZUGF_RESULT_EXTRACT_FAILED (-11) /* extraction failed */
#define ZUGF_RESULT_OUT_OF_MEMORY (-12)  /* out of memory */
#define ZUGF_RESULT_CANNOT_DECODE (-20)  /* the embedded invoice uses an undecodable compression */

/* A short English meaning of a result code; never null. */
static inline const char* ZUGF_Describe_Result(int32_t result) {
  switch (result) {
    case ZUGF_RESULT_INVOICE: return "ZUGFeRD invoice";
    case ZUGF_RESULT_NOT_PDFA3: return "not a PDF/A-3 document";
    case ZUGF_RESULT_NOT_INVOICE: return "PDF/A-3, but no ZUGFeRD invoice metadata";
    case ZUGF_RESULT_NO_INVOICE_FILE: return "invoice metadata, but no embedded ZUGFeRD-invoice.xml";
    case ZUGF_RESULT_BAD_INPUT: return "input cannot be used";
    case ZUGF_RESULT_EXTRACT_FAILED: return "extraction failed";
    case ZUGF_RESULT_OUT_OF_MEMORY: return "out of memory";
    case ZUGF_RESULT_CANNOT_DECODE: return "embedded invoice cannot be decoded";
    default: return "unknown result";
  }
}

#ifdef __cplusplus
extern "C" {
#endif

/* Decides whether the PDF at pdf_path is a ZUGFeRD 1.0 invoice. */
INVOICE_EXTRACT_API int32_t ZUGF_Check_Zugferd(const char* pdf_path);

/* As ZUGF_Check_Zugferd, then writes the embedded invoice XML to xml_path.
 * A null xml_path makes this call the same as ZUGF_Check_Zugferd. An existing
 * output file is truncated only when the invoice is about to be written; a
 * failed write may leave a partial file. */
INVOICE_EXTRACT_API int32_t ZUGF_Extract_Zugferd(const char* pdf_path, const char* xml_path);

#ifdef __cplusplus
}
#endif

#endif
