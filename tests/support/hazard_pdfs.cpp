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

namespace {

// Raw deflate output for `count` zero bytes with the given flush.
std::string Deflate_Zero_Run(z_stream* stream, uint64_t count, int flush) {
  std::vector<unsigned char> zeros(count, 0);
  std::vector<unsigned char> out(count / 512 + 1024);
  stream->next_in = zeros.data();
  stream->avail_in = static_cast<uInt>(count);
  std::string compressed;
  do {
    stream->next_out = out.data();
    stream->avail_out = static_cast<uInt>(out.size());
    deflate(stream, flush);
    compressed.append(reinterpret_cast<const char*>(out.data()), out.size() - stream->avail_out);
  } while (stream->avail_out == 0);
  return compressed;
}

}  // namespace

std::string Hazard_Flate_Zeros(uint64_t decoded_bytes) {
  // A block of 1 MiB of zeros ended by a full flush starts on a byte and
  // refers to nothing before it, so it may follow itself any number of times;
  // the rest ends the stream. The checksum of n zeros is n mod 65521 over 1.
  const uint64_t chunk = uint64_t{1} << 20;
  z_stream stream{};
  deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, -15, 9, Z_DEFAULT_STRATEGY);
  const std::string block = Deflate_Zero_Run(&stream, chunk, Z_FULL_FLUSH);
  const std::string tail = Deflate_Zero_Run(&stream, decoded_bytes % chunk, Z_FINISH);
  deflateEnd(&stream);
  std::string compressed = "\x78\xda";
  compressed.reserve(compressed.size() + block.size() * (decoded_bytes / chunk) + tail.size() + 4);
  for (uint64_t i = 0; i < decoded_bytes / chunk; ++i) compressed += block;
  compressed += tail;
  const uint32_t adler = static_cast<uint32_t>(decoded_bytes % 65521) << 16 | 1;
  for (int shift = 24; shift >= 0; shift -= 8) compressed.push_back(static_cast<char>((adler >> shift) & 0xFF));
  return compressed;
}

std::string Hazard_Flate_Bomb_Pdf(uint64_t decoded_bytes) {
  Invoice_Options options;
  options.embedded_entries = " /Filter /FlateDecode";
  options.embedded_data = Hazard_Flate_Zeros(decoded_bytes);
  return Invoice_Build_Pdf(options);
}
