// Filters named by a stream: the code of each filter name, the parameter
// record of one filter, and the reading of Filter and DecodeParms into a
// table of such records, whichever form the two entries take.
#ifndef INVOICE_EXTRACT_PDF_FILTER_H
#define INVOICE_EXTRACT_PDF_FILTER_H

#include <cstdint>

#include "objects/pdf_name.h"
#include "runtime/pdf_result.h"

struct PDF_Dictionary;
struct PDF_Stream;

// Code of a filter. Only 10 and 11 have a decoder; the others are known by
// name alone. These are the numbers that "unsupported stream filter (%d)"
// prints.
enum PDF_Filter_Type : uint8_t {
  PDF_Filter_Type_Unknown = 0,  // any other name, abbreviations included
  PDF_Filter_Type_None = 1,     // no name at all
  PDF_Filter_Type_ASCII_Hex = 2,
  PDF_Filter_Type_ASCII85 = 3,
  PDF_Filter_Type_LZW = 10,
  PDF_Filter_Type_Flate = 11,
  PDF_Filter_Type_Run_Length = 12,
  PDF_Filter_Type_CCITT_Fax = 13,
  PDF_Filter_Type_JBIG2 = 14,
  PDF_Filter_Type_DCT = 15,
  PDF_Filter_Type_JPX = 16,
  PDF_Filter_Type_Crypt = 50,
};

// One filter and its parameters. Numbers are narrowed to the field as they
// stand, without a range check (a Predictor of 266 is 10).
struct PDF_Filter_Parms {
  PDF_Filter_Type type;                // set before the record is read
  uint8_t predictor;                   // Predictor, 1
  uint8_t colors;                      // Colors, 1
  uint8_t bits_per_component;          // BitsPerComponent, 8
  uint8_t early_change;                // EarlyChange, 1; not passed to the decoder
  int32_t k;                           // K, 0
  uint8_t end_of_line;                 // EndOfLine, false
  uint8_t end_of_block;                // EndOfBlock, true
  uint8_t encoded_byte_align;          // EncodedByteAlign, false
  uint32_t columns;                    // Columns, 1728 for CCITTFaxDecode, else 1
  uint32_t rows;                       // Rows, 0
  uint8_t black_is_1;                  // BlackIs1, false
  uint32_t damaged_rows_before_error;  // DamagedRowsBeforeError, 0
  uint32_t jbig2_globals;              // object number behind JBIG2Globals, 0
  uint8_t color_transform;             // ColorTransform, 255: not stated
};

// The code of the name; a null name is 1, a name not in the list 0.
PDF_Filter_Type PDF_Filter_Type_From_Name(const PDF_Name* name);

// Sets every field but type to its default, then reads the keys that belong
// to the record's type from the dictionary, which may be null. Keys are looked
// up without following references: a value of the wrong type (an indirect
// number among them) gives -54 at once, keeping what was read before it.
// JBIG2Globals alone must be a reference. Null record gives -500.
PDF_Result PDF_Filter_Parms_Read(PDF_Dictionary* parms_dictionary, PDF_Filter_Parms* record);

// How many filters Filter names (after following a reference): 0 when absent
// or dangling, 1 for a name, the element count of an array (elements not
// looked at). Another type gives -52 and leaves *out_count alone.
PDF_Result PDF_Stream_Get_Filter_Count(PDF_Stream* stream, uint32_t* out_count);

// Fills as many records as PDF_Stream_Get_Filter_Count tells. Filter and
// DecodeParms are followed if they are references, their elements are not.
// A Filter array must hold direct names and may only stand beside a
// DecodeParms array (or none): -54 otherwise. Parameters that are not a direct
// dictionary leave the defaults without complaint.
PDF_Result PDF_Stream_Get_Filter_Table(PDF_Stream* stream, PDF_Filter_Parms* table);

#endif
