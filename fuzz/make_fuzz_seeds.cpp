// Writes the seed corpora of the fuzz targets, built by the project's own
// test helpers: make_fuzz_seeds <folder> writes <folder>/<target>/<name> for
// every target.
#include <sys/stat.h>

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "support/hazard_pdfs.h"
#include "support/invoice_builder.h"
#include "support/lzw_encoder.h"
#include "support/pdf_builder.h"
#include "support/pdf_xref_stream_builder.h"

namespace {

typedef std::vector<std::pair<std::string, std::string>> Seeds;

std::string Level(int level) { return std::string(1, static_cast<char>(level)); }

// A little-endian 32-bit value.
std::string Le32(uint32_t value) {
  std::string bytes;
  for (int i = 0; i < 4; ++i) bytes += static_cast<char>((value >> (8 * i)) & 0xFF);
  return bytes;
}

Seeds Flate_Seeds() {
  const std::string xml = Invoice_Sample_Xml();
  std::string compressed = Pdf_Flate(xml);
  std::string bad_checksum = compressed;
  bad_checksum.back() = static_cast<char>(bad_checksum.back() ^ 0x55);
  return {{"xml", compressed},
          {"empty", Pdf_Flate("")},
          {"expands", Pdf_Flate(std::string(40000, 'a'))},
          {"truncated", compressed.substr(0, compressed.size() / 2)},
          {"bad-checksum", bad_checksum},
          {"trailing", Pdf_Flate("abc") + "junk behind the stream"},
          {"not-zlib", "plain text"}};
}

Seeds Lzw_Seeds() {
  const std::string xml = Invoice_Sample_Xml();
  std::string varied;
  for (uint32_t i = 0; i < 3000; ++i) varied += static_cast<char>((i * 7919u) >> 3);
  return {{"xml", Test_LZW_Encode(xml)},
          {"late-change", Test_LZW_Encode(xml, 0)},
          {"no-end-code", Test_LZW_Encode("ABABABABAB", 1, false)},
          {"clear-then-end", Test_LZW_Pack({256, 65, 66, 256, 257})},
          {"growing-string", Test_LZW_Pack({256, 65, 258, 259, 257})},
          {"no-clear", Test_LZW_Pack({65, 66, 257})},
          {"old-bit-order", std::string("\x00\x01\x02\x03", 4)},
          {"full-table", Test_LZW_Encode(varied)}};
}

Seeds Predictor_Seeds() {
  // Selector byte (predictor), colors, columns (32 bits), then the rows.
  std::string rows;
  for (int i = 0; i < 48; ++i) rows += static_cast<char>(i * 5);
  std::string tagged;
  for (int tag = 0; tag <= 4; ++tag) tagged += static_cast<char>(tag) + rows.substr(tag * 8, 8);
  return {{"png-up", std::string(1, 2) + "\x01" + Le32(4) + Pdf_Png_Up_Rows(rows, 4)},
          {"png-tags", std::string(1, 3) + "\x01" + Le32(8) + tagged},
          {"png-tags-3-colors", std::string(1, 6) + "\x03" + Le32(2) + tagged},
          {"png-short-row", std::string(1, 2) + "\x01" + Le32(4) + std::string("\x01\x01\x02\x03\x04\x02\x05", 7)},
          {"tiff", std::string(1, 1) + "\x03" + Le32(4) + rows},
          {"none", std::string(1, 0) + "\x01" + Le32(4) + rows},
          {"unknown-tag", std::string(1, 4) + "\x01" + Le32(2) + std::string("\x01\x05\x05\x09\x07\x07", 6)}};
}

Seeds Parser_Seeds() {
  return {
      {"dictionary", Level(0) + "<< /Type /Catalog /Pages 2 0 R /Names << /EmbeddedFiles 5 0 R >> /AF [5 0 R] >>"},
      {"array", Level(1) + "[1 2 0 R 3.5 -.5 +7 (str\\)ing) <4142> /Na#20me true false null 0 0 R]"},
      {"strings", Level(0) + "(a(b)c\\n\\101\\\r\nd) <41 42 4> (\\0053)"},
      {"references", Level(0) + "[1 2 R 3 4] [1 2 3 R] 5 0 Rx 5 0R"},
      {"comments", Level(0) + "% note\n[%c\n1%d\n] <</A 1%c\n>>"},
      {"damaged-dictionary", Level(2) + "<</A 1 /B zz /C 3>> <</A [1 x] /B 2>>"},
      {"stream", Level(3) + "<< /Length 11 >>\nstream\r\nhello world\r\nendstream"},
      {"flate-stream",
       Level(3) + "<< /Length 4 0 R /Filter /FlateDecode >>\nstream\r\n" + Pdf_Flate("abc") + "\r\nendstream"},
      {"predicted-stream",
       Level(4) + "<< /Length 20 /Filter [/FlateDecode] /DecodeParms [<< /Predictor 12 /Columns 4 >>] >>\nstream\r\n" +
           Pdf_Flate(Pdf_Png_Up_Rows("abcdefgh", 4)) + "\r\nendstream"},
      {"lzw-stream", Level(3) + "<< /Length 9 /Filter /LZWDecode /DecodeParms << /EarlyChange 0 >> >>\nstream\r\n" +
                         Test_LZW_Encode("abcabcabc") + "\r\nendstream"}};
}

Seeds Text_Seeds() {
  // Selector: 0 and 1 from UTF-8 (narrow or forced wide), 2 to 5 to UTF-8 from
  // Latin-1, Windows-1252, PDFDocEncoding and UTF-16, 6 hexadecimal; the top
  // bit measures only.
  return {{"narrow", std::string(1, 0) + "ABC \xC2\xA1\xC3\xBF"},
          {"wide", std::string(1, 0) + "tab\there \xE2\x82\xAC \xF0\x9F\x98\x80"},
          {"forced-wide", std::string(1, 1) + "ABC"},
          {"malformed", std::string(1, 0) + "\x80\xF8\x88\x80\x80\x80\xC3"},
          {"latin1", std::string(1, 2) + "caf\xE9"},
          {"win-ansi", std::string(1, 3) + "\x80\x81\x8D\x9F"},
          {"pdf-doc", std::string(1, 4) + "\x18\x80\x8A\x9C\x9E\x9F\xA0"},
          {"utf16-be", std::string(1, 5) + std::string("\xFE\xFF\x00"
                                                       "A\xD8\x3D\x00\xDE\xDC\x00",
                                                       11)},
          {"utf16-le", std::string(1, 5) + std::string("\xFF\xFE"
                                                       "A\x00\x3D\xD8",
                                                       6)},
          {"utf16-trailing-surrogate", std::string(1, 5) + std::string("\x00"
                                                                       "A\xD8\x3D",
                                                                       4)},
          {"hex", std::string(1, 6) + "\x00\x7F\xFF"},
          {"measure", std::string(1, static_cast<char>(0x80)) + "\xE2\x82\xAC"}};
}

Seeds Xmp_Seeds() {
  Invoice_Options attributes;
  attributes.attribute_form = true;
  Invoice_Options part2;
  part2.part = "2";
  part2.conformance = "U";
  Invoice_Options lower;
  lower.name_space = "urn:ferd:pdfa:crossindustrydocument:invoice:1p0#";
  lower.conformance = "b";
  Invoice_Options shapes;
  shapes.extra_rdf =
      "<rdf:Description rdf:about=\"\" xmlns:dc=\"http://purl.org/dc/elements/1.1/\">\n"
      "<dc:title><rdf:Alt><rdf:li xml:lang=\"x-default\">Invoice</rdf:li><rdf:li xml:lang=\"de\">Rechnung</rdf:li>"
      "</rdf:Alt></dc:title>\n<dc:creator><rdf:Seq><rdf:li>A</rdf:li><rdf:li>B</rdf:li></rdf:Seq></dc:creator>\n"
      "</rdf:Description>\n";
  Invoice_Options empty_conformance;
  empty_conformance.conformance = "";
  std::string packet = Invoice_Xmp_Packet(Invoice_Options());
  return {{"invoice", packet},
          {"attributes", Invoice_Xmp_Packet(attributes)},
          {"pdfa-2u", Invoice_Xmp_Packet(part2)},
          {"lower-case", Invoice_Xmp_Packet(lower)},
          {"shapes", Invoice_Xmp_Packet(shapes)},
          {"empty-conformance", Invoice_Xmp_Packet(empty_conformance)},
          {"cut", packet.substr(0, packet.size() / 2)}};
}

// An invoice whose catalog, page tree, filespec and page lie in a Flate
// object stream, with a cross-reference stream.
std::string Packed_Invoice() {
  Pdf_Builder b;
  Pdf_Builder_Header(&b);
  Pdf_Builder_Stream(&b, 3, "/Type /Metadata /Subtype /XML", Invoice_Xmp_Packet(Invoice_Options()));
  Pdf_Builder_Stream(&b, 4, "/Type /EmbeddedFile /Subtype /text#2Fxml", Invoice_Sample_Xml());
  Pdf_Packed_Objects packed;
  Pdf_Builder_Object_Stream(&b, &packed, 7,
                            {{1,
                              "<< /Type /Catalog /Pages 2 0 R /Metadata 3 0 R /Names << /EmbeddedFiles << /Names "
                              "[(ZUGFeRD-invoice.xml) 5 0 R] >> >> >>"},
                             {2, "<< /Type /Pages /Kids [6 0 R] /Count 1 >>"},
                             {5, "<< /Type /Filespec /F (ZUGFeRD-invoice.xml) /EF << /F 4 0 R >> >>"},
                             {6, "<< /Type /Page /Parent 2 0 R >>"}});
  Pdf_Xref_Stream_Options options;
  options.flate = true;
  options.extra_entries = "/Root 1 0 R";
  Pdf_Builder_Xref_Stream(&b, 8, Pdf_Xref_Stream_Rows(b, packed, 9), 9, options);
  return b.bytes;
}

// A small invoice and an incremental update with a classic table behind Prev.
std::string Updated_Invoice() {
  std::string bytes = Invoice_Build_Pdf(Invoice_Options());
  Pdf_Builder b;
  b.bytes = bytes;
  const std::string prev = bytes.substr(bytes.rfind("startxref\n") + 10);
  uint64_t offset = Pdf_Builder_Object(&b, 6, "<< /Type /Page /Parent 2 0 R /Rotate 90 >>");
  uint64_t table = Pdf_Builder_Xref(&b, {{6, {{offset, 0, 'n'}}}});
  Pdf_Builder_Trailer(&b, "/Size 7 /Root 1 0 R /Prev " + std::to_string(std::stoull(prev)), table);
  return b.bytes;
}

// Classic files with the damage that the tolerance levels forgive.
Seeds Damaged_Files() {
  std::string invoice = Invoice_Build_Pdf(Invoice_Options());
  std::string junk_trailer = invoice;
  junk_trailer.replace(junk_trailer.rfind("trailer"), 7, "junk trailer");
  std::string bad_line = invoice;
  size_t xref = bad_line.rfind("\nxref");
  bad_line.replace(bad_line.find(" 00000 n", xref), 8, " 0000x n");
  std::string no_root = invoice;
  no_root.replace(no_root.find("/Root 1 0 R"), 11, "           ");
  Invoice_Options info;
  info.trailer_extra = "/Info << /Title (direct) >>";
  return {{"junk-before-trailer", junk_trailer},
          {"bad-table-line", bad_line},
          {"no-root", no_root},
          {"direct-info", Invoice_Build_Pdf(info)}};
}

Seeds Xref_Seeds() {
  Seeds seeds;
  seeds.push_back({"classic", Level(0) + Invoice_Build_Pdf(Invoice_Options())});
  seeds.push_back({"packed", Level(0) + Packed_Invoice()});
  seeds.push_back({"updated", Level(1) + Updated_Invoice()});
  int level = 1;
  for (const auto& damaged : Damaged_Files()) seeds.push_back({damaged.first, Level(level++ % 5) + damaged.second});
  // Filtered by the harness: a Prev chain that loops ends on the read budget.
  seeds.push_back({"prev-cycle", Level(3) + Hazard_Prev_Cycle_Pdf()});
  return seeds;
}

Seeds Open_Seeds() {
  Seeds seeds;
  for (int level = 0; level <= 4; ++level) {
    seeds.push_back({"invoice-level-" + std::to_string(level), Level(level) + Invoice_Build_Pdf(Invoice_Options())});
  }
  const std::string xml = Invoice_Sample_Xml();
  Invoice_Options flate;
  flate.embedded_entries = " /Filter /FlateDecode";
  flate.embedded_data = Pdf_Flate(xml);
  Invoice_Options lzw;
  lzw.embedded_entries = " /Filter [/LZWDecode] /DecodeParms [<< /EarlyChange 0 >>]";
  lzw.embedded_data = Test_LZW_Encode(xml);
  Invoice_Options predicted;
  predicted.embedded_entries = " /Filter /FlateDecode /DecodeParms << /Predictor 12 /Columns 8 >>";
  predicted.embedded_data = Pdf_Flate(Pdf_Png_Up_Rows(xml + std::string(8 - xml.size() % 8, ' '), 8));
  Invoice_Options undecodable;
  undecodable.embedded_entries = " /Filter /ASCIIHexDecode";
  undecodable.embedded_data = "3C3F786D6C3F3E>";
  Invoice_Options kids;
  kids.embedded_files = "<< /Kids [<< /Names [(other.xml) 5 0 R] >> << /Names [(ZUGFeRD-invoice.xml) 5 0 R] >>] >>";
  Invoice_Options attributes;
  attributes.attribute_form = true;
  attributes.name_space = "urn:ferd:pdfa:crossindustrydocument:invoice:1p0#";
  Invoice_Options wrong_name;
  wrong_name.attachment_name = "invoice.xml";
  Invoice_Options encrypted;
  encrypted.trailer_extra = "/Encrypt 7 0 R";
  encrypted.extra_objects = {{7, "<< /Filter /Standard /V 2 /R 3 /Length 128 /P -1 /O <00> /U <00> >>"}};
  seeds.push_back({"flate", Level(3) + Invoice_Build_Pdf(flate)});
  seeds.push_back({"lzw", Level(3) + Invoice_Build_Pdf(lzw)});
  seeds.push_back({"predicted", Level(3) + Invoice_Build_Pdf(predicted)});
  seeds.push_back({"undecodable", Level(3) + Invoice_Build_Pdf(undecodable)});
  seeds.push_back({"name-tree-kids", Level(3) + Invoice_Build_Pdf(kids)});
  seeds.push_back({"attribute-form", Level(3) + Invoice_Build_Pdf(attributes)});
  seeds.push_back({"wrong-attachment", Level(3) + Invoice_Build_Pdf(wrong_name)});
  seeds.push_back({"encrypted", Level(3) + Invoice_Build_Pdf(encrypted)});
  seeds.push_back({"packed", Level(3) + Packed_Invoice()});
  seeds.push_back({"updated", Level(3) + Updated_Invoice()});
  for (const auto& damaged : Damaged_Files()) seeds.push_back({damaged.first, Level(2) + damaged.second});
  // Inputs that reach the hazards the library keeps; the harness stops each.
  seeds.push_back({"hazard-prev-cycle", Level(3) + Hazard_Prev_Cycle_Pdf()});
  seeds.push_back({"hazard-kids-cycle", Level(3) + Hazard_Kids_Cycle_Pdf()});
  seeds.push_back({"hazard-empty-conformance", Level(3) + Hazard_Empty_Conformance_Pdf()});
  seeds.push_back({"hazard-deep-nesting", Level(3) + Hazard_Deep_Nesting_Pdf(3000)});
  seeds.push_back({"hazard-flate-bomb", Level(3) + Hazard_Flate_Bomb_Pdf(2u << 20)});
  // Damaged nesting at a tolerant level: each dictionary that fails is read
  // again from inside, so the time doubles with each level (bounded here by
  // the harness's read budget).
  std::string nested = "<< /Type /Catalog";
  for (int i = 0; i < 40; ++i) nested += " /K <<";
  Pdf_Builder damaged;
  Pdf_Builder_Header(&damaged);
  Pdf_Builder_Object(&damaged, 1, nested + " x");
  Pdf_Builder_Finish(&damaged, "/Root 1 0 R");
  seeds.push_back({"tolerant-damaged-nesting", Level(3) + damaged.bytes});
  return seeds;
}

Seeds Xml_Seeds() {
  // First byte: even, one piece through ZUGF_Read_Invoice_Info; odd, pieces
  // of (byte / 2) + 1 bytes through the handlers.
  const std::string xml = Invoice_Sample_Xml();
  std::string entity = xml;
  entity.replace(entity.find("RE-2026-0042"), 12, "RE&amp;2026&#x2D;0042");
  std::string unknown = xml;
  unknown.replace(unknown.find("<ram:Name>"), 0, "<ram:Note><ram:ID>not this</ram:ID></ram:Note>\n    ");
  std::string long_text = xml;
  long_text.replace(long_text.find("RE-2026-0042"), 12, std::string(300, 'x'));
  std::string other_root = xml;
  other_root.replace(other_root.find("urn:ferd:CrossIndustryDocument:invoice:1p0\""), 43, "urn:example:other");
  return {{"sample", std::string(1, 0) + xml},
          {"sample-pieces-of-7", std::string(1, 12) + xml},
          {"sample-pieces-of-1", std::string(1, 1) + xml},
          {"entity", std::string(1, 0) + entity},
          {"entity-pieces", std::string(1, 5) + entity},
          {"unknown-element", std::string(1, 0) + unknown},
          {"long-text", std::string(1, 0) + long_text},
          {"other-root", std::string(1, 0) + other_root},
          {"cut", std::string(1, 0) + xml.substr(0, xml.size() / 2)}};
}

bool Write_Seeds(const std::string& folder, const std::string& target, const Seeds& seeds) {
  const std::string path = folder + "/" + target;
  mkdir(folder.c_str(), 0755);
  mkdir(path.c_str(), 0755);
  for (const auto& seed : seeds) {
    if (!Test_Write_File(path + "/" + seed.first, seed.second)) {
      fprintf(stderr, "cannot write %s/%s\n", path.c_str(), seed.first.c_str());
      return false;
    }
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: %s <folder>\n", argv[0]);
    return 2;
  }
  const std::string folder = argv[1];
  const std::map<std::string, Seeds> targets = {
      {"fuzz_flate", Flate_Seeds()},   {"fuzz_lzw", Lzw_Seeds()},   {"fuzz_predictor", Predictor_Seeds()},
      {"fuzz_parser", Parser_Seeds()}, {"fuzz_text", Text_Seeds()}, {"fuzz_xmp", Xmp_Seeds()},
      {"fuzz_xref", Xref_Seeds()},     {"fuzz_open", Open_Seeds()}, {"fuzz_xml", Xml_Seeds()},
  };
  for (const auto& target : targets) {
    if (!Write_Seeds(folder, target.first, target.second)) return 1;
  }
  return 0;
}
