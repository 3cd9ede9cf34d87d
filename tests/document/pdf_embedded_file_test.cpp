#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "document/pdf_document.h"
#include "document/pdf_embedded_file.h"
#include "document/pdf_metadata.h"
#include "objects/pdf_object.h"
#include "reader/pdf_file.h"
#include "reader/pdf_xref_table.h"
#include "support/invoice_builder.h"
#include "support/opened_document.h"
#include "support/test_memory.h"

namespace {

// An invoice built with the options and opened at level 3.
struct Opened_Invoice : Opened_Document {
  explicit Opened_Invoice(const Invoice_Options& options) : Opened_Document(Invoice_Build_Pdf(options), 3) {
    EXPECT_EQ(result, 0);
  }
};

std::string Utf16(const std::string& ascii, bool little_endian, bool mark) {
  std::string out;
  if (mark) out += little_endian ? "\xFF\xFE" : "\xFE\xFF";
  for (char c : ascii) {
    out += little_endian ? std::string(1, c) + std::string(1, '\0') : std::string(1, '\0') + std::string(1, c);
  }
  return out;
}

struct Find_Case {
  std::string name;
  std::string bytes;
  uint32_t encoding;
  PDF_Result result;
  bool found;
};

TEST(EmbeddedFile, FindInEveryEncoding) {
  const std::string file_name = "ZUGFeRD-invoice.xml";
  const Find_Case cases[] = {
      {"bytes", file_name, 0, 0, true},
      {"UTF-8", file_name, 1, 0, true},
      {"UTF-16 big-endian marked", Utf16(file_name, false, true), 2, 0, true},
      {"UTF-16 little-endian marked", Utf16(file_name, true, true), 2, 0, true},
      {"UTF-16 unmarked is big-endian", Utf16(file_name, false, false), 2, 0, true},
      {"other name", "other.xml", 1, 0, false},
      {"prefix only", "ZUGFeRD", 0, 0, false},
      {"case differs", "zugferd-invoice.xml", 1, 0, false},
      {"needs two bytes", "\xCE\xA9.xml", 1, PDF_RESULT_NOT_SINGLE_BYTE, false},
      {"UTF-16 that needs two bytes", "\xFE\xFF\x03\xA9", 2, PDF_RESULT_NOT_SINGLE_BYTE, false},
      {"bad UTF-8", "\xC3", 1, PDF_RESULT_BAD_UTF8, false},
      {"unknown encoding", file_name, 3, PDF_RESULT_UNKNOWN_ENCODING, false},
  };
  Opened_Invoice opened{Invoice_Options()};
  ASSERT_NE(opened.document, nullptr);
  for (const Find_Case& c : cases) {
    uint32_t id = 99;
    EXPECT_EQ(PDF_File_Find_Embedded_File(opened.file(), c.bytes.data(), c.bytes.size(), c.encoding, &id), c.result)
        << c.name;
    EXPECT_EQ(id, c.found ? opened.id_of(5) : 0u) << c.name;
  }
  EXPECT_EQ(PDF_File_Find_Embedded_File(opened.file(), "a", 1, 0, nullptr), PDF_RESULT_INVALID_ARGUMENT);
}

struct Tree_Case {
  std::string name;
  std::string tree;  // the EmbeddedFiles value
  std::vector<std::pair<uint32_t, std::string>> objects;
  uint32_t expected;  // object number found, 0 for none
};

TEST(EmbeddedFile, NameTreeComparesFEntriesOnly) {
  const std::string spec = "<< /Type /Filespec /F (ZUGFeRD-invoice.xml) /EF << /F 4 0 R >> >>";
  const Tree_Case cases[] = {
      {"key differs, F matches", "<< /Names [(anything) 5 0 R] >>", {}, 5},
      {"Kids", "<< /Kids [7 0 R] >>", {{7, "<< /Names [(x) 5 0 R] >>"}}, 5},
      {"Kids and Names: Kids only", "<< /Kids [7 0 R] /Names [(x) 5 0 R] >>", {{7, "<< /Names [] >>"}}, 0},
      {"a kid that is no dictionary ends the search",
       "<< /Kids [8 0 R 7 0 R] >>",
       {{7, "<< /Names [(x) 5 0 R] >>"}, {8, "42"}},
       0},
      {"odd length", "<< /Names [(x) 7 0 R (y)] >>", {{7, "<< /F (other) >>"}}, 0},
      {"value without F ends the leaf", "<< /Names [(x) 7 0 R (y) 5 0 R] >>", {{7, "<< /UF (other) >>"}}, 0},
      {"first of two with the same F wins",
       "<< /Names [(x) 7 0 R (y) 5 0 R] >>",
       {{7, "<< /Type /Filespec /F (ZUGFeRD-invoice.xml) /EF << /F 4 0 R >> >>"}},
       7},
      {"F in hexadecimal form",
       "<< /Names [(x) 7 0 R] >>",
       {{7, "<< /F <5A5547466552442D696E766F6963652E786D6C> >>"}},
       0},
      {"escaped F decodes", "<< /Names [(x) 7 0 R] >>", {{7, "<< /F (ZUGFeRD\\055invoice.xml) >>"}}, 0},
      {"name only in UF", "<< /Names [(x) 7 0 R] >>", {{7, "<< /F (a.xml) /UF (ZUGFeRD-invoice.xml) >>"}}, 0},
      {"value not a reference", "<< /Names [(x) << /F (ZUGFeRD-invoice.xml) >>] >>", {}, 0},
      {"Limits not read", "<< /Limits [(a) (b)] /Names [(z) 5 0 R] >>", {}, 5},
  };
  (void)spec;
  for (const Tree_Case& c : cases) {
    Invoice_Options options;
    options.embedded_files = c.tree;
    options.extra_objects = c.objects;
    Opened_Invoice opened(options);
    ASSERT_NE(opened.document, nullptr) << c.name;
    uint32_t id = 99;
    EXPECT_EQ(PDF_File_Find_Embedded_File(opened.file(), "ZUGFeRD-invoice.xml", 19, 1, &id), 0) << c.name;
    EXPECT_EQ(id, c.expected == 0 ? 0u : opened.id_of(c.expected)) << c.name;
  }
}

TEST(EmbeddedFile, DecodeInfoAndReadByIdentifier) {
  Opened_Invoice opened{Invoice_Options()};
  ASSERT_NE(opened.document, nullptr);
  uint32_t id = 0;
  ASSERT_EQ(PDF_File_Find_Embedded_File(opened.file(), "ZUGFeRD-invoice.xml", 19, 0, &id), 0);
  ASSERT_NE(id, 0u);
  EXPECT_EQ(opened.file()->all_objects_read, 0);
  EXPECT_EQ(PDF_File_Decode_Embedded_File(opened.file(), id), 0);
  PDF_Embedded_File_Info info = {};
  EXPECT_EQ(PDF_File_Get_Embedded_File_Info(opened.file(), id, &info), 0);
  EXPECT_EQ(opened.file()->all_objects_read, 1) << "the first info call loads every object";
  EXPECT_EQ(info.length, Invoice_Sample_Xml().size());
  EXPECT_EQ(info.filter_count, 0u);
  EXPECT_EQ(info.reference_count, 1u);
  std::string buffer(info.length, '\0');
  EXPECT_EQ(PDF_File_Read_Embedded_File(opened.file(), id, &buffer[0]), 0);
  EXPECT_EQ(buffer, Invoice_Sample_Xml());

  // The stream object itself may be named as well; id 0 and a non-stream are refused.
  uint32_t stream_id = opened.id_of(4);
  EXPECT_EQ(PDF_File_Get_Embedded_Stream(opened.file(), stream_id),
            PDF_Body_Find_Object(opened.file()->xref_table, 4, 0));
  EXPECT_EQ(PDF_File_Decode_Embedded_File(opened.file(), 0), PDF_RESULT_NO_STREAM_OBJECT);
  EXPECT_EQ(PDF_File_Get_Embedded_File_Info(opened.file(), 0, &info), PDF_RESULT_NO_STREAM_OBJECT);
  EXPECT_EQ(PDF_File_Read_Embedded_File(opened.file(), 0, &buffer[0]), PDF_RESULT_NO_STREAM_OBJECT);
  EXPECT_EQ(PDF_File_Decode_Embedded_File(opened.file(), opened.id_of(2)), PDF_RESULT_NO_STREAM_OBJECT);
  EXPECT_EQ(PDF_File_Decode_Embedded_File(nullptr, id), PDF_RESULT_INVALID_ARGUMENT);
}

TEST(EmbeddedFile, FirstPresentKeyOfEFDecides) {
  struct Case {
    std::string name;
    std::string ef;
    bool found;
  };
  const Case cases[] = {
      {"UF before F", "<< /UF 4 0 R /F 2 0 R >>", true},
      {"F", "<< /F 4 0 R >>", true},
      {"Unix", "<< /Unix 4 0 R >>", true},
      {"UF of the wrong type", "<< /UF (x) /F 4 0 R >>", false},
      {"first key to no stream", "<< /UF 2 0 R /F 4 0 R >>", false},
      {"no EF", "", false},
  };
  for (const Case& c : cases) {
    Invoice_Options options;
    options.embedded_files = "<< /Names [(x) 7 0 R] >>";
    options.extra_objects = {
        {7, "<< /Type /Filespec /F (ZUGFeRD-invoice.xml)" + (c.ef.empty() ? "" : " /EF " + c.ef) + " >>"}};
    Opened_Invoice opened(options);
    uint32_t id = 0;
    ASSERT_EQ(PDF_File_Find_Embedded_File(opened.file(), "ZUGFeRD-invoice.xml", 19, 0, &id), 0) << c.name;
    ASSERT_NE(id, 0u);
    EXPECT_EQ(PDF_File_Decode_Embedded_File(opened.file(), id), c.found ? 0 : PDF_RESULT_NO_STREAM_OBJECT) << c.name;
  }
}

TEST(EmbeddedFile, NoKeyStateRefusesDataButNotTheSearch) {
  Invoice_Options options;
  options.trailer_extra = "/Encrypt << /Filter /Standard /V 1 /R 2 /P -4 >>";
  Opened_Invoice opened(options);
  ASSERT_NE(opened.document, nullptr);
  uint32_t id = 0;
  PDF_Embedded_File_Info info = {};
  EXPECT_EQ(PDF_File_Decode_Embedded_File(opened.file(), 1), PDF_RESULT_NO_KEY);
  EXPECT_EQ(PDF_File_Get_Embedded_File_Info(opened.file(), 1, &info), PDF_RESULT_NO_KEY);
  EXPECT_EQ(PDF_File_Read_Embedded_File(opened.file(), 1, nullptr), PDF_RESULT_NO_KEY);
  char buffer[8];
  uint64_t size = sizeof(buffer);
  EXPECT_EQ(PDF_File_Get_Metadata_Property(opened.file(), "urn:x#", "p", buffer, &size), PDF_RESULT_NO_KEY);
  EXPECT_EQ(size, sizeof(buffer)) << "size untouched";
  uint32_t part = 9;
  char letter = 'x';
  EXPECT_EQ(PDF_File_Get_Pdfa_Level(opened.file(), &part, &letter, nullptr), 0);
  EXPECT_EQ(part, 0u);
  // The search itself doesn't test the state; what it meets may fail to load:
  // the name tree holds strings, which need the cipher, so no names are found.
  EXPECT_EQ(PDF_File_Find_Embedded_File(opened.file(), "ZUGFeRD-invoice.xml", 19, 0, &id), PDF_RESULT_NO_NAMES);
  EXPECT_EQ(id, 0u);
}

struct Property_Case {
  std::string name;
  uint64_t capacity;
  PDF_Result result;
  uint64_t size;
  std::string buffer;  // the bytes expected at the start of the buffer
};

TEST(Metadata, PropertyBufferRules) {
  const Property_Case cases[] = {
      {"capacity 0", 0, PDF_RESULT_BUFFER_TOO_SMALL, 7, "#########"},
      {"one too small", 6, PDF_RESULT_BUFFER_TOO_SMALL, 7, "#########"},
      {"exact fit, no terminator", 7, 0, 7, std::string("INVOICE##", 9)},
      {"room for the terminator", 8, 0, 7, std::string("INVOICE\0#", 9)},
  };
  Opened_Invoice opened{Invoice_Options()};
  ASSERT_NE(opened.document, nullptr);
  const char* ns = "urn:ferd:pdfa:CrossIndustryDocument:invoice:1p0#";
  for (const Property_Case& c : cases) {
    char buffer[9];
    memset(buffer, '#', sizeof(buffer));
    uint64_t size = c.capacity;
    EXPECT_EQ(PDF_File_Get_Metadata_Property(opened.file(), ns, "DocumentType", buffer, &size), c.result) << c.name;
    EXPECT_EQ(size, c.size) << c.name;
    EXPECT_EQ(std::string(buffer, 9), c.buffer) << c.name;
  }
  char buffer[16];
  uint64_t size = sizeof(buffer);
  EXPECT_EQ(PDF_File_Get_Metadata_Property(opened.file(), ns, "Absent", buffer, &size), 0);
  EXPECT_EQ(size, 0u);
  size = sizeof(buffer);
  EXPECT_EQ(PDF_File_Get_Metadata_Property(opened.file(), "urn:unused#", "DocumentType", buffer, &size), 0);
  EXPECT_EQ(size, 0u);
  size = 0;
  EXPECT_EQ(PDF_File_Get_Metadata_Property(opened.file(), ns, "DocumentType", nullptr, &size),
            PDF_RESULT_BUFFER_TOO_SMALL)
      << "the buffer isn't tested";
  EXPECT_EQ(PDF_File_Get_Metadata_Property(opened.file(), nullptr, "p", buffer, &size), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_File_Get_Metadata_Property(opened.file(), ns, "p", buffer, nullptr), PDF_RESULT_INVALID_ARGUMENT);
}

TEST(Metadata, LevelQuery) {
  struct Case {
    std::string name;
    Invoice_Options options;
    PDF_Result result;
    uint32_t part;
    char letter;
    int32_t flavour;
  };
  Invoice_Options a2;
  a2.part = "2";
  a2.conformance = "U";
  Invoice_Options four;
  four.part = "4";
  Invoice_Options none;
  none.with_metadata = false;
  const Case cases[] = {
      {"3B", Invoice_Options(), 0, 3, 'B', 8},
      {"2U", a2, 0, 2, 'U', 4},
      {"part 4 keeps what was read", four, PDF_RESULT_UNKNOWN_PDFA, 4, 'B', -1},
      {"no metadata", none, 0, 0, 0, 0},
  };
  for (const Case& c : cases) {
    Opened_Invoice opened(c.options);
    uint32_t part = 99;
    char letter = 'x';
    int32_t flavour = 99;
    EXPECT_EQ(PDF_File_Get_Pdfa_Level(opened.file(), &part, &letter, &flavour), c.result) << c.name;
    EXPECT_EQ(part, c.part) << c.name;
    EXPECT_EQ(letter, c.letter) << c.name;
    EXPECT_EQ(flavour, c.flavour) << c.name;
  }
}

}  // namespace
