// Predictors that run over the output of a decoder, in place, on 8-bit
// components: TIFF horizontal differencing (2) and the tagged PNG rows (10 to
// 15, where the tag of each row decides and the six values behave alike).
#ifndef INVOICE_EXTRACT_PDF_PREDICTOR_H
#define INVOICE_EXTRACT_PDF_PREDICTOR_H

#include <cstdint>

#include "runtime/pdf_result.h"

// Undoes the predictor over length bytes of buffer. A row holds colors times
// columns bytes (a 32-bit product); the last row may be short. PNG rows lose
// their tag byte, so *out_length is the length less one per row; predictor 2
// leaves the length as it is. Predictor 1 returns 0 without storing
// *out_length. An unknown predictor or row tag gives -54, and rows before an
// unknown tag stay rewritten.
PDF_Result PDF_Predictor_Decode(uint8_t* buffer, uint64_t length, uint8_t colors, uint32_t columns, uint8_t predictor,
                                uint64_t* out_length);

#endif
