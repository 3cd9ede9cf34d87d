// The metadata queries, and the packet parsed once per file and reused by them.
#include "document/pdf_metadata.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "reader/pdf_file.h"
#include "support/invoice_builder.h"
#include "support/opened_document.h"
#include "support/pdf_builder.h"
#include "support/pdf_xref_stream_builder.h"
#include "xmp/pdf_xmp.h"

namespace {

const char* const kUpper = "urn:ferd:pdfa:CrossIndustryDocument:invoice:1p0#";
const char* const kLower = "urn:ferd:pdfa:crossindustrydocument:invoice:1p0#";

// A document whose catalog's Metadata is a stream with these entries and data.
std::string Metadata_Pdf(const std::string& entries, const std::string& data) {
  Pdf_Builder builder;
  Pdf_Builder_Header(&builder, "1.7");
  Pdf_Builder_Object(&builder, 1, "<< /Type /Catalog /Pages 2 0 R /Metadata 3 0 R >>");
  Pdf_Builder_Object(&builder, 2, "<< /Type /Pages /Kids [] /Count 0 >>");
  Pdf_Builder_Stream(&builder, 3, "/Type /Metadata /Subtype /XML" + entries, data);
  Pdf_Builder_Finish(&builder, " /Root 1 0 R");
  return builder.bytes;
}

// What one query answered: its result and every out, as text.
std::string Level_Query(PDF_File* file) {
  uint32_t part = 99;
  char letter = 'x';
  int32_t flavour = 99;
  PDF_Result result = PDF_File_Get_Pdfa_Level(file, &part, &letter, &flavour);
  return "level " + std::to_string(result) + " " + std::to_string(part) + " " + (letter ? letter : '-') + " " +
         std::to_string(flavour);
}

std::string Property_Query(PDF_File* file, const char* name_space, const char* name, uint64_t capacity) {
  char buffer[32];
  memset(buffer, '#', sizeof(buffer));
  uint64_t size = capacity;
  PDF_Result result = PDF_File_Get_Metadata_Property(file, name_space, name, buffer, &size);
  return std::string(name) + " " + std::to_string(result) + " " + std::to_string(size) + " " +
         std::string(buffer, sizeof(buffer));
}

TEST(Metadata, LevelAndPropertyQueries) {
  Invoice_Options part_4, none;
  part_4.part = "4";
  none.with_metadata = false;
  const struct {
    Invoice_Options options;
    std::string level;
  } cases[] = {
      {Invoice_Options(), "level 0 3 B " + std::to_string(PDF_PDFA_3B)},
      {part_4, "level " + std::to_string(PDF_RESULT_UNKNOWN_PDFA) + " 4 B " + std::to_string(PDF_PDFA_UNKNOWN)},
      {none, "level 0 0 - " + std::to_string(PDF_PDFA_NONE)},
  };
  for (const auto& c : cases) {
    Opened_Document opened(Invoice_Build_Pdf(c.options), 3);
    EXPECT_EQ(Level_Query(opened.file()), c.level);
  }
  // A value that fills the buffer exactly goes without a terminator.
  Opened_Document opened(Invoice_Build_Pdf(Invoice_Options()), 3);
  const std::string too_small = "DocumentType " + std::to_string(PDF_RESULT_BUFFER_TOO_SMALL) + " 7 ##";
  EXPECT_EQ(Property_Query(opened.file(), kUpper, "DocumentType", 6).substr(0, too_small.size()), too_small);
  EXPECT_EQ(Property_Query(opened.file(), kUpper, "DocumentType", 7).substr(0, 25), "DocumentType 0 7 INVOICE#");
  EXPECT_EQ(Property_Query(opened.file(), kUpper, "DocumentType", 8).substr(0, 26),
            std::string("DocumentType 0 7 INVOICE\0#", 26));
  EXPECT_EQ(Property_Query(opened.file(), kUpper, "Absent", 8).substr(0, 10), "Absent 0 0");
  uint64_t size = 8;
  EXPECT_EQ(PDF_File_Get_Metadata_Property(opened.file(), nullptr, "p", nullptr, &size), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_File_Get_Metadata_Property(opened.file(), kUpper, "p", nullptr, nullptr), PDF_RESULT_INVALID_ARGUMENT);
}

struct Answers {
  std::vector<std::string> texts;
  size_t queries_that_allocate = 0;
};

// The queries of an invoice check and a few more, in one order. With
// drop_packet_before_each every query parses the packet for itself.
Answers Ask_Everything(Opened_Document* opened, bool drop_packet_before_each) {
  PDF_File* file = opened->file();
  Answers answers;
  auto ask = [&](auto query) {
    if (drop_packet_before_each) {
      EXPECT_EQ(PDF_File_Release_Metadata_Cache(file), PDF_RESULT_OK);
    }
    uint64_t before = opened->allocator.requests;
    answers.texts.push_back(query());
    if (opened->allocator.requests != before) ++answers.queries_that_allocate;
  };
  ask([&] { return Level_Query(file); });
  ask([&] { return Property_Query(file, kUpper, "DocumentType", 32); });
  ask([&] { return Property_Query(file, kLower, "DocumentType", 32); });
  ask([&] { return Property_Query(file, kUpper, "DocumentFileName", 4); });  // too small
  ask([&] { return Level_Query(file); });
  return answers;
}

TEST(MetadataPacket, ReuseGivesTheAnswersOfAFreshParse) {
  const std::string packet = Invoice_Xmp_Packet(Invoice_Options());
  const std::string cut = packet.substr(0, packet.size() / 2);
  Invoice_Options no_metadata;
  no_metadata.with_metadata = false;
  // Of the five queries, how many allocate anything: 1 when the packet is
  // parsed once and reused (the first query also loads the objects on its
  // way), every query when nothing can be kept.
  const struct {
    const char* name;
    std::string pdf;
    int8_t level;
    size_t queries_that_allocate;
    bool packet_kept;
  } cases[] = {
      {"invoice", Invoice_Build_Pdf(Invoice_Options()), 3, 1, true},
      {"no metadata", Invoice_Build_Pdf(no_metadata), 3, 1, false},
      {"compressed packet", Metadata_Pdf(" /Filter /FlateDecode", Pdf_Flate(packet)), 3, 1, true},
      // Failures are not kept: every query parses again and fails again.
      {"packet the toolkit rejects", Metadata_Pdf("", cut), 3, 5, false},
      // Tolerant: the first level query hides the metadata from the property
      // queries, and the last one parses again.
      {"rejected, tolerant", Metadata_Pdf("", cut), 4, 2, false},
      {"empty stream", Metadata_Pdf("", ""), 3, 5, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Opened_Document reused(c.pdf, c.level);
    Opened_Document fresh(c.pdf, c.level);
    Answers kept = Ask_Everything(&reused, false);
    EXPECT_EQ(kept.texts, Ask_Everything(&fresh, true).texts);
    EXPECT_EQ(kept.queries_that_allocate, c.queries_that_allocate);
    EXPECT_EQ(reused.file()->metadata_cache != nullptr, c.packet_kept);
    // The stream reports on its way as often as before.
    EXPECT_EQ(reused.log.messages.size(), fresh.log.messages.size());
  }
  // Tolerant, the failure is remembered, and the property query sees no
  // metadata instead of the toolkit's refusal.
  Opened_Document tolerant(Metadata_Pdf("", cut), 4);
  EXPECT_EQ(Level_Query(tolerant.file()), "level 0 0 - 0");
  EXPECT_EQ(tolerant.file()->metadata_failure, PDF_RESULT_XMP_REJECTED);
  EXPECT_EQ(Property_Query(tolerant.file(), kUpper, "DocumentType", 32).substr(0, 16), "DocumentType 0 0");
}

}  // namespace
