// The process-wide mutex that guards the XMP toolkit's global initialisation
// and termination, and nothing else. Statically initialised, never destroyed;
// PDF_XMP_Lock_Create stays as the step of the creation order and always
// succeeds.
#ifndef INVOICE_EXTRACT_PDF_XMP_LOCK_H
#define INVOICE_EXTRACT_PDF_XMP_LOCK_H

#include "runtime/pdf_result.h"

PDF_Result PDF_XMP_Lock_Create();
void PDF_XMP_Lock();    // waits without a limit
void PDF_XMP_Unlock();

#endif
