// Queries over the document's XMP metadata: the PDF/A level and single
// properties as text.
//
// The packet is parsed once per file and the parsed record kept for the
// queries after it, as long as the metadata stream hands over the same bytes.
// Every query still finds the stream and asks it for its decoded bytes, in
// the same order as ever, so that what the stream does on the way (loading,
// decoding, reports) and every result stay as they were.
#ifndef INVOICE_EXTRACT_PDF_METADATA_H
#define INVOICE_EXTRACT_PDF_METADATA_H

#include <cstdint>

#include "runtime/pdf_result.h"

struct PDF_File;
struct PDF_XMP;

// The parsed metadata packet of a file, with a copy of the bytes it was
// parsed from. Only a packet that parsed is kept; failures are not, so that
// a failing query fails the same way the next time.
struct PDF_Metadata_Cache {
  PDF_XMP* xmp;     // owned
  uint8_t* bytes;   // from the file's memory; owned
  uint32_t length;  // bytes parsed
};

PDF_Result PDF_File_Get_Pdfa_Level(PDF_File* file, uint32_t* out_part, char* out_conformance, int32_t* out_flavour);
PDF_Result PDF_File_Get_Metadata_Property(PDF_File* file, const char* name_space, const char* name, char* buffer,
                                          uint64_t* in_out_size);
// Releases the file's parsed packet, if any, and clears the field.
PDF_Result PDF_File_Release_Metadata_Cache(PDF_File* file);

#endif
