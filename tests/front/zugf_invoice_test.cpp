#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "invoice_extract.h"
#include "support/invoice_builder.h"
#include "support/pdf_builder.h"

namespace {

const std::string kLower = "urn:ferd:pdfa:crossindustrydocument:invoice:1p0#";

TEST(Invoice, ExportedResultsForBuiltInvoices) {
  struct Case {
    const char* name;
    std::string Invoice_Options::*field;  // one text of the options, or null
    std::string value;
    int32_t check;
    int32_t extract;
    std::string lower = "";  // properties under the other spelling
  };
  const Case cases[] = {
      {"invoice", nullptr, "", ZUGF_RESULT_INVOICE, ZUGF_RESULT_INVOICE},
      {"lower-case namespace", &Invoice_Options::name_space, kLower, ZUGF_RESULT_INVOICE, ZUGF_RESULT_INVOICE},
      {"conformance U", &Invoice_Options::conformance, "U", ZUGF_RESULT_INVOICE, ZUGF_RESULT_INVOICE},
      {"PDF/A-2", &Invoice_Options::part, "2", ZUGF_RESULT_NOT_PDFA3, ZUGF_RESULT_NOT_PDFA3},
      {"lower-case letter", &Invoice_Options::conformance, "b", ZUGF_RESULT_NOT_PDFA3, ZUGF_RESULT_NOT_PDFA3},
      // The level query fails; its failure is -1 whatever the code.
      {"unknown part", &Invoice_Options::part, "4", ZUGF_RESULT_NOT_PDFA3, ZUGF_RESULT_NOT_PDFA3},
      {"type with a blank", &Invoice_Options::document_type, "INVOICE ", ZUGF_RESULT_NOT_INVOICE,
       ZUGF_RESULT_NOT_INVOICE},
      {"file name case differs", &Invoice_Options::document_file_name, "zugferd-invoice.xml", ZUGF_RESULT_NOT_INVOICE,
       ZUGF_RESULT_NOT_INVOICE},
      {"other namespace", &Invoice_Options::name_space, "urn:example:other#", ZUGF_RESULT_NOT_INVOICE,
       ZUGF_RESULT_NOT_INVOICE},
      {"attachment of another name", &Invoice_Options::attachment_name, "invoice.xml", ZUGF_RESULT_NO_INVOICE_FILE,
       ZUGF_RESULT_NO_INVOICE_FILE},
      {"undecodable embedded stream", &Invoice_Options::embedded_entries, " /Filter /ASCIIHexDecode",
       ZUGF_RESULT_INVOICE, ZUGF_RESULT_CANNOT_DECODE},
      {"encrypted", &Invoice_Options::trailer_extra, "/Encrypt << /Filter /Standard /V 1 /R 2 /P -4 /O <00> /U <00> >>",
       ZUGF_RESULT_NOT_PDFA3, ZUGF_RESULT_NOT_PDFA3},
      {"unsupported encryption", &Invoice_Options::trailer_extra, "/Encrypt << /Filter /Standard /V 4 /R 4 /P -4 >>",
       ZUGF_RESULT_BAD_INPUT, ZUGF_RESULT_BAD_INPUT},
      // Under the other spelling: the type decides the spelling, under which
      // alone the file name is read.
      {"second spelling decides", &Invoice_Options::document_type, "ORDER", ZUGF_RESULT_INVOICE, ZUGF_RESULT_INVOICE,
       "<zz:DocumentType>INVOICE</zz:DocumentType><zz:DocumentFileName>ZUGFeRD-invoice.xml</zz:DocumentFileName>"},
      {"file name only under the other spelling", &Invoice_Options::document_file_name, "x.xml",
       ZUGF_RESULT_NOT_INVOICE, ZUGF_RESULT_NOT_INVOICE,
       "<zz:DocumentFileName>ZUGFeRD-invoice.xml</zz:DocumentFileName>"},
  };
  const std::string pdf = Test_Temp_Path("invoice.pdf");
  const std::string xml = Test_Temp_Path("invoice.xml");
  for (const Case& c : cases) {
    Invoice_Options options;
    if (c.field != nullptr) options.*c.field = c.value;
    if (!c.lower.empty()) {
      options.extra_rdf =
          "<rdf:Description rdf:about=\"\" xmlns:zz=\"" + kLower + "\">" + c.lower + "</rdf:Description>";
    }
    ASSERT_TRUE(Test_Write_File(pdf, Invoice_Build_Pdf(options)));
    remove(xml.c_str());
    EXPECT_EQ(ZUGF_Check_Zugferd(pdf.c_str()), c.check) << c.name;
    EXPECT_EQ(ZUGF_Extract_Zugferd(pdf.c_str(), nullptr), c.check) << c.name;
    EXPECT_EQ(ZUGF_Extract_Zugferd(pdf.c_str(), xml.c_str()), c.extract) << c.name;
    std::string written;
    EXPECT_EQ(Test_Read_File(xml, &written), c.extract == ZUGF_RESULT_INVOICE) << c.name << ": output only on success";
    if (c.extract == ZUGF_RESULT_INVOICE) {
      EXPECT_EQ(written, Invoice_Sample_Xml()) << c.name;
    }
  }
  // The output is opened, and an existing one truncated, only once every
  // check has passed.
  Invoice_Options tiny;
  tiny.xml = "<x/>";
  tiny.attachment_name = "other.xml";
  ASSERT_TRUE(Test_Write_File(pdf, Invoice_Build_Pdf(tiny)));
  ASSERT_TRUE(Test_Write_File(xml, "keep me"));
  EXPECT_EQ(ZUGF_Extract_Zugferd(pdf.c_str(), xml.c_str()), ZUGF_RESULT_NO_INVOICE_FILE);
  std::string content;
  EXPECT_TRUE(Test_Read_File(xml, &content) && content == "keep me") << content;
  tiny.attachment_name = "ZUGFeRD-invoice.xml";
  ASSERT_TRUE(Test_Write_File(pdf, Invoice_Build_Pdf(tiny)));
  EXPECT_EQ(ZUGF_Extract_Zugferd(pdf.c_str(), xml.c_str()), ZUGF_RESULT_INVOICE);
  EXPECT_TRUE(Test_Read_File(xml, &content) && content == "<x/>") << content;
  EXPECT_EQ(ZUGF_Extract_Zugferd(pdf.c_str(), ""), ZUGF_RESULT_EXTRACT_FAILED);
  EXPECT_EQ(ZUGF_Extract_Zugferd(pdf.c_str(), "/nonexistent/folder/out.xml"), ZUGF_RESULT_EXTRACT_FAILED);
  remove(pdf.c_str());
  remove(xml.c_str());
}

}  // namespace
