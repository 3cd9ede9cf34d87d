#include "document/pdf_document.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "document/pdf_catalog.h"
#include "objects/pdf_dictionary.h"
#include "reader/pdf_file.h"
#include "reader/pdf_header.h"
#include "support/opened_document.h"
#include "support/pdf_builder.h"

namespace {

// A file whose catalog is the text given, beside a metadata object (2), a
// Names dictionary (3) and one file specification (4).
std::string Catalog_File(const std::string& catalog = "<< /Type /Catalog >>") {
  Pdf_Builder builder;
  Pdf_Builder_Header(&builder);
  Pdf_Builder_Object(&builder, 1, catalog);
  Pdf_Builder_Object(&builder, 2, "<< /Type /Metadata /Subtype /XML >>");
  Pdf_Builder_Object(&builder, 3, "<< /EmbeddedFiles << /Names [(a) 4 0 R] >> >>");
  Pdf_Builder_Object(&builder, 4, "<< /F (a.xml) >>");
  Pdf_Builder_Finish(&builder, "/Root 1 0 R");
  return builder.bytes;
}

// A document over the input, or an empty one without.
PDF_Result Create(PDF_Document** document, Test_Allocator* allocator, Test_Counted_Input* input,
                  Test_Message_Log* log = nullptr, int8_t level = 3) {
  return PDF_Document_Create(document, Test_Alloc, allocator, Test_Free, allocator,
                             input != nullptr ? Test_Counted_Read : nullptr, input,
                             log != nullptr ? Test_Message_Callback : nullptr, log, level);
}

TEST(Document, CreateChecksItsArgumentsBeforeAllocating) {
  // A level is compared as a signed byte: a negative one passes.
  const struct {
    bool alloc, free;
    int8_t level;
    PDF_Result result;
  } cases[] = {
      {false, true, 3, PDF_RESULT_NO_ALLOC_CALLBACK},
      {true, false, 3, PDF_RESULT_NO_FREE_CALLBACK},
      {true, true, 5, PDF_RESULT_BAD_TOLERANCE_LEVEL},
      {true, true, 4, PDF_RESULT_OK},
      {true, true, -1, PDF_RESULT_OK},
  };
  for (const auto& c : cases) {
    Test_Allocator allocator{};
    Test_Counted_Input input{Catalog_File(), 0};
    PDF_Document* document = reinterpret_cast<PDF_Document*>(&allocator);
    EXPECT_EQ(PDF_Document_Create(&document, c.alloc ? Test_Alloc : nullptr, &allocator, c.free ? Test_Free : nullptr,
                                  &allocator, Test_Counted_Read, &input, nullptr, nullptr, c.level),
              c.result);
    EXPECT_EQ(document == nullptr, allocator.requests == 0) << "nothing is allocated before the checks";
    EXPECT_TRUE(document == nullptr || document->file->tolerant == (c.level >= 4 ? 1 : 0)) << int(c.level);
    EXPECT_EQ(PDF_Document_Release(&document), c.result != PDF_RESULT_OK ? PDF_RESULT_BAD_HANDLE : PDF_RESULT_OK);
    EXPECT_EQ(allocator.live, 0);
  }
}

TEST(Document, AllocationFailureAtEverySite) {
  // The sites in order: memory, reporter, handle, reader, file, header (the
  // open goes on with a default one), then the open, which fails with out of
  // memory or with the table or trailer that could not be read.
  const char* const reports[] = {"Unable to create message object", "Unable to allocate document handle!",
                                 "Unable to allocate read data object!", "Unable to allocate file object!",
                                 "Unable to allocate memory for Header!"};
  for (uint64_t fail_at = 1;; ++fail_at) {
    Test_Allocator allocator{};
    allocator.fail_at = fail_at;
    Test_Message_Log log;
    Test_Counted_Input input{Catalog_File(), 0};
    PDF_Document* document = nullptr;
    PDF_Result result = Create(&document, &allocator, &input, &log);
    EXPECT_TRUE(fail_at <= 6 ? result == (fail_at == 6 ? PDF_RESULT_OK : PDF_RESULT_OUT_OF_MEMORY)
                             : result == PDF_RESULT_OK || result == PDF_RESULT_OUT_OF_MEMORY ||
                                   result == PDF_RESULT_MALFORMED_XREF || result == PDF_RESULT_BAD_TRAILER)
        << fail_at << ": " << result;
    EXPECT_TRUE(fail_at < 2 || fail_at > 6 || log.messages.at(0).text == reports[fail_at - 2]) << fail_at;
    for (const Test_Message& message : log.messages) {
      EXPECT_TRUE(message.level != PDF_LEVEL_RESOURCE || message.code == PDF_RESULT_OUT_OF_MEMORY) << message.text;
    }
    EXPECT_EQ(document != nullptr ? PDF_Document_Release(&document) : result, result) << fail_at;
    EXPECT_EQ(allocator.live, 0) << fail_at;
    if (allocator.requests < fail_at) break;  // no allocation failed: all sites covered
  }
  // No number near the start, so the header comes from the default; when
  // that allocation fails too, the open leaves the file record behind.
  Test_Allocator allocator{};
  allocator.fail_at = 5;  // memory, handle, reader, file; then the default header
  Test_Counted_Input input{std::string(1100, 'x') + "startxref\n3\n", 0};
  PDF_Document* document = nullptr;
  EXPECT_EQ(Create(&document, &allocator, &input), PDF_RESULT_OUT_OF_MEMORY);
  EXPECT_EQ(Test_Allocator_Reclaim(&allocator), 1);
}

TEST(Document, ReleaseRunsInReverseOrderAndStopsAtTheFirstFailure) {
  Test_Allocator allocator{};
  Test_Message_Log log;
  Test_Counted_Input input{Catalog_File(), 0};
  PDF_Document* document = nullptr;
  ASSERT_EQ(Create(&document, &allocator, &input, &log), PDF_RESULT_OK);
  std::vector<void*> expected = {document->file->header, document->file, document->read_data,
                                 document->message,      document,       document->memory};
  allocator.refused_block = document->message;
  allocator.refused_result = -33;
  EXPECT_EQ(PDF_Document_Release(&document), -33);
  ASSERT_NE(document, nullptr) << "the handle stays valid";
  EXPECT_EQ(document->message, nullptr);  // the holder is cleared even on failure
  allocator.refused_block = nullptr;
  EXPECT_EQ(PDF_Document_Release(&document), PDF_RESULT_OK);
  std::vector<size_t> positions;
  for (void* block : expected) {
    positions.push_back(std::find(allocator.released.begin(), allocator.released.end(), block) -
                        allocator.released.begin());
  }
  EXPECT_TRUE(std::is_sorted(positions.begin(), positions.end()));
  EXPECT_EQ(positions.back(), allocator.released.size() - 1);
  EXPECT_EQ(Test_Allocator_Reclaim(&allocator), 1);  // the reporter whose free failed
}

TEST(Document, TagIsCheckedByReleaseAloneAndNullHandlesAreRefused) {
  PDF_Document fake;
  memset(&fake, 0, sizeof(fake));
  memcpy(fake.tag, "hfdq", 4);
  PDF_Document* holder = &fake;
  EXPECT_EQ(PDF_Document_Release(&holder), PDF_RESULT_BAD_HANDLE);
  EXPECT_EQ(PDF_Document_Release(nullptr), PDF_RESULT_BAD_HANDLE);
  // The forwarding operations don't look at the tag: they pass the file on.
  uint32_t id = 7;
  EXPECT_EQ(PDF_Document_Find_Embedded_File(&fake, "a", 1, 0, &id), PDF_RESULT_NO_CATALOG);
  EXPECT_EQ(id, 0u);
  EXPECT_EQ(PDF_Document_Decode_Embedded_File(nullptr, 1), PDF_RESULT_INVALID_ARGUMENT);
  // The out handle is written before it is tested, so the -1 of the
  // argument check is unreachable.
  Test_Allocator allocator{};
  EXPECT_DEATH(Create(nullptr, &allocator, nullptr), "");
}

TEST(Document, EmptyDocumentHoldsCatalogAndPages) {
  for (uint64_t fail_at = 1;; ++fail_at) {
    Test_Allocator allocator{};
    allocator.fail_at = fail_at;
    PDF_Document* document = nullptr;
    PDF_Result result = Create(&document, &allocator, nullptr);
    EXPECT_EQ(result, allocator.requests >= fail_at ? PDF_RESULT_OUT_OF_MEMORY : PDF_RESULT_OK) << fail_at;
    if (result == PDF_RESULT_OK) {
      EXPECT_EQ(document->file->all_objects_read, 1);
      PDF_Object* catalog = PDF_Body_Find_Object(document->file->xref_table, 1, 0);
      PDF_Object* pages = PDF_Body_Find_Object(document->file->xref_table, 2, 0);
      EXPECT_EQ(PDF_File_Get_Catalog(document->file), catalog);
      EXPECT_EQ(PDF_Object_Get_Type(pages), PDF_Object_Type_Pages);
      EXPECT_EQ(PDF_Data_Object_Resolve(PDF_Dictionary_Find_Value(PDF_Catalog_Get_Dictionary(catalog), "Pages")),
                PDF_Object_Get_Value(pages));
      EXPECT_EQ(PDF_Document_Release(&document), PDF_RESULT_OK);
    }
    EXPECT_EQ(allocator.live, 0) << fail_at;
    if (result == PDF_RESULT_OK) break;
  }
}

TEST(Catalog, MetadataMustBeAReferenceWhileNamesIsFollowed) {
  const struct {
    std::string catalog;
    bool metadata;  // object 2 found
  } cases[] = {
      {"<< /Type /Catalog /Metadata 2 0 R /Names 3 0 R >>", true},
      {"<< /Type /Catalog /Metadata << /Type /Metadata >> /Names << /EmbeddedFiles << /Names [(a) 4 0 R] >> >> >>",
       false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.catalog);
    Opened_Document opened(Catalog_File(c.catalog), 3);
    PDF_Object* catalog = PDF_File_Get_Catalog(opened.file());
    EXPECT_EQ(PDF_Catalog_Get_Metadata(catalog, opened.file()), c.metadata ? opened.object(2) : nullptr);
    EXPECT_EQ(PDF_Names_Find_Embedded_File(PDF_Catalog_Get_Names(catalog), "a.xml"), opened.object(4));
    // After a tolerant failure on the metadata the catalog has none.
    opened.file()->metadata_failure = PDF_RESULT_XMP_REJECTED;
    EXPECT_EQ(PDF_Catalog_Get_Metadata(catalog, opened.file()), nullptr);
  }
  Opened_Document opened(Catalog_File(), 3);
  EXPECT_EQ(PDF_Catalog_Get_Names(PDF_File_Get_Catalog(opened.file())), nullptr);
}

}  // namespace
