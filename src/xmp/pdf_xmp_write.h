// The write side of the XMP bridge, over the same PDF_XMP record as the read
// side: named getters and setters of the standard properties, dates, and the
// creation of a document identifier. Nothing in the two exported calls
// reaches these operations; they serve a writing form of the library.
//
// Like the read side, they stop the toolkit's exceptions here and answer with
// result codes: -500 for a null bridge or a date write that fails, -282 for a
// text write that fails, -281 for a date out of range, -7 without memory.
#ifndef INVOICE_EXTRACT_PDF_XMP_WRITE_H
#define INVOICE_EXTRACT_PDF_XMP_WRITE_H

#include <cstdint>
#include <string>

#include "runtime/pdf_result.h"

struct PDF_Pdf_Date;
struct PDF_XMP;

// Namespaces of the standard schemas, by their usual prefixes.
extern const char PDF_XMP_NS_PDF[];     // pdf
extern const char PDF_XMP_NS_XMP[];     // xmp
extern const char PDF_XMP_NS_DC[];      // dc
extern const char PDF_XMP_NS_XMP_MM[];  // xmpMM

// Option bits of PDF_XMP_Set_Text, as the toolkit numbers them.
enum : uint32_t {
  PDF_XMP_VALUE_IS_STRUCT = 0x100,
  PDF_XMP_VALUE_IS_ARRAY = 0x200,
  PDF_XMP_ARRAY_IS_ORDERED = 0x400,
  PDF_XMP_ARRAY_IS_ALTERNATE = 0x800,
  PDF_XMP_ARRAY_IS_ALT_TEXT = 0x1000,
};

// Writes one property from length bytes of text, after deleting what was
// there; a null text only deletes. Text that isn't UTF-8 is read as Latin-1.
// By the options: an alternative-text array gets its "x-default" item; any
// other array gets the text appended as an item (to an array that the delete
// has just emptied); a struct can't be written from a text and gives -500
// (after the delete); anything else is a simple value written with the
// options. -500 for a null bridge, -282 when the toolkit refuses, -7 without
// memory for the copy. The text must be followed by a readable byte: a UTF-8
// sequence cut off by length is read on into it.
PDF_Result PDF_XMP_Set_Text(PDF_XMP* xmp, const char* name_space, const char* name, uint32_t options, const char* text,
                            uint64_t length);

// Named getters: PDF_XMP_Get_Property of one property. -500 for a null
// argument; an absent property gives 0 with both outs clear. The text stays
// valid until the next query of the record.
PDF_Result PDF_XMP_Get_Producer(PDF_XMP* xmp, const char** out_text, uint64_t* out_length);
PDF_Result PDF_XMP_Get_Creator_Tool(PDF_XMP* xmp, const char** out_text, uint64_t* out_length);
PDF_Result PDF_XMP_Get_Keywords(PDF_XMP* xmp, const char** out_text, uint64_t* out_length);
PDF_Result PDF_XMP_Get_Description(PDF_XMP* xmp, const char** out_text, uint64_t* out_length);
PDF_Result PDF_XMP_Get_Creator(PDF_XMP* xmp, const char** out_text, uint64_t* out_length);
PDF_Result PDF_XMP_Get_Title(PDF_XMP* xmp, const char** out_text, uint64_t* out_length);

// Named setters: PDF_XMP_Set_Text with the options of each property. A null
// text removes the property. Keywords are left alone, with 0, when they
// already hold the same bytes or are absent and the text is null.
PDF_Result PDF_XMP_Set_Producer(PDF_XMP* xmp, const char* text, uint64_t length);      // pdf, simple
PDF_Result PDF_XMP_Set_Creator_Tool(PDF_XMP* xmp, const char* text, uint64_t length);  // xmp, simple
PDF_Result PDF_XMP_Set_Keywords(PDF_XMP* xmp, const char* text, uint64_t length);      // pdf, simple
PDF_Result PDF_XMP_Set_Description(PDF_XMP* xmp, const char* text, uint64_t length);   // dc, alt-text
PDF_Result PDF_XMP_Set_Creator(PDF_XMP* xmp, const char* text, uint64_t length);       // dc, ordered array
PDF_Result PDF_XMP_Set_Title(PDF_XMP* xmp, const char* text, uint64_t length);         // dc, alt-text

// Gives xmpMM:DocumentID a value of the form "uuid:" and 32 hexadecimal
// digits in groups of 8-4-4-4-12, made from the time, the addresses of this
// function and the bridge, and one random number, unless it has one already
// (0 either way). Seeds the process's random numbers with the current time.
// -500 for a null bridge or a failed test, -282 when the toolkit refuses.
PDF_Result PDF_XMP_Ensure_Document_Id(PDF_XMP* xmp);

// Reads a simple property as a date into *date. false for a null bridge or
// block, an absent or composite property, or a value that isn't a date. The
// zone kind follows the toolkit's sign, which is 0 (UTC) also for a value
// without a zone.
bool PDF_XMP_Get_Date(PDF_XMP* xmp, const char* name_space, const char* name, PDF_Pdf_Date* date);

// Writes a date in the XMP form: "YYYY", "-MM" with a month from 1, "-DD" with
// a day from 1, then, after a day only, "Thh:mm" unless hour and minute are
// both negative, ":ss" if second isn't negative, and the zone ("Z" or
// "+hh:mm"/"-hh:mm"). -281 for a negative year, a month above 12, a day above
// 31, an hour above 23, a minute or second above 59, a zone ahead or behind
// with its hour outside 0-23 or minute outside 0-59, and no zone with an hour
// or minute that isn't negative. -500 for a null argument.
PDF_Result PDF_XMP_Format_Date(std::string* out_string, const PDF_Pdf_Date* date);

// Writes the date as a simple value, or deletes the property for a null
// date. A date out of range gives -281 with nothing changed; -500 for a null
// bridge or when the toolkit refuses.
PDF_Result PDF_XMP_Set_Date(PDF_XMP* xmp, const char* name_space, const char* name, const PDF_Pdf_Date* date);

// xmp:CreateDate and xmp:ModifyDate. The getters read into the record's date
// block and return it, or null when the bridge is null or the date can't be
// read; the block is overwritten by the next read.
PDF_Pdf_Date* PDF_XMP_Get_Create_Date(PDF_XMP* xmp);
PDF_Result PDF_XMP_Set_Create_Date(PDF_XMP* xmp, const PDF_Pdf_Date* date);
PDF_Pdf_Date* PDF_XMP_Get_Modify_Date(PDF_XMP* xmp);
PDF_Result PDF_XMP_Set_Modify_Date(PDF_XMP* xmp, const PDF_Pdf_Date* date);

#endif
