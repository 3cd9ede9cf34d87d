#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "document/pdf_catalog.h"
#include "document/pdf_document.h"
#include "document/pdf_embedded_file.h"
#include "objects/pdf_array.h"
#include "objects/pdf_data_object.h"
#include "objects/pdf_dictionary.h"
#include "objects/pdf_object.h"
#include "reader/pdf_file.h"
#include "reader/pdf_header.h"
#include "reader/pdf_xref_table.h"
#include "support/opened_document.h"
#include "support/pdf_builder.h"
#include "support/test_memory.h"

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

// A document over the bytes, or an empty one when bytes is null.
PDF_Result Create(PDF_Document** document, Test_Allocator* allocator, Test_Counted_Input* input,
                  Test_Message_Log* log = nullptr, int8_t level = 3) {
  return PDF_Document_Create(document, Test_Alloc, allocator, Test_Free, allocator,
                             input != nullptr ? Test_Counted_Read : nullptr, input,
                             log != nullptr ? Test_Message_Callback : nullptr, log, level);
}

TEST(Document, CreateChecksItsArgumentsBeforeAllocating) {
  struct Case {
    bool alloc, free;
    int8_t level;
    PDF_Result result;
  };
  // A level is compared as a signed byte: a negative one passes.
  const Case cases[] = {
      {false, true, 3, PDF_RESULT_NO_ALLOC_CALLBACK},
      {true, false, 3, PDF_RESULT_NO_FREE_CALLBACK},
      {true, true, 5, PDF_RESULT_BAD_TOLERANCE_LEVEL},
      {true, true, 4, PDF_RESULT_OK},
      {true, true, -1, PDF_RESULT_OK},
  };
  for (const Case& c : cases) {
    Test_Allocator allocator{};
    Test_Counted_Input input{Catalog_File(), 0};
    PDF_Document* document = reinterpret_cast<PDF_Document*>(&allocator);
    EXPECT_EQ(PDF_Document_Create(&document, c.alloc ? Test_Alloc : nullptr, &allocator, c.free ? Test_Free : nullptr,
                                  &allocator, Test_Counted_Read, &input, nullptr, nullptr, c.level),
              c.result)
        << int(c.level);
    if (c.result != PDF_RESULT_OK) {
      EXPECT_EQ(document, nullptr);
      EXPECT_EQ(allocator.requests, 0u);
      continue;
    }
    EXPECT_EQ(memcmp(document->tag, "hfdp", 4), 0);
    EXPECT_EQ(document->message, nullptr);  // no callback, no reporter
    EXPECT_EQ(document->file->tolerant, c.level >= 4 ? 1 : 0);
    EXPECT_EQ(PDF_Document_Release(&document), PDF_RESULT_OK);
    EXPECT_EQ(PDF_Document_Release(&document), PDF_RESULT_BAD_HANDLE);
    EXPECT_EQ(allocator.live, 0);
  }
  Test_Allocator allocator{};
  Test_Counted_Input input{"1 0 obj startxref x\n", 0};
  PDF_Document* document = reinterpret_cast<PDF_Document*>(&allocator);
  EXPECT_EQ(Create(&document, &allocator, &input), PDF_RESULT_BAD_TRAILER);
  EXPECT_EQ(document, nullptr);
  EXPECT_EQ(allocator.live, 0) << "a failed open releases the half-built handle";
}

TEST(Document, AllocationFailureAtEverySite) {
  // Order: memory, reporter, handle, reader, file, header; then the open.
  const char* const reports[] = {nullptr,
                                 "Unable to create message object",
                                 "Unable to allocate document handle!",
                                 "Unable to allocate read data object!",
                                 "Unable to allocate file object!",
                                 "Unable to allocate memory for Header!"};
  for (uint64_t fail_at = 1;; ++fail_at) {
    Test_Allocator allocator{};
    allocator.fail_at = fail_at;
    Test_Message_Log log;
    Test_Counted_Input input{Catalog_File(), 0};
    PDF_Document* document = nullptr;
    PDF_Result result = Create(&document, &allocator, &input, &log);
    if (fail_at <= 6) {
      // Without its header the open goes on with a default one.
      EXPECT_EQ(result, fail_at == 6 ? PDF_RESULT_OK : PDF_RESULT_OUT_OF_MEMORY) << fail_at;
      ASSERT_EQ(log.messages.size(), reports[fail_at - 1] != nullptr ? 1u : 0u) << fail_at;
      if (!log.messages.empty()) EXPECT_EQ(log.messages[0].text, reports[fail_at - 1]);
    } else {
      EXPECT_TRUE(result == PDF_RESULT_OK || result == PDF_RESULT_OUT_OF_MEMORY ||
                  result == PDF_RESULT_MALFORMED_XREF || result == PDF_RESULT_BAD_TRAILER)
          << fail_at << ": " << result;
    }
    for (const Test_Message& message : log.messages) {
      if (message.level == PDF_LEVEL_RESOURCE) EXPECT_EQ(message.code, PDF_RESULT_OUT_OF_MEMORY);
    }
    EXPECT_EQ(document != nullptr, result == PDF_RESULT_OK);
    if (fail_at == 6) EXPECT_EQ(document->file->header->level, 4);
    if (document != nullptr) EXPECT_EQ(PDF_Document_Release(&document), PDF_RESULT_OK);
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
  allocator.released.clear();
  allocator.refused_block = document->message;
  allocator.refused_result = -33;
  EXPECT_EQ(PDF_Document_Release(&document), -33);
  ASSERT_NE(document, nullptr) << "the handle stays valid";
  EXPECT_EQ(memcmp(document->tag, "hfdp", 4), 0);
  EXPECT_EQ(document->message, nullptr);  // the holder is cleared even on failure
  allocator.refused_block = nullptr;
  EXPECT_EQ(PDF_Document_Release(&document), PDF_RESULT_OK);
  std::vector<size_t> positions;
  for (void* block : expected) {
    auto found = std::find(allocator.released.begin(), allocator.released.end(), block);
    positions.push_back(static_cast<size_t>(found - allocator.released.begin()));
  }
  EXPECT_EQ(positions.front(), 0u) << "the header is released first";
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
  EXPECT_EQ(PDF_Document_Get_Pdfa_Level(nullptr, nullptr, nullptr, nullptr), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_Document_Decode_Embedded_File(nullptr, 1), PDF_RESULT_INVALID_ARGUMENT);
  Test_Allocator allocator{};
  // The out handle is written before it is tested, so the -1 of the
  // argument check is unreachable.
  EXPECT_DEATH(Create(nullptr, &allocator, nullptr), "");
}

TEST(Document, EmptyDocumentHoldsCatalogAndPages) {
  for (uint64_t fail_at = 1;; ++fail_at) {
    Test_Allocator allocator{};
    allocator.fail_at = fail_at;
    PDF_Document* document = nullptr;
    PDF_Result result = Create(&document, &allocator, nullptr);
    if (allocator.requests >= fail_at) {
      EXPECT_EQ(result, PDF_RESULT_OUT_OF_MEMORY) << fail_at;
      EXPECT_EQ(allocator.live, 0) << fail_at;
      continue;
    }
    ASSERT_EQ(result, PDF_RESULT_OK);
    EXPECT_EQ(document->read_data, nullptr);
    EXPECT_EQ(document->file->all_objects_read, 1);
    EXPECT_EQ(document->file->header->level, 4);
    PDF_Object* catalog = PDF_Body_Find_Object(document->file->xref_table, 1, 0);
    PDF_Object* pages = PDF_Body_Find_Object(document->file->xref_table, 2, 0);
    EXPECT_EQ(PDF_Object_Get_Type(catalog), PDF_Object_Type_Catalog);
    EXPECT_EQ(PDF_Object_Get_Type(pages), PDF_Object_Type_Pages);
    EXPECT_EQ(PDF_File_Get_Catalog(document->file), catalog);
    PDF_Dictionary* dictionary = PDF_Catalog_Get_Dictionary(catalog);
    EXPECT_EQ(PDF_Data_Object_Resolve(PDF_Dictionary_Find_Value(dictionary, "Pages")), PDF_Object_Get_Value(pages));
    auto* tree = static_cast<PDF_Dictionary*>(PDF_Data_Object_Get_Direct_Value(PDF_Object_Get_Value(pages), 8));
    auto* kids = static_cast<PDF_Array*>(PDF_Data_Object_Get_Direct_Value(PDF_Dictionary_Find_Value(tree, "Kids"), 7));
    EXPECT_EQ(PDF_Array_Get_Count(kids), 0u);
    EXPECT_EQ(PDF_Document_Release(&document), PDF_RESULT_OK);
    EXPECT_EQ(allocator.live, 0);
    break;
  }
}

TEST(Catalog, MetadataMustBeAReferenceWhileNamesIsFollowed) {
  const struct {
    std::string catalog;
    bool metadata;  // object 2 found
    bool names;     // a Names dictionary, in which a.xml is object 4
  } cases[] = {
      {"<< /Type /Catalog /Metadata 2 0 R /Names 3 0 R >>", true, true},
      {"<< /Type /Catalog /Metadata << /Type /Metadata /Subtype /XML >> "
       "/Names << /EmbeddedFiles << /Names [(a) 4 0 R] >> >> >>",
       false, true},
      {"<< /Type /Catalog >>", false, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.catalog);
    Opened_Document opened(Catalog_File(c.catalog), 3);
    ASSERT_EQ(opened.result, PDF_RESULT_OK);
    PDF_Object* catalog = PDF_File_Get_Catalog(opened.file());
    EXPECT_EQ(PDF_Catalog_Get_Metadata(catalog, opened.file()), c.metadata ? opened.object(2) : nullptr);
    // After a tolerant failure on the metadata the catalog has none.
    opened.file()->metadata_failure = PDF_RESULT_XMP_REJECTED;
    EXPECT_EQ(PDF_Catalog_Get_Metadata(catalog, opened.file()), nullptr);
    PDF_Dictionary* names = PDF_Catalog_Get_Names(catalog);
    EXPECT_EQ(names != nullptr, c.names);
    if (names != nullptr) EXPECT_EQ(PDF_Names_Find_Embedded_File(names, "a.xml"), opened.object(4));
  }
}

}  // namespace
