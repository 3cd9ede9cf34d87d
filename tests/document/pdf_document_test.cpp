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

// A minimal file: one catalog object and a classic table.
const std::string kInput = [] {
  Pdf_Builder builder;
  Pdf_Builder_Header(&builder);
  Pdf_Builder_Object(&builder, 1, "<< /Type /Catalog >>");
  Pdf_Builder_Finish(&builder, "/Root 1 0 R");
  return builder.bytes;
}();

PDF_Result Create(PDF_Document** document, Test_Allocator* allocator, Test_Counted_Input* input, Test_Message_Log* log,
                  int8_t level = 3) {
  return PDF_Document_Create(document, Test_Alloc, allocator, Test_Free, allocator, Test_Counted_Read, input,
                             log != nullptr ? Test_Message_Callback : nullptr, log, level);
}

TEST(Document, CreateAndReleaseAHandle) {
  Test_Allocator allocator{};
  Test_Counted_Input input{kInput, 0};
  PDF_Document* document = nullptr;
  ASSERT_EQ(Create(&document, &allocator, &input, nullptr), 0);
  ASSERT_NE(document, nullptr);
  uint32_t tag = 0;
  memcpy(&tag, document->tag, 4);
  EXPECT_EQ(tag, PDF_DOCUMENT_TAG);
  EXPECT_EQ(document->message, nullptr);  // no callback, no reporter
  ASSERT_NE(document->file, nullptr);
  EXPECT_EQ(document->file->tolerance_level, 3);
  EXPECT_EQ(document->file->tolerant, 0);
  EXPECT_EQ(document->file->header_level, 4);
  EXPECT_EQ(PDF_Document_Release(&document), 0);
  EXPECT_EQ(document, nullptr);
  EXPECT_EQ(PDF_Document_Release(&document), PDF_RESULT_BAD_HANDLE);  // a second release finds a null holder
  EXPECT_EQ(allocator.live, 0);
}

TEST(Document, ArgumentChecks) {
  struct Case {
    bool alloc;
    bool free;
    int8_t level;
    PDF_Result result;
  };
  const Case cases[] = {
      {false, true, 3, PDF_RESULT_NO_ALLOC_CALLBACK},
      {true, false, 3, PDF_RESULT_NO_FREE_CALLBACK},
      {true, true, 5, PDF_RESULT_BAD_TOLERANCE_LEVEL},
      {true, true, 127, PDF_RESULT_BAD_TOLERANCE_LEVEL},
      {true, true, 4, 0},
      {true, true, -1, 0},
  };
  for (const Case& c : cases) {
    Test_Allocator allocator{};
    Test_Counted_Input input{kInput, 0};
    PDF_Document* document = reinterpret_cast<PDF_Document*>(&allocator);
    PDF_Result result =
        PDF_Document_Create(&document, c.alloc ? Test_Alloc : nullptr, &allocator, c.free ? Test_Free : nullptr,
                            &allocator, Test_Counted_Read, &input, nullptr, nullptr, c.level);
    EXPECT_EQ(result, c.result) << int(c.level);
    if (result != 0) {
      EXPECT_EQ(document, nullptr);
      EXPECT_EQ(allocator.requests, 0u) << "nothing is allocated before the checks";
    } else {
      EXPECT_EQ(document->file->tolerant, c.level >= 4 ? 1 : 0);
      PDF_Document_Release(&document);
    }
    EXPECT_EQ(allocator.live, 0);
  }
}

TEST(Document, AllocationFailureAtEverySite) {
  struct Case {
    uint64_t fail_at;
    PDF_Result result;
    const char* report;  // null: no report
  };
  // Order: memory, reporter, handle, reader, file, header, startxref buffer.
  const Case cases[] = {
      {1, PDF_RESULT_OUT_OF_MEMORY, nullptr},
      {2, PDF_RESULT_OUT_OF_MEMORY, "Unable to create message object"},
      {3, PDF_RESULT_OUT_OF_MEMORY, "Unable to allocate document handle!"},
      {4, PDF_RESULT_OUT_OF_MEMORY, "Unable to allocate read data object!"},
      {5, PDF_RESULT_OUT_OF_MEMORY, "Unable to allocate file object!"},
      {6, 0, "Unable to allocate memory for Header!"},  // the open goes on with a default header
      {7, PDF_RESULT_OUT_OF_MEMORY, nullptr},           // the buffer of the startxref search
  };
  for (const Case& c : cases) {
    Test_Allocator allocator{};
    allocator.fail_at = c.fail_at;
    Test_Message_Log log;
    Test_Counted_Input input{kInput, 0};
    PDF_Document* document = nullptr;
    EXPECT_EQ(Create(&document, &allocator, &input, &log), c.result) << c.fail_at;
    if (c.report == nullptr) {
      EXPECT_TRUE(log.messages.empty()) << c.fail_at;
    } else {
      ASSERT_EQ(log.messages.size(), 1u) << c.fail_at;
      EXPECT_EQ(log.messages[0].text, c.report);
      EXPECT_EQ(log.messages[0].code, PDF_RESULT_OUT_OF_MEMORY);
      EXPECT_EQ(log.messages[0].level, 91);
    }
    if (c.result == 0) {
      ASSERT_NE(document, nullptr);
      EXPECT_EQ(document->file->header->level, 4);
      EXPECT_EQ(PDF_Document_Release(&document), 0);
    } else {
      EXPECT_EQ(document, nullptr);
    }
    EXPECT_EQ(allocator.live, 0) << c.fail_at;
  }
  // Every later allocation of the open: the failure is a code (out of memory,
  // or the table or trailer that could not be read), and nothing leaks.
  for (uint64_t fail_at = 8;; ++fail_at) {
    Test_Allocator allocator{};
    allocator.fail_at = fail_at;
    Test_Message_Log log;
    Test_Counted_Input input{kInput, 0};
    PDF_Document* document = nullptr;
    PDF_Result result = Create(&document, &allocator, &input, &log);
    EXPECT_TRUE(result == PDF_RESULT_OK || result == PDF_RESULT_OUT_OF_MEMORY || result == PDF_RESULT_MALFORMED_XREF ||
                result == PDF_RESULT_BAD_TRAILER)
        << fail_at << ": " << result;
    for (const Test_Message& message : log.messages) {
      if (message.level == PDF_LEVEL_RESOURCE) {
        EXPECT_EQ(message.code, PDF_RESULT_OUT_OF_MEMORY);
      }
    }
    if (document != nullptr) {
      EXPECT_EQ(PDF_Document_Release(&document), 0);
    }
    EXPECT_EQ(allocator.live, 0) << fail_at;
    if (allocator.requests < fail_at) break;  // no allocation failed: all sites covered
  }
}

TEST(Document, DefaultHeaderFailureLeavesTheFileRecordBehind) {
  // No number near the start, so the header comes from the default; when
  // that allocation fails too, the open returns without releasing the file
  // record. The leak is the documented behaviour of this path.
  Test_Allocator allocator{};
  allocator.fail_at = 5;  // memory, handle, reader, file; then the default header
  Test_Counted_Input input{std::string(1100, 'x') + "startxref\n3\n", 0};
  PDF_Document* document = nullptr;
  EXPECT_EQ(Create(&document, &allocator, &input, nullptr), PDF_RESULT_OUT_OF_MEMORY);
  EXPECT_EQ(document, nullptr);
  EXPECT_EQ(allocator.live, 1);
  EXPECT_EQ(Test_Allocator_Reclaim(&allocator), 1);
}

TEST(Document, FailedOpenReleasesTheHalfBuiltHandle) {
  struct Case {
    std::string input;
    PDF_Result result;
  };
  const Case cases[] = {
      {"", PDF_RESULT_UNREADABLE},                        // the read callback delivers nothing at all
      {"%PDF-1.7\n1 0 obj\n", PDF_RESULT_UNREADABLE},     // no startxref
      {"1 0 obj startxref x\n", PDF_RESULT_BAD_TRAILER},  // no number behind it
      {"1 0 obj\nxref\ntrailer\n<< /Size 1 >>\nstartxref\n8\n", PDF_RESULT_MALFORMED_XREF},  // no subsection
  };
  for (const Case& c : cases) {
    Test_Allocator allocator{};
    Test_Counted_Input input{c.input, 0};
    PDF_Document* document = reinterpret_cast<PDF_Document*>(&allocator);
    EXPECT_EQ(Create(&document, &allocator, &input, nullptr), c.result);
    EXPECT_EQ(document, nullptr);
    EXPECT_EQ(allocator.live, 0);
  }
}

TEST(Document, ReleaseRunsInReverseOrderOfCreation) {
  Test_Allocator allocator{};
  Test_Message_Log log;
  Test_Counted_Input input{kInput, 0};
  PDF_Document* document = nullptr;
  ASSERT_EQ(Create(&document, &allocator, &input, &log), PDF_RESULT_OK);
  std::vector<void*> expected = {document->file->header, document->file, document->read_data,
                                 document->message,      document,       document->memory};
  allocator.released.clear();
  ASSERT_EQ(PDF_Document_Release(&document), PDF_RESULT_OK);
  // The file's members (its header first) go before the file record; then
  // reader, reporter, handle and, last of all, the allocator itself.
  std::vector<size_t> positions;
  for (void* block : expected) {
    auto found = std::find(allocator.released.begin(), allocator.released.end(), block);
    ASSERT_NE(found, allocator.released.end());
    positions.push_back(static_cast<size_t>(found - allocator.released.begin()));
  }
  EXPECT_EQ(positions.front(), 0u) << "the header is released first";
  EXPECT_TRUE(std::is_sorted(positions.begin(), positions.end()));
  EXPECT_EQ(positions.back(), allocator.released.size() - 1);
  EXPECT_EQ(allocator.live, 0);
}

TEST(Document, FailedReleaseStopsAndKeepsTheHandle) {
  Test_Allocator allocator{};
  Test_Counted_Input input{kInput, 0};
  PDF_Document* document = nullptr;
  ASSERT_EQ(Create(&document, &allocator, &input, nullptr), PDF_RESULT_OK);
  allocator.refused_block = document->read_data;
  allocator.refused_result = -33;
  EXPECT_EQ(PDF_Document_Release(&document), -33);
  ASSERT_NE(document, nullptr);
  EXPECT_EQ(memcmp(document->tag, "hfdp", 4), 0);
  EXPECT_EQ(document->file, nullptr);
  EXPECT_EQ(document->read_data, nullptr);  // the holder is cleared even on failure
  // The rest is still alive and can be released.
  allocator.refused_block = nullptr;
  EXPECT_EQ(PDF_Document_Release(&document), PDF_RESULT_OK);
  EXPECT_EQ(allocator.live, 1);  // the reader whose free callback failed, freed by nobody
  Test_Allocator_Reclaim(&allocator);
}

TEST(Document, TagIsCheckedByReleaseAloneAndNullHandlesAreRefused) {
  PDF_Document fake;
  memset(&fake, 0, sizeof(fake));
  memcpy(fake.tag, "hfdq", 4);
  PDF_Document* holder = &fake;
  EXPECT_EQ(PDF_Document_Release(&holder), PDF_RESULT_BAD_HANDLE);
  EXPECT_EQ(holder, &fake);
  EXPECT_EQ(PDF_Document_Release(nullptr), PDF_RESULT_BAD_HANDLE);
  // The forwarding operations don't look at the tag: they pass the file on.
  uint32_t id = 7;
  EXPECT_EQ(PDF_Document_Find_Embedded_File(&fake, "a", 1, 0, &id), PDF_RESULT_NO_CATALOG)
      << "a null file has no catalog";
  EXPECT_EQ(id, 0u);
  uint32_t part = 0;
  char letter = 0;
  EXPECT_EQ(PDF_Document_Get_Pdfa_Level(nullptr, &part, &letter, nullptr), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_Document_Decode_Embedded_File(nullptr, 1), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_Document_Read_Embedded_File(nullptr, 1, &letter), PDF_RESULT_INVALID_ARGUMENT);
}

TEST(Document, NoReadCallbackStartsAnEmptyDocument) {
  Test_Allocator allocator{};
  PDF_Document* document = nullptr;
  ASSERT_EQ(PDF_Document_Create(&document, Test_Alloc, &allocator, Test_Free, &allocator, nullptr, nullptr, nullptr,
                                nullptr, 3),
            0);
  EXPECT_EQ(document->read_data, nullptr);
  EXPECT_EQ(document->file->all_objects_read, 1);
  EXPECT_EQ(document->file->header->level, 4);
  EXPECT_EQ(PDF_Document_Release(&document), 0);
  EXPECT_EQ(allocator.live, 0);
}

TEST(DocumentDeathTest, NullOutHandleFaultsBeforeAnyTest) {
  // The out handle is written before it is tested, so the -1 of the
  // argument check is unreachable.
  Test_Allocator allocator{};
  EXPECT_DEATH(PDF_Document_Create(nullptr, Test_Alloc, &allocator, Test_Free, &allocator, nullptr, nullptr, nullptr,
                                   nullptr, 3),
               "");
}

}  // namespace

namespace {

TEST(Document, EmptyDocumentHoldsCatalogAndPages) {
  Test_Allocator allocator{};
  PDF_Document* document = nullptr;
  ASSERT_EQ(PDF_Document_Create(&document, Test_Alloc, &allocator, Test_Free, &allocator, nullptr, nullptr, nullptr,
                                nullptr, 3),
            0);
  PDF_Object* catalog = PDF_Body_Find_Object(document->file->xref_table, 1, 0);
  PDF_Object* pages = PDF_Body_Find_Object(document->file->xref_table, 2, 0);
  ASSERT_NE(catalog, nullptr);
  ASSERT_NE(pages, nullptr);
  EXPECT_EQ(PDF_Object_Get_Type(catalog), PDF_Object_Type_Catalog);
  EXPECT_EQ(PDF_Object_Get_Type(pages), PDF_Object_Type_Pages);
  EXPECT_EQ(PDF_File_Get_Catalog(document->file), catalog);
  PDF_Dictionary* dictionary = PDF_Catalog_Get_Dictionary(catalog);
  EXPECT_EQ(PDF_Data_Object_Resolve(PDF_Dictionary_Find_Value(dictionary, "Pages")), PDF_Object_Get_Value(pages));
  PDF_Dictionary* tree = static_cast<PDF_Dictionary*>(PDF_Data_Object_Get_Direct_Value(PDF_Object_Get_Value(pages), 8));
  EXPECT_EQ(PDF_Array_Get_Count(
                static_cast<PDF_Array*>(PDF_Data_Object_Get_Direct_Value(PDF_Dictionary_Find_Value(tree, "Kids"), 7))),
            0u);
  EXPECT_EQ(PDF_Document_Release(&document), 0);
  EXPECT_EQ(allocator.live, 0);
}

TEST(Document, EmptyDocumentAllocationFailures) {
  for (uint64_t fail_at = 1;; ++fail_at) {
    Test_Allocator allocator{};
    allocator.fail_at = fail_at;
    PDF_Document* document = nullptr;
    PDF_Result result = PDF_Document_Create(&document, Test_Alloc, &allocator, Test_Free, &allocator, nullptr, nullptr,
                                            nullptr, nullptr, 3);
    if (allocator.requests < fail_at) {
      EXPECT_EQ(result, 0);
      PDF_Document_Release(&document);
      EXPECT_EQ(allocator.live, 0);
      break;
    }
    EXPECT_EQ(result, PDF_RESULT_OUT_OF_MEMORY) << fail_at;
    EXPECT_EQ(document, nullptr);
    EXPECT_EQ(allocator.live, 0) << fail_at;
  }
}

}  // namespace

namespace {

// A file whose catalog is the text given, beside a metadata object (2), a
// Names dictionary (3) and one file specification (4).
std::string Catalog_File(const std::string& catalog, const std::string& names = "") {
  Pdf_Builder builder;
  Pdf_Builder_Header(&builder);
  Pdf_Builder_Object(&builder, 1, catalog);
  Pdf_Builder_Object(&builder, 2, "<< /Type /Metadata /Subtype /XML >>");
  Pdf_Builder_Object(&builder, 3, names.empty() ? "<< /EmbeddedFiles << /Names [(a) 4 0 R] >> >>" : names);
  Pdf_Builder_Object(&builder, 4, "<< /F (a.xml) >>");
  Pdf_Builder_Finish(&builder, "/Root 1 0 R");
  return builder.bytes;
}

TEST(Catalog, MetadataMustBeAReferenceWhileNamesIsFollowed) {
  const struct {
    std::string name;
    std::string catalog;
    bool metadata;  // object 2 found
    bool names;     // a Names dictionary, in which a.xml is object 4
  } cases[] = {
      {"both by reference", "<< /Type /Catalog /Metadata 2 0 R /Names 3 0 R >>", true, true},
      {"direct Metadata counts as none, direct Names is used",
       "<< /Type /Catalog /Metadata << /Type /Metadata /Subtype /XML >> "
       "/Names << /EmbeddedFiles << /Names [(a) 4 0 R] >> >> >>",
       false, true},
      {"neither", "<< /Type /Catalog >>", false, false},
  };
  for (const auto& c : cases) {
    Opened_Document opened(Catalog_File(c.catalog), 3);
    ASSERT_EQ(opened.result, PDF_RESULT_OK) << c.name;
    PDF_Object* catalog = PDF_File_Get_Catalog(opened.file());
    ASSERT_NE(catalog, nullptr) << c.name;
    EXPECT_EQ(PDF_Catalog_Get_Metadata(catalog, opened.file()), c.metadata ? opened.object(2) : nullptr) << c.name;
    // After a tolerant failure on the metadata the catalog has none.
    opened.file()->metadata_failure = PDF_RESULT_XMP_REJECTED;
    EXPECT_EQ(PDF_Catalog_Get_Metadata(catalog, opened.file()), nullptr) << c.name;
    opened.file()->metadata_failure = PDF_RESULT_OK;
    PDF_Dictionary* names = PDF_Catalog_Get_Names(catalog);
    EXPECT_EQ(names != nullptr, c.names) << c.name;
    if (names != nullptr) {
      EXPECT_EQ(PDF_Names_Find_Embedded_File(names, "a.xml"), opened.object(4)) << c.name;
    }
  }
}

}  // namespace
