#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "invoice_extract.h"
#include "support/invoice_builder.h"
#include "support/pdf_builder.h"

namespace {

const char* const kLower = "urn:ferd:pdfa:crossindustrydocument:invoice:1p0#";

struct Invoice_Case {
  std::string name;
  Invoice_Options options;
  int32_t check;
  int32_t extract;
};

Invoice_Options With(void (*change)(Invoice_Options*)) {
  Invoice_Options options;
  change(&options);
  return options;
}

std::string Description(const std::string& name_space, const std::string& body) {
  return "<rdf:Description rdf:about=\"\" xmlns:zz=\"" + name_space + "\">" + body + "</rdf:Description>\n";
}

TEST(Invoice, ExportedResultsForBuiltInvoices) {
  const Invoice_Case cases[] = {
      {"invoice", Invoice_Options(), ZUGF_RESULT_INVOICE, ZUGF_RESULT_INVOICE},
      {"lower-case namespace", With([](Invoice_Options* o) { o->name_space = kLower; }), ZUGF_RESULT_INVOICE,
       ZUGF_RESULT_INVOICE},
      {"attribute form", With([](Invoice_Options* o) { o->attribute_form = true; }), ZUGF_RESULT_INVOICE,
       ZUGF_RESULT_INVOICE},
      {"conformance A", With([](Invoice_Options* o) { o->conformance = "A"; }), ZUGF_RESULT_INVOICE,
       ZUGF_RESULT_INVOICE},
      {"conformance U, attributes", With([](Invoice_Options* o) {
         o->conformance = "U";
         o->attribute_form = true;
       }),
       ZUGF_RESULT_INVOICE, ZUGF_RESULT_INVOICE},
      {"PDF/A-2", With([](Invoice_Options* o) { o->part = "2"; }), ZUGF_RESULT_NOT_PDFA3, ZUGF_RESULT_NOT_PDFA3},
      {"part with a leading zero", With([](Invoice_Options* o) { o->part = "03"; }), ZUGF_RESULT_NOT_PDFA3,
       ZUGF_RESULT_NOT_PDFA3},
      {"lower-case letter", With([](Invoice_Options* o) { o->conformance = "b"; }), ZUGF_RESULT_NOT_PDFA3,
       ZUGF_RESULT_NOT_PDFA3},
      {"no metadata", With([](Invoice_Options* o) { o->with_metadata = false; }), ZUGF_RESULT_NOT_PDFA3,
       ZUGF_RESULT_NOT_PDFA3},
      // The level query fails with -131; its failure is -1 whatever the code,
      // never the -10 or -11 of the mapping tables.
      {"unknown part and conformance", With([](Invoice_Options* o) { o->part = "4"; }), ZUGF_RESULT_NOT_PDFA3,
       ZUGF_RESULT_NOT_PDFA3},
      {"other document type", With([](Invoice_Options* o) { o->document_type = "ORDER"; }), ZUGF_RESULT_NOT_INVOICE,
       ZUGF_RESULT_NOT_INVOICE},
      {"type in lower case", With([](Invoice_Options* o) { o->document_type = "invoice"; }), ZUGF_RESULT_NOT_INVOICE,
       ZUGF_RESULT_NOT_INVOICE},
      {"type with a blank", With([](Invoice_Options* o) { o->document_type = "INVOICE "; }), ZUGF_RESULT_NOT_INVOICE,
       ZUGF_RESULT_NOT_INVOICE},
      {"file name case differs", With([](Invoice_Options* o) { o->document_file_name = "zugferd-invoice.xml"; }),
       ZUGF_RESULT_NOT_INVOICE, ZUGF_RESULT_NOT_INVOICE},
      {"other namespace", With([](Invoice_Options* o) { o->name_space = "urn:example:other#"; }),
       ZUGF_RESULT_NOT_INVOICE, ZUGF_RESULT_NOT_INVOICE},
      {"attachment of another name", With([](Invoice_Options* o) { o->attachment_name = "invoice.xml"; }),
       ZUGF_RESULT_NO_INVOICE_FILE, ZUGF_RESULT_NO_INVOICE_FILE},
      {"second spelling decides", With([](Invoice_Options* o) {
         o->document_type = "ORDER";
         o->extra_rdf = Description(kLower,
                                    "<zz:DocumentType>INVOICE</zz:DocumentType>"
                                    "<zz:DocumentFileName>ZUGFeRD-invoice.xml</zz:DocumentFileName>");
       }),
       ZUGF_RESULT_INVOICE, ZUGF_RESULT_INVOICE},
      {"file name only under the other spelling", With([](Invoice_Options* o) {
         o->document_file_name = "x.xml";
         o->extra_rdf = Description(kLower, "<zz:DocumentFileName>ZUGFeRD-invoice.xml</zz:DocumentFileName>");
       }),
       ZUGF_RESULT_NOT_INVOICE, ZUGF_RESULT_NOT_INVOICE},
      {"undecodable embedded stream",
       With([](Invoice_Options* o) { o->embedded_entries = " /Filter /ASCIIHexDecode"; }), ZUGF_RESULT_INVOICE,
       ZUGF_RESULT_CANNOT_DECODE},
      {"encrypted", With([](Invoice_Options* o) {
         o->trailer_extra = "/Encrypt << /Filter /Standard /V 1 /R 2 /P -4 /O <00> /U <00> >>";
       }),
       ZUGF_RESULT_NOT_PDFA3, ZUGF_RESULT_NOT_PDFA3},
      {"unsupported encryption",
       With([](Invoice_Options* o) { o->trailer_extra = "/Encrypt << /Filter /Standard /V 4 /R 4 /P -4 >>"; }),
       ZUGF_RESULT_BAD_INPUT, ZUGF_RESULT_BAD_INPUT},
  };
  for (const Invoice_Case& c : cases) {
    const std::string pdf = Test_Temp_Path("invoice.pdf");
    const std::string xml = Test_Temp_Path("invoice.xml");
    ASSERT_TRUE(Test_Write_File(pdf, Invoice_Build_Pdf(c.options)));
    remove(xml.c_str());
    EXPECT_EQ(ZUGF_Check_Zugferd(pdf.c_str()), c.check) << c.name;
    EXPECT_EQ(ZUGF_Extract_Zugferd(pdf.c_str(), nullptr), c.check) << c.name;
    EXPECT_EQ(ZUGF_Extract_Zugferd(pdf.c_str(), xml.c_str()), c.extract) << c.name;
    std::string written;
    bool exists = Test_Read_File(xml, &written);
    EXPECT_EQ(exists, c.extract == 0) << c.name << ": output only on success";
    if (c.extract == 0) {
      std::string expected = c.options.xml.empty() ? Invoice_Sample_Xml() : c.options.xml;
      EXPECT_EQ(written, expected) << c.name;
    }
    remove(pdf.c_str());
    remove(xml.c_str());
  }
}

TEST(Invoice, EmptyOutputPathFailsToExtract) {
  const std::string pdf = Test_Temp_Path("invoice-empty-out.pdf");
  ASSERT_TRUE(Test_Write_File(pdf, Invoice_Build_Pdf(Invoice_Options())));
  EXPECT_EQ(ZUGF_Extract_Zugferd(pdf.c_str(), ""), ZUGF_RESULT_EXTRACT_FAILED);
  EXPECT_EQ(ZUGF_Extract_Zugferd(pdf.c_str(), "/nonexistent/folder/out.xml"), ZUGF_RESULT_EXTRACT_FAILED);
  remove(pdf.c_str());
}

TEST(Invoice, ExistingOutputIsTruncatedOnlyWhenWriting) {
  const std::string pdf = Test_Temp_Path("invoice-trunc.pdf");
  const std::string xml = Test_Temp_Path("invoice-trunc.xml");
  Invoice_Options failing;
  failing.attachment_name = "other.xml";
  ASSERT_TRUE(Test_Write_File(pdf, Invoice_Build_Pdf(failing)));
  ASSERT_TRUE(Test_Write_File(xml, "keep me"));
  EXPECT_EQ(ZUGF_Extract_Zugferd(pdf.c_str(), xml.c_str()), ZUGF_RESULT_NO_INVOICE_FILE);
  std::string content;
  ASSERT_TRUE(Test_Read_File(xml, &content));
  EXPECT_EQ(content, "keep me");
  Invoice_Options tiny;
  tiny.xml = "<x/>";
  ASSERT_TRUE(Test_Write_File(pdf, Invoice_Build_Pdf(tiny)));
  EXPECT_EQ(ZUGF_Extract_Zugferd(pdf.c_str(), xml.c_str()), 0);
  ASSERT_TRUE(Test_Read_File(xml, &content));
  EXPECT_EQ(content, "<x/>");
  remove(pdf.c_str());
  remove(xml.c_str());
}

}  // namespace
