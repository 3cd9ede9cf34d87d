// The bridge to the XMP toolkit: a record owned by a PDF_Memory that holds
// one parsed packet, and queries over it that answer with result codes.
//
// The first PDF_XMP of the process initialises the toolkit, under the
// process-wide mutex of pdf_xmp_lock.h, and the toolkit then stays
// initialised until the process ends: no record terminates it. All other
// toolkit calls run unlocked on the record of the caller. The namespaces that
// a packet registers therefore outlive its record; that changes no answer, as
// a namespace that a packet doesn't use holds no property of that packet. Failures that the toolkit reports are turned
// into result codes, with one exception: PDF_XMP_Get_Pdfa_Level lets std::out_of_range through for a conformance
// property that is present and empty.
#ifndef INVOICE_EXTRACT_PDF_XMP_H
#define INVOICE_EXTRACT_PDF_XMP_H

#include <exempi/xmp.h>

#include <cstdint>
#include <string>

#include "runtime/pdf_result.h"

struct PDF_Memory;

struct PDF_Stream;

// Namespace of the PDF/A identification properties "part" and "conformance".
extern const char PDF_XMP_NS_PDFA_ID[];

// A date of the write side of the bridge. Zone kind: 0 no zone, 1 UTC, 2 ahead
// of UTC, 3 behind UTC. A negative hour, minute or second ends the date before
// that field.
struct PDF_Pdf_Date {
  int32_t year;
  int32_t month;
  int32_t day;
  int32_t hour;
  int32_t minute;
  int32_t second;
  int32_t zone_kind;
  int32_t zone_hour;
  int32_t zone_minute;
};

// PDF/A identification read from the pdfaid properties.
typedef int32_t PDF_Pdfa_Flavour;
enum : PDF_Pdfa_Flavour {
  PDF_PDFA_NONE = 0,  // no identification, or no bridge
  PDF_PDFA_1A = 1,
  PDF_PDFA_1B = 2,
  PDF_PDFA_2A = 3,
  PDF_PDFA_2U = 4,
  PDF_PDFA_2B = 5,
  PDF_PDFA_3A = 6,
  PDF_PDFA_3U = 7,
  PDF_PDFA_3B = 8,
  PDF_PDFA_UNKNOWN = -1,  // any other pair, or the toolkit failed
};

struct PDF_XMP {
  PDF_Memory* memory;  // where the record came from; not owned
  XmpPtr meta;         // the parsed packet, from the toolkit; owned
  std::string* text;   // last value of PDF_XMP_Get_Property, from new; owned
  PDF_Pdf_Date* date;  // from memory; owned
};

// Parses length bytes (options 0: no x:xmpmeta element is required) into a
// new record in *out_xmp, initialising the toolkit first if no record of the
// process has done so. Null bytes give an empty record in which every query
// finds nothing. -500 for a null holder or a toolkit that can't be set up,
// -7 without memory, -280 for a packet that the toolkit rejects; the holder
// stays null on failure.
PDF_Result PDF_XMP_Create(PDF_XMP** out_xmp, PDF_Memory* memory, const void* bytes, uint32_t length);

// PDF_XMP_Create over the decoded data of a stream (data first, then the
// length, which decoding changes; the length is cut to 32 bits). A null
// stream, or one that can't be loaded or decoded, gives an empty record.
PDF_Result PDF_XMP_Create_From_Stream(PDF_XMP** out_xmp, PDF_Memory* memory, PDF_Stream* stream);

// Releases the record; the toolkit stays initialised. -500 for a null holder
// or record, with nothing done.
PDF_Result PDF_XMP_Delete(PDF_XMP** holder, PDF_Memory* memory);

// Reads pdfaid "part" and "conformance". The outs may be null; those given
// are cleared first (except for a null bridge, which gives 0). The part is
// stored as atol reads it and the conformance as its first character; the
// flavour compares both strings exactly, case included. Throws
// std::out_of_range when conformance is present and empty and
// out_conformance is given.
PDF_Pdfa_Flavour PDF_XMP_Get_Pdfa_Level(PDF_XMP* xmp, uint32_t* out_part, char* out_conformance);

// One property as text: a simple value as it stands, an alternative-text
// array as its "x-default" item, any other array or struct as its leaf values
// joined with ", ". false for a null bridge, a namespace the toolkit doesn't
// know, an absent property or a toolkit failure. On false *out_string may
// hold the namespace prefix.
bool PDF_XMP_Get_Text(PDF_XMP* xmp, const char* name_space, const char* name, std::string* out_string);

// PDF_XMP_Get_Text into the record's text. An absent property gives 0 with
// both outs clear. The text stays valid until the next query or the deletion.
PDF_Result PDF_XMP_Get_Property(PDF_XMP* xmp, const char* name_space, const char* name, const char** out_text,
                                uint64_t* out_length);

#endif
