// Classification of the Encrypt dictionary at open.
#ifndef INVOICE_EXTRACT_PDF_PERMISSIONS_H
#define INVOICE_EXTRACT_PDF_PERMISSIONS_H

#include <cstdint>

#include "runtime/pdf_result.h"

struct PDF_Dictionary;

// Keeps the permission entry P; missing, not a direct number, or 0 gives -500.
PDF_Result PDF_Security_Read_Permissions(PDF_Dictionary* encrypt, uint32_t* out_value);
// The encryption mode (1, 2 or 3) of a Standard dictionary: -103 for anything
// not understood, -242 for V 2 with R 2. Filter, V and R are read directly,
// without following references.
PDF_Result PDF_Security_Classify(PDF_Dictionary* encrypt, uint32_t* out_mode);

#endif
