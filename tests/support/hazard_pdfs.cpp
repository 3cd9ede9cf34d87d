#include "support/hazard_pdfs.h"

#include <zlib.h>

#include <cstdio>
#include <vector>

#include "support/invoice_builder.h"
#include "support/pdf_builder.h"
#include "support/pdf_xref_stream_builder.h"

namespace {

// The number behind the last "startxref" of a file.
uint64_t Startxref_Of(const std::string& bytes) {
  size_t at = bytes.rfind("startxref");
  return std::stoull(bytes.substr(at + 9));
}

// An offset written with a fixed number of digits, so that the bytes before
// it keep their length whatever the value.
std::string Fixed_Offset(uint64_t offset) {
  char text[32];
  snprintf(text, sizeof(text), "%012llu", static_cast<unsigned long long>(offset));
  return text;
}

}  // namespace

std::string Hazard_Prev_Cycle_Pdf() {
  std::string bytes = Invoice_Build_Pdf(Invoice_Options{});
  // An incremental update with one free line whose trailer points back at
  // its own section.
  const std::string offset = std::to_string(bytes.size());
  bytes += "xref\n0 1\n0000000000 65535 f\r\ntrailer\n<< /Size 7 /Root 1 0 R /Prev " + offset + " >>\nstartxref\n" +
           offset + "\n%%EOF\n";
  return bytes;
}

std::string Hazard_Prev_Loop_Through_Invoice_Pdf() {
  // The invoice's own trailer gains a Prev to the update behind it.
  Invoice_Options options;
  options.trailer_extra = " /Prev " + Fixed_Offset(0);
  std::string bytes = Invoice_Build_Pdf(options);
  const uint64_t table = Startxref_Of(bytes);
  const uint64_t update = bytes.size();
  bytes.replace(bytes.find("/Prev " + Fixed_Offset(0)), 18, "/Prev " + Fixed_Offset(update));
  bytes += "xref\n0 1\n0000000000 65535 f\r\ntrailer\n<< /Size 7 /Root 1 0 R /Prev " + std::to_string(table) +
           " >>\nstartxref\n" + std::to_string(update) + "\n%%EOF\n";
  return bytes;
}

std::string Hazard_Xref_Stream_Loop_Pdf() {
  Invoice_Options options;
  options.trailer_extra = " /Prev " + Fixed_Offset(0);
  Pdf_Builder builder;
  builder.bytes = Invoice_Build_Pdf(options);
  const uint64_t table = Startxref_Of(builder.bytes);
  // Objects 10 and 11: object streams that extend each other, holding 12
  // and 13. Object 14 is the Info dictionary that reaches everything.
  const std::string twelve = "12 0 << /Twelve 12 >>";
  const std::string thirteen = "13 0 << /Thirteen 13 >>";
  Pdf_Builder_Stream(&builder, 10, "/Type /ObjStm /N 1 /First 5 /Extends 11 0 R", twelve);
  Pdf_Builder_Stream(&builder, 11, "/Type /ObjStm /N 1 /First 5 /Extends 10 0 R", thirteen);
  Pdf_Builder_Object(&builder, 14, "<< /Seven 7 0 R /Eight 8 0 R /Twelve 12 0 R /Thirteen 13 0 R >>");
  const uint64_t update = builder.bytes.size();
  builder.bytes.replace(builder.bytes.find("/Prev " + Fixed_Offset(0)), 18, "/Prev " + Fixed_Offset(update));
  // Numbers 7 to 15: 7 compressed in 8 and 8 in 7; 9 free; 10, 11, 14 plain;
  // 12 in 10 and 13 in 11; 15 the stream itself.
  std::vector<Pdf_Xref_Stream_Row> rows = {
      {2, 8, 0},
      {2, 7, 0},
      {0, 0, 0},
      {1, builder.offsets[10], 0},
      {1, builder.offsets[11], 0},
      {2, 10, 0},
      {2, 11, 0},
      {1, builder.offsets[14], 0},
      {1, update, 0},
  };
  Pdf_Xref_Stream_Options stream;
  stream.index = {7, 9};
  stream.extra_entries = "/Prev " + std::to_string(table) + " /Root 1 0 R /Info 14 0 R";
  Pdf_Builder_Xref_Stream(&builder, 15, rows, 16, stream);
  return builder.bytes;
}

std::string Hazard_Xref_Count_Past_End_Pdf(uint64_t count) {
  std::string bytes = Invoice_Build_Pdf(Invoice_Options{});
  // The subsection's count ends the line behind "xref"; the table stays
  // where startxref points, so only the bytes behind it move.
  const size_t line = bytes.find('\n', Startxref_Of(bytes)) + 1;
  const size_t end = bytes.find('\n', line);
  bytes.replace(line, end - line, "0 " + std::to_string(count));
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

std::string Hazard_Deep_Value_Invoice_Pdf(uint32_t depth, bool dictionaries) {
  std::string value;
  if (dictionaries) {
    value.reserve(depth * 8);
    for (uint32_t i = 0; i < depth; ++i) value += "<< /A ";
    value += "1";
    for (uint32_t i = 0; i < depth; ++i) value += " >>";
  } else {
    value = std::string(depth, '[') + std::string(depth, ']');
  }
  Invoice_Options options;
  options.trailer_extra = " /Deep 7 0 R";
  options.extra_objects.push_back({7, value});
  return Invoice_Build_Pdf(options);
}

std::string Hazard_Reread_Nesting_Pdf(uint32_t depth) {
  std::string value = "1";
  for (uint32_t i = 0; i < depth; ++i) value = "<< /K [ " + value + " ) >>";
  Invoice_Options options;
  options.embedded_entries = " /Deep " + value;
  return Invoice_Build_Pdf(options);
}

std::string Hazard_Deep_Name_Tree_Pdf(uint32_t depth) {
  Invoice_Options options;
  options.embedded_files = "7 0 R";
  for (uint32_t i = 0; i < depth; ++i) {
    const uint32_t number = 7 + i;
    options.extra_objects.push_back({number, i + 1 < depth ? "<< /Kids [" + std::to_string(number + 1) + " 0 R] >>"
                                                           : "<< /Names [(ZUGFeRD-invoice.xml) 5 0 R] >>"});
  }
  return Invoice_Build_Pdf(options);
}

std::string Hazard_Kids_Cycle_Pdf() {
  Invoice_Options options;
  options.embedded_files = "7 0 R";
  options.extra_objects.push_back({7, "<< /Kids [7 0 R] >>"});
  return Invoice_Build_Pdf(options);
}

std::string Hazard_Kids_Cycle_Beside_Leaf_Pdf() {
  Invoice_Options options;
  options.embedded_files = "7 0 R";
  options.extra_objects.push_back({7, "<< /Kids [8 0 R 9 0 R] >>"});
  options.extra_objects.push_back({8, "<< /Kids [7 0 R 8 0 R] >>"});
  options.extra_objects.push_back({9, "<< /Names [(ZUGFeRD-invoice.xml) 5 0 R] >>"});
  return Invoice_Build_Pdf(options);
}

std::string Hazard_Self_Length_Pdf() {
  Invoice_Options options;
  options.trailer_extra = " /Loop 7 0 R";
  options.extra_objects.push_back({7, "<< /Length 7 0 R >>\nstream\nabc\nendstream"});
  return Invoice_Build_Pdf(options);
}

std::string Hazard_Long_Chains_Pdf(uint32_t count) {
  Invoice_Options options;
  // 7 .. 7 + count - 1 lead by bare references to the tree's node behind them.
  const uint32_t node = 7 + count;
  options.embedded_files = "7 0 R";
  for (uint32_t i = 0; i < count; ++i) options.extra_objects.push_back({7 + i, std::to_string(8 + i) + " 0 R"});
  options.extra_objects.push_back({node, "<< /Names [(ZUGFeRD-invoice.xml) 5 0 R] >>"});
  // node + 1 .. node + count: arrays, each naming the next; the last is empty.
  options.trailer_extra = " /Chain " + std::to_string(node + 1) + " 0 R";
  for (uint32_t i = 1; i <= count; ++i) {
    options.extra_objects.push_back({node + i, i < count ? "[" + std::to_string(node + i + 1) + " 0 R]" : "[]"});
  }
  return Invoice_Build_Pdf(options);
}

std::string Hazard_Empty_Conformance_Pdf(const std::string& conformance) {
  Invoice_Options options;
  options.conformance = conformance;
  return Invoice_Build_Pdf(options);
}

std::string Hazard_Long_Length_Pdf(uint64_t length) {
  // Room for the stated Length in front of the true one, which takes its
  // place with every offset kept.
  Invoice_Options options;
  options.embedded_entries = " /Room " + std::string(24, '0');
  std::string bytes = Invoice_Build_Pdf(options);
  const size_t from = bytes.find("/Room ");
  const size_t to = bytes.find(">>", from);
  std::string entry = "/Length " + std::to_string(length);
  entry.resize(to - from, ' ');
  bytes.replace(from, to - from, entry);
  return bytes;
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

std::string Hazard_Shifted_Invoice_Head() {
  // A header, and a number on the next line, so that the header's number is
  // found at once and not behind gigabytes of zeros.
  return "%PDF-1.7\n1 0 obj\nnull\nendobj\n";
}

std::string Hazard_Shifted_Invoice_Pdf(uint64_t shift) {
  std::string bytes = Invoice_Build_Pdf(Invoice_Options{});
  // Every line of the table is "oooooooooo ggggg n" + two bytes; its ten
  // offset digits, and the value behind startxref, move on by the shift.
  const uint64_t table = Startxref_Of(bytes);
  size_t line = bytes.find('\n', bytes.find('\n', table) + 1) + 1;  // behind "xref" and "0 n"
  while (line + 20 <= bytes.size() && bytes.compare(line, 7, "trailer") != 0) {
    if (bytes[line + 17] == 'n') {
      char digits[16];
      snprintf(digits, sizeof(digits), "%010llu",
               static_cast<unsigned long long>(std::stoull(bytes.substr(line, 10)) + shift));
      bytes.replace(line, 10, digits);
    }
    line += 20;
  }
  size_t at = bytes.rfind("startxref\n") + 10;
  bytes.replace(at, bytes.find('\n', at) - at, std::to_string(table + shift));
  return bytes;
}
