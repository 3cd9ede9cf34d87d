#include "support/hazard_pdfs.h"

#include <zlib.h>

#include <vector>

#include "support/invoice_builder.h"
#include "support/pdf_builder.h"

std::string Hazard_Prev_Cycle_Pdf() {
  std::string bytes = Invoice_Build_Pdf(Invoice_Options{});
  // An incremental update with one free line whose trailer points back at
  // its own section.
  const std::string offset = std::to_string(bytes.size());
  bytes += "xref\n0 1\n0000000000 65535 f\r\ntrailer\n<< /Size 7 /Root 1 0 R /Prev " + offset + " >>\nstartxref\n" +
           offset + "\n%%EOF\n";
  return bytes;
}

std::string Hazard_Deep_Nesting_Pdf(uint32_t depth) {
  Pdf_Builder builder;
  Pdf_Builder_Header(&builder, "1.7");
  Pdf_Builder_Object(&builder, 1, "<< /Type /Catalog /Pages 2 0 R /Deep " + std::string(depth, '[') + " >>");
  Pdf_Builder_Object(&builder, 2, "<< /Type /Pages /Kids [] /Count 0 >>");
  Pdf_Builder_Finish(&builder, " /Root 1 0 R");
  return builder.bytes;
}

std::string Hazard_Kids_Cycle_Pdf() {
  Invoice_Options options;
  options.embedded_files = "7 0 R";
  options.extra_objects.push_back({7, "<< /Kids [7 0 R] >>"});
  return Invoice_Build_Pdf(options);
}

std::string Hazard_Empty_Conformance_Pdf() {
  Invoice_Options options;
  options.conformance = "";
  return Invoice_Build_Pdf(options);
}

std::string Hazard_Flate_Bomb_Pdf(uint64_t decoded_bytes) {
  z_stream stream{};
  deflateInit(&stream, Z_BEST_COMPRESSION);
  std::vector<unsigned char> zeros(1 << 20, 0);
  std::vector<unsigned char> out(1 << 16);
  std::string compressed;
  uint64_t left = decoded_bytes;
  int flush = Z_NO_FLUSH;
  do {
    uInt chunk = static_cast<uInt>(left < zeros.size() ? left : zeros.size());
    left -= chunk;
    flush = left == 0 ? Z_FINISH : Z_NO_FLUSH;
    stream.next_in = zeros.data();
    stream.avail_in = chunk;
    do {
      stream.next_out = out.data();
      stream.avail_out = static_cast<uInt>(out.size());
      deflate(&stream, flush);
      compressed.append(reinterpret_cast<const char*>(out.data()), out.size() - stream.avail_out);
    } while (stream.avail_out == 0);
  } while (flush != Z_FINISH);
  deflateEnd(&stream);

  Invoice_Options options;
  options.embedded_entries = " /Filter /FlateDecode";
  options.embedded_data = compressed;
  return Invoice_Build_Pdf(options);
}
