#include <gtest/gtest.h>

#include <string>

#include "document/pdf_document.h"
#include "objects/pdf_data_object.h"
#include "objects/pdf_dictionary.h"
#include "objects/pdf_object.h"
#include "reader/pdf_file.h"
#include "reader/pdf_trailer.h"
#include "reader/pdf_xref_table.h"
#include "support/opened_document.h"
#include "support/pdf_builder.h"
#include "support/test_memory.h"

namespace {

using Opened = Opened_Document;

std::string File_With_Table(const std::string& table_text, const std::string& trailer_keyword = "trailer") {
  Pdf_Builder b;
  Pdf_Builder_Header(&b);
  uint64_t one = Pdf_Builder_Object(&b, 1, "<< /Type /Catalog >>");
  uint64_t two = Pdf_Builder_Object(&b, 2, "7");
  uint64_t xref = b.bytes.size();
  std::string text = table_text;
  auto replace = [&text](const std::string& key, uint64_t value) {
    size_t at = text.find(key);
    if (at != std::string::npos) text.replace(at, key.size(), Pdf_Xref_Line_Text({value, 0, 'n'}));
  };
  replace("<1>", one);
  replace("<2>", two);
  Pdf_Builder_Raw(&b, "xref\n" + text + trailer_keyword + "\n<< /Size 3 /Root 1 0 R >>\nstartxref\n" +
                          std::to_string(xref) + "\n%%EOF\n");
  return b.bytes;
}

struct Damage_Case {
  std::string name;
  std::string table;
  std::string keyword;
  int8_t lowest_level;  // the first level that opens
  PDF_Result below;     // result below that level
  std::string report;   // expected at every level, "" for none
};

TEST(XrefChain, DamageIsForgivenFromItsLevel) {
  const std::string bad_line = "junk junk junk jun\r\n";  // 20 bytes, like a real line
  const std::string first_report = "Unable to read object 0 (invalid offset in cross reference table).\n";
  const std::string later_report = "Unable to read object 2 (invalid offset in cross reference table).";
  const Damage_Case cases[] = {
      {"nine-digit offset", "0 3\n000000000 65535 f\r\n<1><2>", "trailer", 0, 0, ""},
      {"bad first line", "0 3\n" + bad_line + "<1><2>", "trailer", 2, PDF_RESULT_MALFORMED_XREF, first_report},
      {"bad later line", "0 3\n0000000000 65535 f\r\n<1>" + bad_line, "trailer", 1, PDF_RESULT_MALFORMED_XREF,
       later_report},
      {"junk token before trailer", "0 3\n0000000000 65535 f\r\n<1><2>", "junk trailer", 1, PDF_RESULT_BAD_TRAILER,
       "Unable to find trailer keyword, try to ignore it.\n"},
      {"no trailer keyword", "0 3\n0000000000 65535 f\r\n<1><2>", "", 1, PDF_RESULT_BAD_TRAILER,
       "Unable to find trailer keyword, try to ignore it.\n"},
      {"no subsection", "", "trailer", 99, PDF_RESULT_MALFORMED_XREF, ""},
  };
  for (const Damage_Case& c : cases) {
    const std::string bytes = File_With_Table(c.table, c.keyword);
    for (int8_t level = 0; level <= 4; ++level) {
      Opened opened(bytes, level);
      SCOPED_TRACE(c.name + " at level " + std::to_string(level));
      EXPECT_EQ(opened.result, level >= c.lowest_level ? PDF_RESULT_OK : c.below);
      EXPECT_TRUE(opened.result != 0 || opened.object(1) != nullptr);
      EXPECT_TRUE(c.report.empty() || opened.reported(c.report));
    }
  }
}

std::string File_With_Trailer(const std::string& trailer_entries, const std::string& extra_object = "") {
  Pdf_Builder b;
  Pdf_Builder_Header(&b);
  Pdf_Builder_Object(&b, 1, "<< /Type /Catalog >>");
  Pdf_Builder_Object(&b, 2, extra_object.empty() ? "null" : extra_object);
  Pdf_Builder_Finish(&b, trailer_entries);
  return b.bytes;
}

struct Open_Case {
  std::string name;
  std::string trailer;
  int8_t level;
  PDF_Result result;
  uint32_t mode;            // the encryption mode found
  int info;                 // 0 absent afterwards, 2 reference
  std::string object = "";  // object 2, "" for null
};

TEST(OpenSequence, EncryptionIsClassifiedAndRootAndInfoChecked) {
  const std::string standard = "/Root 1 0 R /Encrypt << /Filter /Standard ";
  const Open_Case cases[] = {
      {"no encryption", "/Root 1 0 R", 3, 0, 0, 0},
      {"V1 R2", standard + "/V 1 /R 2 /P -44 >>", 3, 0, 1, 0},
      {"V1 R3", standard + "/V 1 /R 3 /P -44 >>", 3, 0, 2, 0},
      {"V2 R3, referenced", "/Root 1 0 R /Encrypt 2 0 R", 3, 0, 3, 0, "<< /Filter /Standard /V 2 /R 3 /P -44 >>"},
      {"V2 R2", standard + "/V 2 /R 2 /P -44 >>", 3, PDF_RESULT_UNSUPPORTED_REVISION, 0, 0},
      {"V3", standard + "/V 3 /R 3 /P -44 >>", 3, PDF_RESULT_BAD_ENCRYPTION, 0, 0},
      {"other", "/Root 1 0 R /Encrypt << /Filter /Other /V 1 /R 2 /P -44 >>", 3, PDF_RESULT_BAD_ENCRYPTION, 0, 0},
      {"P missing", standard + "/V 1 /R 2 >>", 3, PDF_RESULT_INVALID_ARGUMENT, 0, 0},
      {"P zero", standard + "/V 1 /R 2 /P 0 >>", 3, PDF_RESULT_INVALID_ARGUMENT, 0, 0},
      {"encrypt is a number", "/Root 1 0 R /Encrypt 5", 3, 0, 0, 0},
      {"no root, strict", "", 1, PDF_RESULT_MISSING_ROOT_OR_SIZE, 0, 0},
      {"no root, catalog found", "", 2, 0, 0, 0},
      {"info reference", "/Root 1 0 R /Info 2 0 R", 0, 0, 0, 2},
      {"info number, level 0", "/Root 1 0 R /Info 5", 0, PDF_RESULT_BAD_INFO, 0, 0},
      {"info number, level 1", "/Root 1 0 R /Info 5", 1, 0, 0, 0},
      {"info dictionary, level 1", "/Root 1 0 R /Info << /Title (x) >>", 1, 0, 0, 0},
      {"info dictionary, level 2", "/Root 1 0 R /Info << /Title (x) >>", 2, 0, 0, 2},
  };
  for (const Open_Case& c : cases) {
    Opened opened(File_With_Trailer(c.trailer, c.object), c.level);
    EXPECT_EQ(opened.result, c.result) << c.name;
    if (opened.result != 0) continue;
    EXPECT_EQ(opened.file()->encryption_mode, c.mode) << c.name;
    EXPECT_EQ(opened.file()->encrypted, c.mode != 0 ? 1 : 0) << c.name;
    if (c.mode != 0) {
      EXPECT_EQ(opened.file()->permissions, static_cast<uint32_t>(-44)) << c.name;
    }
    EXPECT_EQ(opened.file()->key, nullptr);
    PDF_Dictionary* trailer = PDF_Trailer_Get_Dictionary(opened.file()->xref_table->trailer);
    PDF_Data_Object* root = PDF_Dictionary_Find_Value(trailer, "Root");
    ASSERT_NE(root, nullptr) << c.name;
    PDF_Data_Object* catalog = PDF_Data_Object_Resolve(root);
    EXPECT_EQ(PDF_Object_Classify(catalog), PDF_Object_Type_Catalog) << c.name;
    PDF_Data_Object* info = PDF_Dictionary_Find_Value(trailer, "Info");
    EXPECT_EQ(PDF_Data_Object_Get_Type(info), c.info) << c.name;
    if (c.info == 2 && c.name == "info dictionary, level 2") {
      PDF_Dictionary* moved =
          static_cast<PDF_Dictionary*>(PDF_Data_Object_Get_Typed_Value(info, PDF_Data_Type_Dictionary));
      EXPECT_TRUE(PDF_Dictionary_Has_Key(moved, "Title"));
    }
  }
}

}  // namespace
