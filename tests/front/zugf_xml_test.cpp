#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "front/zugf_xml.h"
#include "invoice_extract.h"
#include "support/corpus.h"
#include "support/pdf_builder.h"

namespace {

// Written out here rather than taken from the code, so that a typo there shows.
const std::string kInvoiceNs = "urn:ferd:CrossIndustryDocument:invoice:1p0";
const std::string kRam = "urn:un:unece:uncefact:data:standard:ReusableAggregateBusinessInformationEntity:12";

const std::string kGuideline =
    "<ram:GuidelineSpecifiedDocumentContextParameter><ram:ID>urn:g</ram:ID>"
    "</ram:GuidelineSpecifiedDocumentContextParameter>";
const std::string kHeader =
    "<ram:ID>INV-1</ram:ID><ram:IssueDateTime><udt:DateTimeString format=\"102\">20240131</udt:DateTimeString>"
    "</ram:IssueDateTime>";

// An invoice head with prefixes as producers write them; before goes right
// after the root's start tag.
std::string Invoice_Xml(const std::string& context = kGuideline, const std::string& header = kHeader,
                        const std::string& before = "") {
  return "<?xml version=\"1.0\"?>\n<rsm:CrossIndustryDocument xmlns:rsm=\"" + kInvoiceNs + "\" xmlns:ram=\"" + kRam +
         "\" xmlns:udt=\"urn:udt\">\n" + before + "<rsm:SpecifiedExchangedDocumentContext>" + context +
         "</rsm:SpecifiedExchangedDocumentContext>\n<rsm:HeaderExchangedDocument>" + header +
         "</rsm:HeaderExchangedDocument>\n</rsm:CrossIndustryDocument>\n";
}

std::string Date(const std::string& format_attribute, const std::string& text) {
  return "<ram:IssueDateTime><udt:DateTimeString " + format_attribute + ">" + text +
         "</udt:DateTimeString></ram:IssueDateTime>";
}

TEST(InvoiceXml, CraftedDocuments) {
  const std::string c255(255, 'c'), d256(256, 'd'), long_ns(5000, 'n');
  const PDF_Result ok = PDF_RESULT_OK, bad = PDF_RESULT_BAD_INVOICE_XML;
  const struct {
    const char* name;
    std::string xml;
    PDF_Result result;
    std::string guideline_id, document_id, issue_date;
    int32_t format;
  } cases[] = {
      {"complete head", Invoice_Xml(), ok, "urn:g", "INV-1", "20240131", 102},
      {"inner elements in no namespace are taken by local name",
       Invoice_Xml("<GuidelineSpecifiedDocumentContextParameter><ID>urn:g</ID>"
                   "</GuidelineSpecifiedDocumentContextParameter>",
                   "<ID>INV-1</ID><IssueDateTime><DateTimeString format=\"102\">1</DateTimeString></IssueDateTime>"),
       ok, "urn:g", "INV-1", "1", 102},
      {"ID in a long foreign namespace", Invoice_Xml(kGuideline, "<x:ID xmlns:x=\"urn:" + long_ns + "\">INV-9</x:ID>"),
       ok, "urn:g", "INV-9", "", 0},
      {"header outside the invoice namespace is skipped",
       "<rsm:CrossIndustryDocument xmlns:rsm=\"" + kInvoiceNs +
           "\"><HeaderExchangedDocument><ID>INV-1</ID></HeaderExchangedDocument></rsm:CrossIndustryDocument>",
       ok, "", "", "", 0},
      {"root in another namespace", "<r:CrossIndustryDocument xmlns:r=\"" + kInvoiceNs + "x\"/>", bad, "", "", "", 0},
      {"other root in the invoice namespace", "<rsm:Invoice xmlns:rsm=\"" + kInvoiceNs + "\"/>", bad, "", "", "", 0},
      {"unknown subtrees hide their IDs and come back to the outermost",
       Invoice_Xml(kGuideline,
                   "<ram:A><ram:B><ram:ID>B</ram:ID></ram:B><ram:ID>A</ram:ID>"
                   "<rsm:HeaderExchangedDocument><ram:ID>H</ram:ID></rsm:HeaderExchangedDocument><ram:C/></ram:A>" +
                       kHeader + "<ram:Extra>" + Date("format=\"1\"", "1") + "</ram:Extra>",
                   "<ram:ID>ROOT</ram:ID>"),
       ok, "urn:g", "INV-1", "20240131", 102},
      {"format only on DateTimeString under IssueDateTime",
       Invoice_Xml(kGuideline,
                   "<ram:ID format=\"1\">INV-1</ram:ID><ram:IssueDateTime format=\"3\">"
                   "<udt:DateTimeString>20240131</udt:DateTimeString></ram:IssueDateTime>"),
       ok, "urn:g", "INV-1", "20240131", 0},
      {"format with leading blanks and trailing letters", Invoice_Xml(kGuideline, Date("format=\"  610abc\"", "2")), ok,
       "urn:g", "", "2", 610},
      {"text split by a reference keeps its last piece", Invoice_Xml(kGuideline, "<ram:ID>A&amp;B</ram:ID>"), ok,
       "urn:g", "B", "", 0},
      {"255 bytes fit", Invoice_Xml(kGuideline, "<ram:ID>" + c255 + "</ram:ID>"), ok, "urn:g", c255, "", 0},
      {"256 bytes of document id", Invoice_Xml(kGuideline, "<ram:ID>" + d256 + "</ram:ID>"), bad, "urn:g", "", "", 0},
      {"long text elsewhere passes", Invoice_Xml(kGuideline, "<ram:Name>" + d256 + "</ram:Name>" + kHeader), ok,
       "urn:g", "INV-1", "20240131", 102},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ZUGF_Invoice_Info info;
    memset(&info, 'z', sizeof(info));
    EXPECT_EQ(ZUGF_Read_Invoice_Info(c.xml.data(), c.xml.size(), &info), c.result);
    EXPECT_EQ(std::string(info.guideline_id), c.guideline_id);
    EXPECT_EQ(std::string(info.document_id), c.document_id);
    EXPECT_EQ(std::string(info.issue_date), c.issue_date);
    EXPECT_EQ(info.issue_date_format, c.format);
  }
  // What came before damage stays readable.
  const std::string unclosed = Invoice_Xml().substr(0, Invoice_Xml().size() - 10);
  ZUGF_Invoice_Info info;
  EXPECT_EQ(ZUGF_Read_Invoice_Info(unclosed.data(), unclosed.size(), &info), PDF_RESULT_BAD_INVOICE_XML);
  EXPECT_STREQ(info.document_id, "INV-1");
  EXPECT_EQ(ZUGF_Read_Invoice_Info(nullptr, 0, &info), PDF_RESULT_BAD_INVOICE_XML);
  EXPECT_EQ(ZUGF_Read_Invoice_Info(nullptr, 5, &info), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(ZUGF_Read_Invoice_Info(unclosed.data(), unclosed.size(), nullptr), PDF_RESULT_INVALID_ARGUMENT);
}

// Values read by hand from the XML that each sample carries.
TEST(InvoiceXml, PublishedSampleInvoices) {
  const std::string extended = "urn:ferd:CrossIndustryDocument:invoice:1p0:extended";
  const std::string basic = "urn:ferd:CrossIndustryDocument:invoice:1p0:basic";
  const struct {
    std::string file, guideline_id, document_id, issue_date;
  } invoices[] = {
      {"MustangGnuaccountingBeispielRE-20170509_505.pdf", extended, "RE-20170509/505", "20170509"},
      {"ZUGFeRD_1p0_BASIC_Einfach.pdf", basic, "471102", "20130305"},
      {"ZUGFeRD_1p0_COMFORT_Rabatte.pdf", "urn:ferd:CrossIndustryDocument:invoice:1p0:comfort", "471102", "20130605"},
      {"acme_invoice-42_ZUGFeRD.pdf", basic, "20131122-42", "20141108"},
      {"additional-data-sample-1.pdf", extended, "R87654321012345", "20130806"},
  };
  const std::string xml_path = Test_Temp_Path("invoice_head.xml");
  for (const auto& invoice : invoices) {
    ASSERT_EQ(ZUGF_Extract_Zugferd((kCorpus + "invoices/" + invoice.file).c_str(), xml_path.c_str()), 0)
        << invoice.file;
    std::string xml;
    ASSERT_TRUE(Test_Read_File(xml_path, &xml)) << invoice.file;
    ZUGF_Invoice_Info info;
    ASSERT_EQ(ZUGF_Read_Invoice_Info(xml.data(), xml.size(), &info), PDF_RESULT_OK) << invoice.file;
    EXPECT_EQ(info.guideline_id + (" " + std::string(info.document_id)) + " " + info.issue_date + " " +
                  std::to_string(info.issue_date_format),
              invoice.guideline_id + " " + invoice.document_id + " " + invoice.issue_date + " 102");
  }
  remove(xml_path.c_str());
}

}  // namespace
