// The metadata packet parsed once per file and reused by its queries.
#include "document/pdf_metadata.h"

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "document/pdf_document.h"
#include "objects/pdf_data_object.h"
#include "objects/pdf_stream.h"
#include "reader/pdf_file.h"
#include "support/invoice_builder.h"
#include "support/opened_document.h"
#include "support/pdf_builder.h"
#include "support/pdf_xref_stream_builder.h"

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
  return "level " + std::to_string(result) + " " + std::to_string(part) + " " + std::to_string(letter) + " " +
         std::to_string(flavour);
}

std::string Property_Query(PDF_File* file, const char* name_space, const char* name, uint64_t capacity) {
  char buffer[64];
  memset(buffer, '#', sizeof(buffer));
  uint64_t size = capacity;
  PDF_Result result = PDF_File_Get_Metadata_Property(file, name_space, name, buffer, &size);
  return std::string(name) + " " + std::to_string(result) + " " + std::to_string(size) + " " +
         std::string(buffer, sizeof(buffer));
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
  ask([&] { return Property_Query(file, kUpper, "DocumentType", 64); });
  ask([&] { return Property_Query(file, kLower, "DocumentType", 64); });
  ask([&] { return Property_Query(file, kUpper, "DocumentFileName", 64); });
  ask([&] { return Property_Query(file, kUpper, "DocumentFileName", 4); });  // too small
  ask([&] { return Property_Query(file, "http://purl.org/dc/elements/1.1/", "title", 64); });
  ask([&] { return Level_Query(file); });
  return answers;
}

struct Reuse_Case {
  std::string name;
  std::string pdf;
  int8_t level;
  // Of the seven queries, how many allocate anything: 1 when the packet is
  // parsed once and reused (the first query also loads the objects on its
  // way), every query when nothing can be kept.
  size_t queries_that_allocate;
  bool packet_kept;
};

TEST(MetadataPacket, ReuseGivesTheAnswersOfAFreshParse) {
  const std::string packet = Invoice_Xmp_Packet(Invoice_Options());
  const std::string cut = packet.substr(0, packet.size() / 2);
  Invoice_Options no_metadata;
  no_metadata.with_metadata = false;
  const Reuse_Case cases[] = {
      {"invoice", Invoice_Build_Pdf(Invoice_Options()), 3, 1, true},
      {"no metadata", Invoice_Build_Pdf(no_metadata), 3, 1, false},
      {"compressed packet", Metadata_Pdf(" /Filter /FlateDecode", Pdf_Flate(packet)), 3, 1, true},
      // Failures are not kept: every query parses again and fails again.
      {"packet the toolkit rejects", Metadata_Pdf("", cut), 3, 7, false},
      // Tolerant: the first level query hides the metadata from the property
      // queries, and the last one parses again.
      {"rejected, tolerant", Metadata_Pdf("", cut), 4, 2, false},
      {"empty stream", Metadata_Pdf("", ""), 3, 7, false},
  };
  for (const Reuse_Case& c : cases) {
    SCOPED_TRACE(c.name);
    Opened_Document reused(c.pdf, c.level);
    Opened_Document fresh(c.pdf, c.level);
    ASSERT_EQ(reused.result, PDF_RESULT_OK);
    Answers kept = Ask_Everything(&reused, false);
    Answers parsed_each_time = Ask_Everything(&fresh, true);
    EXPECT_EQ(kept.texts, parsed_each_time.texts);
    EXPECT_EQ(kept.queries_that_allocate, c.queries_that_allocate);
    EXPECT_EQ(reused.file()->metadata_cache != nullptr, c.packet_kept);
    // The stream is asked for its bytes by every query as before, so what it
    // reports on the way is reported as often.
    EXPECT_EQ(reused.log.messages.size(), fresh.log.messages.size());
  }
}

TEST(MetadataPacket, TolerantFailureHidesTheMetadataUntilTheNextLevelQuery) {
  const std::string packet = Invoice_Xmp_Packet(Invoice_Options());
  Opened_Document opened(Metadata_Pdf("", packet.substr(0, packet.size() / 2)), 4);
  ASSERT_EQ(opened.result, PDF_RESULT_OK);
  EXPECT_EQ(Level_Query(opened.file()), "level 0 0 0 0");
  EXPECT_EQ(opened.file()->metadata_failure, PDF_RESULT_XMP_REJECTED);
  // The property query sees no metadata, instead of the toolkit's refusal.
  EXPECT_EQ(Property_Query(opened.file(), kUpper, "DocumentType", 64).substr(0, 16), "DocumentType 0 0");
  EXPECT_EQ(Level_Query(opened.file()), "level 0 0 0 0");
  EXPECT_EQ(opened.file()->metadata_failure, PDF_RESULT_XMP_REJECTED);
  // Not tolerant, the refusal is the result of both queries.
  Opened_Document strict(Metadata_Pdf("", packet.substr(0, packet.size() / 2)), 3);
  const std::string rejected = std::to_string(PDF_RESULT_XMP_REJECTED);
  EXPECT_EQ(Level_Query(strict.file()), "level " + rejected + " 0 0 0");
  EXPECT_EQ(Property_Query(strict.file(), kUpper, "DocumentType", 64).substr(0, 19), "DocumentType " + rejected + " 0");
}

TEST(MetadataPacket, BytesThatChangeAreParsedAgain) {
  EXPECT_EQ(PDF_File_Release_Metadata_Cache(nullptr), PDF_RESULT_INVALID_ARGUMENT);
  Opened_Document opened(Invoice_Build_Pdf(Invoice_Options()), 3);
  ASSERT_EQ(opened.result, PDF_RESULT_OK);
  EXPECT_EQ(Level_Query(opened.file()), "level 0 3 66 8");  // 3B
  // The same length with other bytes: part 2, conformance U.
  Invoice_Options two_u;
  two_u.part = "2";
  two_u.conformance = "U";
  const std::string other = Invoice_Xmp_Packet(two_u);
  PDF_Stream* stream = static_cast<PDF_Stream*>(PDF_Data_Object_Get_Typed_Value(opened.value(3), PDF_Data_Type_Stream));
  ASSERT_NE(stream, nullptr);
  ASSERT_NE(stream->data, nullptr);
  ASSERT_EQ(stream->length, other.size());
  memcpy(stream->data, other.data(), other.size());
  EXPECT_EQ(Level_Query(opened.file()), "level 0 2 85 4");  // 2U
  EXPECT_EQ(Property_Query(opened.file(), kUpper, "DocumentType", 8).substr(0, 24),
            std::string("DocumentType 0 7 INVOICE\0", 24));
}

TEST(MetadataPacket, EmptyConformanceThrowsFromEveryLevelQuery) {
  // The kept packet changes nothing here: each level query lets the
  // exception through, and the invoice properties are read as ever.
  Invoice_Options options;
  options.conformance = "";
  Opened_Document opened(Invoice_Build_Pdf(options), 3);
  for (int round = 0; round < 2; ++round) {
    uint32_t part = 0;
    char letter = 'x';
    EXPECT_THROW(PDF_Document_Get_Pdfa_Level(opened.document, &part, &letter, nullptr), std::out_of_range);
  }
  EXPECT_EQ(Property_Query(opened.file(), kUpper, "DocumentFileName", 19).substr(0, 41),
            "DocumentFileName 0 19 ZUGFeRD-invoice.xml");
}

TEST(MetadataPacket, AllocationFailuresAnswerAsWithoutReuse) {
  // Fail each allocation of the queries in turn, on a document that keeps
  // its packet and on one that parses for every query: both answer alike,
  // in the failing query and in those after it, and nothing leaks.
  const std::string pdf = Invoice_Build_Pdf(Invoice_Options());
  for (uint64_t step = 1;; ++step) {
    SCOPED_TRACE(step);
    Opened_Document reused(pdf, 3);
    Opened_Document fresh(pdf, 3);
    ASSERT_EQ(reused.result, PDF_RESULT_OK);
    ASSERT_EQ(fresh.result, PDF_RESULT_OK);
    reused.allocator.fail_at = reused.allocator.requests + step;
    fresh.allocator.fail_at = fresh.allocator.requests + step;
    Answers kept = Ask_Everything(&reused, false);
    Answers parsed_each_time = Ask_Everything(&fresh, true);
    // Both allocate alike until the first query ends; after it only the one
    // that parses for every query allocates. Done once every allocation of
    // the document that keeps its packet has failed once.
    if (reused.allocator.requests < reused.allocator.fail_at) break;
    EXPECT_EQ(kept.texts, parsed_each_time.texts);
  }
}

}  // namespace
