#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "front/public_header_c.h"
#include "front/zugf_process.h"
#include "invoice_extract.h"
#include "support/invoice_builder.h"
#include "support/pdf_builder.h"

namespace {

TEST(PublicHeader, EveryDocumentedCodeHasItsOwnMeaningInCAndCpp) {
  const int32_t* codes = nullptr;
  size_t count = Public_Header_C_Codes(&codes);
  std::set<std::string> meanings = {"unknown result"};
  for (size_t i = 0; i < count; ++i) {
    EXPECT_EQ(std::string(Public_Header_C_Describe(codes[i])), ZUGF_Describe_Result(codes[i])) << codes[i];
    meanings.insert(ZUGF_Describe_Result(codes[i]));
  }
  EXPECT_EQ(meanings.size(), count + 1) << "two codes share a meaning, or one is unknown";
  // Neighbours of the exported codes, and internal codes that the exported
  // calls translate, are unknown.
  for (int32_t code : {1, -4, -9, -13, -21, -7, -105, -500, INT32_MIN}) {
    EXPECT_STREQ(ZUGF_Describe_Result(code), "unknown result") << code;
  }
  int major = -1, minor = -1, patch = -1;
  const char* text = nullptr;
  Public_Header_C_Version(&major, &minor, &patch, &text);
  EXPECT_EQ(text, std::to_string(major) + "." + std::to_string(minor) + "." + std::to_string(patch));
  // The shared library built beside this header carries the same version.
  const std::string library = INVOICE_EXTRACT_SHARED_LIBRARY;
  EXPECT_EQ(library.substr(library.rfind(".so.") + 4), text) << library;
}

TEST(Exported, UnusableInputGivesMinusTenFromBothCalls) {
  const std::string written = Test_Temp_Path("exported.pdf");
  const std::string output = Test_Temp_Path("exported.xml");
  ASSERT_TRUE(Test_Write_File(written, "%PDF-1.7\n1 0 obj\n<<>>\nendobj\ntrailer\n<<>>\n%%EOF\n"));  // no startxref
  for (const char* pdf : {static_cast<const char*>(nullptr), "", "/nonexistent/file.pdf", "/", written.c_str()}) {
    const std::string name = pdf == nullptr ? "null" : pdf;
    remove(output.c_str());
    EXPECT_EQ(ZUGF_Check_Zugferd(pdf), ZUGF_RESULT_BAD_INPUT) << name;
    EXPECT_EQ(ZUGF_Extract_Zugferd(pdf, output.c_str()), ZUGF_RESULT_BAD_INPUT) << name;
    std::string bytes;
    EXPECT_FALSE(Test_Read_File(output, &bytes)) << name << ": no output on failure";
  }
  remove(written.c_str());
}

TEST(ResultMapping, OpenAndExtractionStagesDiffer) {
  const struct {
    PDF_Result library;
    int32_t open;
    int32_t extract;
  } cases[] = {
      {PDF_RESULT_OK, ZUGF_RESULT_INVOICE, ZUGF_RESULT_INVOICE},
      {PDF_RESULT_FILTER_LEFT, ZUGF_RESULT_CANNOT_DECODE, ZUGF_RESULT_CANNOT_DECODE},
      {PDF_RESULT_UNREADABLE, ZUGF_RESULT_BAD_INPUT, ZUGF_RESULT_BAD_INPUT},
      {PDF_RESULT_OUTPUT_FAILED, ZUGF_RESULT_EXTRACT_FAILED, ZUGF_RESULT_EXTRACT_FAILED},
      {PDF_RESULT_OUT_OF_MEMORY, ZUGF_RESULT_OUT_OF_MEMORY, ZUGF_RESULT_OUT_OF_MEMORY},
      {PDF_RESULT_BAD_TRAILER, ZUGF_RESULT_BAD_INPUT, ZUGF_RESULT_EXTRACT_FAILED},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ZUGF_Map_Open_Result(c.library), c.open) << c.library;
    EXPECT_EQ(ZUGF_Map_Extract_Result(c.library), c.extract) << c.library;
  }
}

const std::string kLower = "urn:ferd:pdfa:crossindustrydocument:invoice:1p0#";

TEST(Invoice, ExportedResultsForBuiltInvoices) {
  struct Case {
    const char* name;
    std::string Invoice_Options::*field;  // one text of the options, or null
    std::string value;
    int32_t check;
    int32_t extract;
    std::string lower = "";  // properties under the other spelling
    bool attributes = false;
    bool over_existing = false;  // embeds "<x/>" and writes over an output that exists
  };
  // (Other namespaces and spellings by themselves: Tool_Explain.)
  const Case cases[] = {
      {"invoice", nullptr, "", ZUGF_RESULT_INVOICE, ZUGF_RESULT_INVOICE},
      {"conformance U", &Invoice_Options::conformance, "U", ZUGF_RESULT_INVOICE, ZUGF_RESULT_INVOICE},
      {"properties as attributes", nullptr, "", ZUGF_RESULT_INVOICE, ZUGF_RESULT_INVOICE, "", true},
      {"unknown part", &Invoice_Options::part, "4", ZUGF_RESULT_NOT_PDFA3, ZUGF_RESULT_NOT_PDFA3},
      {"type with a blank", &Invoice_Options::document_type, "INVOICE ", ZUGF_RESULT_NOT_INVOICE,
       ZUGF_RESULT_NOT_INVOICE},
      {"file name case differs", &Invoice_Options::document_file_name, "zugferd-invoice.xml", ZUGF_RESULT_NOT_INVOICE,
       ZUGF_RESULT_NOT_INVOICE},
      {"undecodable embedded stream", &Invoice_Options::embedded_entries, " /Filter /ASCIIHexDecode",
       ZUGF_RESULT_INVOICE, ZUGF_RESULT_CANNOT_DECODE},
      {"unsupported encryption", &Invoice_Options::trailer_extra, "/Encrypt << /Filter /Standard /V 4 /R 4 /P -4 >>",
       ZUGF_RESULT_BAD_INPUT, ZUGF_RESULT_BAD_INPUT},
      // Under the other spelling: the type decides the spelling, under which
      // alone the file name is read.
      {"second spelling decides", &Invoice_Options::document_type, "ORDER", ZUGF_RESULT_INVOICE, ZUGF_RESULT_INVOICE,
       "<zz:DocumentType>INVOICE</zz:DocumentType><zz:DocumentFileName>ZUGFeRD-invoice.xml</zz:DocumentFileName>"},
      {"file name only under the other spelling", &Invoice_Options::document_file_name, "x.xml",
       ZUGF_RESULT_NOT_INVOICE, ZUGF_RESULT_NOT_INVOICE,
       "<zz:DocumentFileName>ZUGFeRD-invoice.xml</zz:DocumentFileName>"},
      // The output is opened, and an existing one truncated, only once every
      // check has passed.
      {"existing output kept on failure", &Invoice_Options::attachment_name, "other.xml", ZUGF_RESULT_NO_INVOICE_FILE,
       ZUGF_RESULT_NO_INVOICE_FILE, "", false, true},
      {"existing output replaced", nullptr, "", ZUGF_RESULT_INVOICE, ZUGF_RESULT_INVOICE, "", false, true},
  };
  const std::string pdf = Test_Temp_Path("invoice.pdf");
  const std::string xml = Test_Temp_Path("invoice.xml");
  for (const Case& c : cases) {
    Invoice_Options options;
    if (c.field != nullptr) options.*c.field = c.value;
    options.attribute_form = c.attributes;
    if (c.over_existing) options.xml = "<x/>";
    if (!c.lower.empty()) {
      options.extra_rdf =
          "<rdf:Description rdf:about=\"\" xmlns:zz=\"" + kLower + "\">" + c.lower + "</rdf:Description>";
    }
    ASSERT_TRUE(Test_Write_File(pdf, Invoice_Build_Pdf(options)));
    remove(xml.c_str());
    ASSERT_TRUE(!c.over_existing || Test_Write_File(xml, "keep me"));
    EXPECT_EQ(ZUGF_Check_Zugferd(pdf.c_str()), c.check) << c.name;
    EXPECT_EQ(ZUGF_Extract_Zugferd(pdf.c_str(), nullptr), c.check) << c.name;
    EXPECT_EQ(ZUGF_Extract_Zugferd(pdf.c_str(), xml.c_str()), c.extract) << c.name;
    const bool success = c.extract == ZUGF_RESULT_INVOICE;
    std::string written;
    EXPECT_EQ(Test_Read_File(xml, &written), success || c.over_existing) << c.name << ": output only on success";
    if (success || c.over_existing) {
      EXPECT_EQ(written, !success ? "keep me" : c.over_existing ? "<x/>" : Invoice_Sample_Xml()) << c.name;
    }
  }
  // The last invoice written out is whole: only the output can fail.
  EXPECT_EQ(ZUGF_Extract_Zugferd(pdf.c_str(), ""), ZUGF_RESULT_EXTRACT_FAILED);
  EXPECT_EQ(ZUGF_Extract_Zugferd(pdf.c_str(), "/nonexistent/folder/out.xml"), ZUGF_RESULT_EXTRACT_FAILED);
  remove(pdf.c_str());
  remove(xml.c_str());
}

// Both calls read only what the invoice needs: a damaged object that it
// doesn't reach fails neither, and the XML comes out whole.
TEST(Invoice, DamageTheInvoiceDoesNotReachFailsNeitherCall) {
  struct Case {
    const char* name;
    std::string trailer_extra;
    std::string page;
    std::vector<std::pair<uint32_t, std::string>> objects;
  };
  const std::string page = Invoice_Options().page;
  const Case cases[] = {
      {"unparsable Info", "/Info 7 0 R", page, {{7, ")"}}},
      {"unparsable page", "", ")", {}},
      {"page contents with a Length of no number",
       "",
       "<< /Type /Page /Parent 2 0 R /Contents 7 0 R >>",
       {{7, "<< /Length 8 0 R >>\nstream\nBT ET\nendstream"}, {8, "/NoNumber"}}},
  };
  const std::string pdf = Test_Temp_Path("damaged.pdf");
  const std::string xml = Test_Temp_Path("damaged.xml");
  for (const Case& c : cases) {
    Invoice_Options options;
    options.trailer_extra = c.trailer_extra;
    options.page = c.page;
    options.extra_objects = c.objects;
    ASSERT_TRUE(Test_Write_File(pdf, Invoice_Build_Pdf(options)));
    remove(xml.c_str());
    EXPECT_EQ(ZUGF_Check_Zugferd(pdf.c_str()), ZUGF_RESULT_INVOICE) << c.name;
    EXPECT_EQ(ZUGF_Extract_Zugferd(pdf.c_str(), xml.c_str()), ZUGF_RESULT_INVOICE) << c.name;
    std::string written;
    EXPECT_TRUE(Test_Read_File(xml, &written)) << c.name;
    EXPECT_EQ(written, Invoice_Sample_Xml()) << c.name;
  }
  remove(pdf.c_str());
  remove(xml.c_str());
}

}  // namespace
