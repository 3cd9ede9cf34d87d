// The process-wide mutex that guards the XMP toolkit's global initialisation,
// and nothing else. Statically initialised, never destroyed.
#ifndef INVOICE_EXTRACT_PDF_XMP_LOCK_H
#define INVOICE_EXTRACT_PDF_XMP_LOCK_H

#include "runtime/pdf_result.h"

// Always 0: the mutex exists from the start of the process.
PDF_Result PDF_XMP_Lock_Create();
void PDF_XMP_Lock();  // waits without a limit
void PDF_XMP_Unlock();

#endif
