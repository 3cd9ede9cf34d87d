// Builds files whose cross-reference data lives in streams: packed rows of
// any widths, PNG-predicted and Flate-compressed data, object streams, and
// the cross-reference stream object itself with "startxref" behind it.
#ifndef INVOICE_EXTRACT_PDF_XREF_STREAM_BUILDER_H
#define INVOICE_EXTRACT_PDF_XREF_STREAM_BUILDER_H

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "support/pdf_builder.h"

// One row: type (0 free, 1 in use, 2 compressed, anything else), then the
// second and third fields as the widths hold them.
struct Pdf_Xref_Stream_Row {
  uint64_t type;
  uint64_t second;
  uint64_t third;
};

// Where the objects of object streams went: number -> (container, index).
typedef std::map<uint32_t, std::pair<uint32_t, uint32_t>> Pdf_Packed_Objects;

typedef std::vector<std::pair<uint32_t, std::string>> Pdf_Object_List;

struct Pdf_Xref_Stream_Options {
  std::vector<uint32_t> widths = {1, 2, 1};
  bool flate = false;
  std::vector<uint32_t> index;  // Index pairs; empty: no Index entry
  std::string extra_entries;    // Root, Info, ID, Prev, ...
};

// Rows packed big-endian into the widths; a width of 0 leaves its field out.
std::string Pdf_Xref_Stream_Pack(const std::vector<Pdf_Xref_Stream_Row>& rows, const std::vector<uint32_t>& widths);
// Rows of columns bytes, each behind the PNG row tag 2 (difference to the row above).
std::string Pdf_Png_Up_Rows(const std::string& data, uint32_t columns);
// The bytes compressed with zlib.
std::string Pdf_Flate(const std::string& data);
// An object stream object holding the objects, recorded in *packed; returns its offset.
uint64_t Pdf_Builder_Object_Stream(Pdf_Builder* builder, Pdf_Packed_Objects* packed, uint32_t number,
                                   const Pdf_Object_List& objects, bool flate = true);
// Rows for the numbers 0 to size - 1: plain objects of the builder in use,
// packed ones compressed, everything else free (number 0 with generation 65535).
std::vector<Pdf_Xref_Stream_Row> Pdf_Xref_Stream_Rows(const Pdf_Builder& builder, const Pdf_Packed_Objects& packed,
                                                      uint32_t size);
// The cross-reference stream object (its own row, if rows has one, set to its
// offset), then "startxref" and the end marker. Returns the object's offset.
uint64_t Pdf_Builder_Xref_Stream(Pdf_Builder* builder, uint32_t number, std::vector<Pdf_Xref_Stream_Row> rows,
                                 uint32_t size, const Pdf_Xref_Stream_Options& options);

#endif
