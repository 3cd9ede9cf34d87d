// The filter chain: decodes a stream in place, filter by filter in the order
// of its Filter entry, and strikes each decoded filter from the dictionary.
#ifndef INVOICE_EXTRACT_PDF_STREAM_DECODE_H
#define INVOICE_EXTRACT_PDF_STREAM_DECODE_H

#include <cstdint>

#include "runtime/pdf_result.h"

struct PDF_Array;
struct PDF_Filter_Parms;
struct PDF_Stream;

// Runs the chain over the stream's data. LZWDecode and FlateDecode are
// decoded; any other filter is reported and refused with -107 when
// report_unsupported is set, and passed over otherwise (its entry stays and
// the following filters run on the bytes as they are).
//
// Each decoded step rewrites data, length and Length, then removes its
// filter: from the Filter array (and the DecodeParms array) at the step's own
// index when more than one filter is named, else the two entries themselves.
// The arrays shrink as they go, so the step at the first index past the
// entries left fails with -25 after its data was decoded: two decodable
// filters decode twice and answer -25.
PDF_Result PDF_Stream_Decode(PDF_Stream* stream, bool report_unsupported);

// One step of the chain. filters and parms are the Filter and DecodeParms
// arrays when more than one filter is named, else null. A decoder failure
// leaves the stream as it was; a failure from the predictor on comes after the
// raw data was released (the stream then has no data, length unchanged).
PDF_Result PDF_Stream_Decode_Flate(PDF_Stream* stream, const PDF_Filter_Parms* record, PDF_Array* filters,
                                   PDF_Array* parms, uint32_t index);
PDF_Result PDF_Stream_Decode_LZW(PDF_Stream* stream, const PDF_Filter_Parms* record, PDF_Array* filters,
                                 PDF_Array* parms, uint32_t index);

// Loads and decodes (unsupported filters refused), and returns the bytes,
// still owned by the stream, or null; the length is PDF_Stream_Get_Length
// afterwards. A failed load releases whatever data it left.
uint8_t* PDF_Stream_Get_Data(PDF_Stream* stream);

// True if no filter is named, or every one is FlateDecode with predictor 1.
// False when anything fails.
bool PDF_Stream_Is_Plain_Flate(PDF_Stream* stream);

#endif
