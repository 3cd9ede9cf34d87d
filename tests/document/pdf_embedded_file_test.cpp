#include "document/pdf_embedded_file.h"

#include <gtest/gtest.h>

#include <string>

#include "document/pdf_metadata.h"
#include "objects/pdf_dictionary.h"
#include "objects/pdf_object.h"
#include "reader/pdf_file.h"
#include "reader/pdf_trailer.h"
#include "reader/pdf_xref_table.h"
#include "support/invoice_builder.h"
#include "support/opened_document.h"

namespace {

const std::string kName = "ZUGFeRD-invoice.xml";

// An invoice built with the options and opened at level 3.
struct Opened_Invoice : Opened_Document {
  explicit Opened_Invoice(const Invoice_Options& options = Invoice_Options())
      : Opened_Document(Invoice_Build_Pdf(options), 3) {}
  // The identifier that the search for the name gives, or 0.
  uint32_t Find(const std::string& name = kName, uint32_t encoding = 0, PDF_Result expected = PDF_RESULT_OK) {
    uint32_t id = 99;
    EXPECT_EQ(PDF_File_Find_Embedded_File(file(), name.data(), name.size(), encoding, &id), expected) << name;
    return id;
  }
};

std::string Utf16(const std::string& ascii, bool little_endian, bool mark) {
  std::string out = !mark ? "" : little_endian ? "\xFF\xFE" : "\xFE\xFF";
  for (char c : ascii) out += little_endian ? std::string{c, '\0'} : std::string{'\0', c};
  return out;
}

TEST(EmbeddedFile, FindInEveryEncoding) {
  const struct {
    std::string bytes;
    uint32_t encoding;
    PDF_Result result;
    bool found;
  } cases[] = {
      {kName, 0, PDF_RESULT_OK, true},
      {Utf16(kName, true, true), 2, PDF_RESULT_OK, true},
      {Utf16(kName, false, false), 2, PDF_RESULT_OK, true},  // unmarked is big-endian
      {"ZUGFeRD", 0, PDF_RESULT_OK, false},
      {"zugferd-invoice.xml", 1, PDF_RESULT_OK, false},
      {"\xCE\xA9.xml", 1, PDF_RESULT_NOT_SINGLE_BYTE, false},
      {"\xC3", 1, PDF_RESULT_BAD_UTF8, false},
      {kName, 3, PDF_RESULT_UNKNOWN_ENCODING, false},
  };
  Opened_Invoice opened;
  for (const auto& c : cases) EXPECT_EQ(opened.Find(c.bytes, c.encoding, c.result), c.found ? opened.id_of(5) : 0u);
  EXPECT_EQ(PDF_File_Find_Embedded_File(opened.file(), "a", 1, 0, nullptr), PDF_RESULT_INVALID_ARGUMENT);
}

TEST(EmbeddedFile, NameTreeComparesFEntriesOnly) {
  // Object 5 is the invoice's file specification.
  const struct {
    const char* name;
    std::string tree;  // the EmbeddedFiles value
    std::vector<std::pair<uint32_t, std::string>> objects;
    uint32_t expected;  // object number found, 0 for none
  } cases[] = {
      {"key differs, F matches", "<< /Names [(anything) 5 0 R] >>", {}, 5},
      {"Kids", "<< /Kids [7 0 R] >>", {{7, "<< /Names [(x) 5 0 R] >>"}}, 5},
      {"Kids and Names: Kids only", "<< /Kids [7 0 R] /Names [(x) 5 0 R] >>", {{7, "<< /Names [] >>"}}, 0},
      {"a kid that is no dictionary ends the search",
       "<< /Kids [8 0 R 7 0 R] >>",
       {{7, "<< /Names [(x) 5 0 R] >>"}, {8, "42"}},
       0},
      {"value without F ends the leaf", "<< /Names [(x) 7 0 R (y) 5 0 R] >>", {{7, "<< /UF (other) >>"}}, 0},
      {"first of two with the same F wins", "<< /Names [(x) 7 0 R (y) 5 0 R] >>", {{7, "<< /F (" + kName + ") >>"}}, 7},
      {"F in hexadecimal form",
       "<< /Names [(x) 7 0 R] >>",
       {{7, "<< /F <5A5547466552442D696E766F6963652E786D6C> >>"}},
       0},
  };
  for (const auto& c : cases) {
    Invoice_Options options;
    options.embedded_files = c.tree;
    options.extra_objects = c.objects;
    Opened_Invoice opened(options);
    EXPECT_EQ(opened.Find(), c.expected == 0 ? 0u : opened.id_of(c.expected)) << c.name;
  }
}

TEST(EmbeddedFile, DecodeInfoAndReadByIdentifier) {
  Opened_Invoice opened;
  uint32_t id = opened.Find();
  EXPECT_EQ(PDF_File_Decode_Embedded_File(opened.file(), id), PDF_RESULT_OK);
  PDF_Embedded_File_Info info = {};
  EXPECT_EQ(PDF_File_Get_Embedded_File_Info(opened.file(), id, &info), PDF_RESULT_OK);
  EXPECT_EQ(opened.object(6)->value, nullptr) << "info loads the invoice's objects, not the page";
  EXPECT_EQ(opened.file()->all_objects_read, 0);
  EXPECT_EQ(info.filter_count, 0u);
  EXPECT_EQ(info.reference_count, 1u);
  std::string buffer(info.length, '\0');
  EXPECT_EQ(PDF_File_Read_Embedded_File(opened.file(), id, &buffer[0]), PDF_RESULT_OK);
  EXPECT_EQ(buffer, Invoice_Sample_Xml());
  // The stream object itself may be named as well; id 0 and a non-stream are refused.
  EXPECT_EQ(PDF_File_Get_Embedded_Stream(opened.file(), opened.id_of(4)), opened.object(4));
  EXPECT_EQ(PDF_File_Get_Embedded_File_Info(opened.file(), 0, &info), PDF_RESULT_NO_STREAM_OBJECT);
  EXPECT_EQ(PDF_File_Read_Embedded_File(opened.file(), 0, &buffer[0]), PDF_RESULT_NO_STREAM_OBJECT);
  EXPECT_EQ(PDF_File_Decode_Embedded_File(opened.file(), opened.id_of(2)), PDF_RESULT_NO_STREAM_OBJECT);
  EXPECT_EQ(PDF_File_Decode_Embedded_File(nullptr, id), PDF_RESULT_INVALID_ARGUMENT);
  // The first key present in EF decides, whatever it leads to.
  for (const std::string ef : {"<< /UF 4 0 R /F 2 0 R >>", "<< /Unix 4 0 R >>", "<< /UF (x) /F 4 0 R >>"}) {
    Invoice_Options options;
    options.embedded_files = "<< /Names [(x) 7 0 R] >>";
    options.extra_objects = {{7, "<< /Type /Filespec /F (" + kName + ") /EF " + ef + " >>"}};
    Opened_Invoice other(options);
    EXPECT_EQ(PDF_File_Decode_Embedded_File(other.file(), other.Find()),
              ef.find("(x)") != std::string::npos ? PDF_RESULT_NO_STREAM_OBJECT : PDF_RESULT_OK)
        << ef;
  }
}

// What info used to load first: every object below the trailers, the marks
// cleared afterwards.
PDF_Result Load_Every_Object(PDF_File* file) {
  for (PDF_Body* body = file->xref_table; body != nullptr; body = body->next) {
    if (body->trailer == nullptr) continue;
    PDF_Result result = PDF_Dictionary_Load_All(body->trailer->dictionary, file);
    if (result != PDF_RESULT_OK) return result;
  }
  for (PDF_Body* body = file->xref_table; body != nullptr; body = body->next) {
    for (PDF_Xref_Section* section = body->table->first_section; section != nullptr; section = section->next) {
      for (PDF_Xref_Entry* entry = section->head; entry != nullptr; entry = entry->next) {
        if (entry->object != nullptr) PDF_Object_Clear_Traversed(entry->object);
      }
    }
  }
  return PDF_RESULT_OK;
}

struct Extraction {
  PDF_Result result;
  uint64_t length;
  uint32_t filters;
  std::string bytes;
};

// Find, decode, info and read, with or without loading every object first.
Extraction Extract(const Invoice_Options& options, bool every_object) {
  Opened_Invoice opened(options);
  uint32_t id = opened.Find();
  Extraction out = {PDF_File_Decode_Embedded_File(opened.file(), id), 0, 0, ""};
  if (out.result == PDF_RESULT_OK && every_object) out.result = Load_Every_Object(opened.file());
  PDF_Embedded_File_Info info = {};
  if (out.result == PDF_RESULT_OK) out.result = PDF_File_Get_Embedded_File_Info(opened.file(), id, &info);
  if (out.result != PDF_RESULT_OK) return out;
  out.length = info.length;
  out.filters = info.filter_count;
  out.bytes.assign(info.length, '\0');
  EXPECT_EQ(PDF_File_Read_Embedded_File(opened.file(), id, &out.bytes[0]), PDF_RESULT_OK);
  return out;
}

// Info loads the invoice itself (its file specification, its stream and what
// they refer to) where it used to load every object: the same answer, unless
// the damage lies where the invoice doesn't reach.
TEST(EmbeddedFile, InfoAnswersAsAfterLoadingEveryObject) {
  const std::string spec = "<< /Type /Filespec /F (" + kName + ") /EF << /F 4 0 R >> /Desc 8 0 R >>";
  const struct {
    const char* name;
    std::string entries;  // more entries of the embedded stream's dictionary
    std::string tree;     // the EmbeddedFiles value, empty for the usual one
    std::string info;     // trailer entries
    std::string page;     // object 6, empty for the usual one
    std::string object_7, object_8;
    bool outside;  // damage the invoice doesn't reach: only the old load fails
  } cases[] = {
      {"undamaged", "", "", "", "", "", "", false},
      {"dangling reference in the stream", " /DL 99 0 R", "", "", "", "", "", false},
      {"stream refers back to its file specification", " /Spec 5 0 R", "", "", "", "", "", false},
      {"stream refers to an unparsable object", " /DL 7 0 R", "", "", "", ")", "", false},
      {"file specification refers to an unparsable object", "", "<< /Names [(x) 7 0 R] >>", "", "", spec, ")", false},
      {"unparsable Info", "", "", "/Info 7 0 R", "", ")", "", true},
      {"unparsable page", "", "", "", ")", "", "", true},
  };
  for (const auto& c : cases) {
    Invoice_Options options;
    options.embedded_entries = c.entries;
    options.embedded_files = c.tree;
    options.trailer_extra = c.info;
    if (!c.page.empty()) options.page = c.page;
    if (!c.object_7.empty()) options.extra_objects.push_back({7, c.object_7});
    if (!c.object_8.empty()) options.extra_objects.push_back({8, c.object_8});
    Extraction before = Extract(options, true);
    Extraction now = Extract(options, false);
    if (c.outside) {
      EXPECT_NE(before.result, PDF_RESULT_OK) << c.name;
      EXPECT_EQ(now.result, PDF_RESULT_OK) << c.name;
      EXPECT_EQ(now.bytes, Invoice_Sample_Xml()) << c.name;
      continue;
    }
    EXPECT_EQ(now.result, before.result) << c.name;
    EXPECT_EQ(now.length, before.length) << c.name;
    EXPECT_EQ(now.filters, before.filters) << c.name;
    EXPECT_EQ(now.bytes, before.bytes) << c.name;
  }
}

TEST(EmbeddedFile, NoKeyStateRefusesDataButNotTheSearch) {
  Invoice_Options options;
  options.trailer_extra = "/Encrypt << /Filter /Standard /V 1 /R 2 /P -4 >>";
  Opened_Invoice opened(options);
  PDF_Embedded_File_Info info = {};
  EXPECT_EQ(PDF_File_Decode_Embedded_File(opened.file(), 1), PDF_RESULT_NO_KEY);
  EXPECT_EQ(PDF_File_Get_Embedded_File_Info(opened.file(), 1, &info), PDF_RESULT_NO_KEY);
  EXPECT_EQ(PDF_File_Read_Embedded_File(opened.file(), 1, nullptr), PDF_RESULT_NO_KEY);
  char buffer[8];
  uint64_t size = sizeof(buffer);
  EXPECT_EQ(PDF_File_Get_Metadata_Property(opened.file(), "urn:x#", "p", buffer, &size), PDF_RESULT_NO_KEY);
  EXPECT_EQ(size, sizeof(buffer)) << "size untouched";
  // An encrypted document reads as no PDF/A at all, with success.
  uint32_t part = 9;
  EXPECT_EQ(PDF_File_Get_Pdfa_Level(opened.file(), &part, buffer, nullptr), PDF_RESULT_OK);
  EXPECT_EQ(part, 0u);
  // The search itself doesn't test the state, but the name tree holds
  // strings, which need the cipher, so no names are found.
  EXPECT_EQ(opened.Find(kName, 0, PDF_RESULT_NO_NAMES), 0u);
}

}  // namespace
