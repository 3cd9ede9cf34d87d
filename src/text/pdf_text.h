// Conversions between the text forms of PDF (one byte a character, or UTF-16
// behind a byte order mark) and UTF-8, hexadecimal writing, and two small byte
// helpers.
//
// Each conversion runs twice over its input: the first pass measures, the
// second writes into one allocation of the measured size plus a NUL. With
// measure_only set only the first pass runs, and memory and out_text may be
// null. Texts handed back are NUL-terminated, come from memory and belong to
// the caller; out_length never counts the NUL.
#ifndef INVOICE_EXTRACT_PDF_TEXT_H
#define INVOICE_EXTRACT_PDF_TEXT_H

#include <cstdint>

#include "runtime/pdf_result.h"

struct PDF_Memory;

// Source encoding of PDF_Text_To_UTF8. Code 3 and codes above 4 don't exist.
typedef uint32_t PDF_Text_Encoding;
enum : PDF_Text_Encoding {
  PDF_TEXT_LATIN1 = 0,    // the byte is the code point
  PDF_TEXT_WIN_ANSI = 1,  // Windows-1252
  PDF_TEXT_PDF_DOC = 2,   // PDFDocEncoding, falling back to Windows-1252
  PDF_TEXT_UTF16 = 4,     // big-endian unless marked little-endian
};

// Makes a PDF text string from UTF-8, in the narrowest form that holds it:
// narrow (one byte a character, U+0020-U+007E and U+00A1-U+00FF only) or wide
// (0xFE 0xFF, then two bytes a character, high byte first). *wide is in and
// out: set on entry it forces the wide form; on return it tells the form.
// Characters beyond 16 bits are written in a four-byte form of this library's
// own (0xDB, (code >> 10) - 64, 0xDF, low byte of code), which is not UTF-16.
// Malformed UTF-8 gives -304.
PDF_Result PDF_Text_From_UTF8(PDF_Memory* memory, const void* input, uint64_t length, uint8_t** out_text,
                              uint64_t* out_length, uint8_t* wide, bool measure_only);

// Makes UTF-8 from text in one of the PDF_Text_Encoding forms. Nothing is an
// error here: bytes without a table entry stand for themselves, and code
// points above U+10FFFF become a space. A surrogate pair is combined with its
// low unit read in the opposite byte order to the text's.
PDF_Result PDF_Text_To_UTF8(PDF_Memory* memory, const void* input, uint64_t length, PDF_Text_Encoding encoding,
                            char** out_text, uint64_t* out_length, bool measure_only);

// Writes each byte as two uppercase hexadecimal digits.
PDF_Result PDF_Text_To_Hex(PDF_Memory* memory, const void* input, uint64_t length, char** out_text,
                           uint64_t* out_length, bool measure_only);

// The UTF-8 bytes of a code point packed with the first byte highest, and
// their number in *out_count; 0 and a count of 0 above U+10FFFF. Surrogates
// are encoded like any other code point. A null out_count gives 0.
uint32_t PDF_UTF8_Encode_Code_Point(uint32_t code_point, uint32_t* out_count);

// Number of bytes before the first NUL; 0 for null.
uint64_t PDF_Text_Length(const char* text);

// 0 if the two runs of count bytes are equal (always for a count of 0), 1 if
// they differ. Compares from the last byte to the first and tells no order.
int32_t PDF_Bytes_Differ(const void* first, const void* second, uint64_t count);

#endif
