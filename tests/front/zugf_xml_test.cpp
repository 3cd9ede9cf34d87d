#include <expat.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "front/zugf_xml.h"
#include "invoice_extract.h"
#include "support/pdf_builder.h"

namespace {

// Written out here rather than taken from the code, so that a typo there shows.
const std::string kInvoiceNs = "urn:ferd:CrossIndustryDocument:invoice:1p0";
const std::string kRam = "urn:un:unece:uncefact:data:standard:ReusableAggregateBusinessInformationEntity:12";
const std::string kUdt = "urn:un:unece:uncefact:data:standard:UnqualifiedDataType:15";

const std::string kGuideline =
    "<ram:GuidelineSpecifiedDocumentContextParameter><ram:ID>urn:g</ram:ID>"
    "</ram:GuidelineSpecifiedDocumentContextParameter>";
const std::string kHeader =
    "<ram:ID>INV-1</ram:ID><ram:Name>RECHNUNG</ram:Name>"
    "<ram:IssueDateTime><udt:DateTimeString format=\"102\">20240131</udt:DateTimeString></ram:IssueDateTime>";

// An invoice head with prefixes as producers write them; before goes right
// after the root's start tag.
std::string Invoice_Xml(const std::string& context = kGuideline, const std::string& header = kHeader,
                        const std::string& before = "") {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<rsm:CrossIndustryDocument xmlns:rsm=\"" + kInvoiceNs +
         "\" xmlns:ram=\"" + kRam + "\" xmlns:udt=\"" + kUdt + "\">\n" + before +
         "<rsm:SpecifiedExchangedDocumentContext>" + context + "</rsm:SpecifiedExchangedDocumentContext>\n" +
         "<rsm:HeaderExchangedDocument>" + header + "</rsm:HeaderExchangedDocument>\n" +
         "<rsm:SpecifiedSupplyChainTradeTransaction><ram:ID>TRADE</ram:ID></rsm:SpecifiedSupplyChainTradeTransaction>\n"
         "</rsm:CrossIndustryDocument>\n";
}

std::string Header_With_Id(const std::string& id_content) {
  return "<ram:ID>" + id_content +
         "</ram:ID><ram:IssueDateTime><udt:DateTimeString format=\"102\">20240131"
         "</udt:DateTimeString></ram:IssueDateTime>";
}

struct Handler_Run {
  PDF_Result error;
  XML_Error expat_error;
  uint32_t state;
  uint32_t depth;
  ZUGF_Invoice_Info info;
};

// A real namespace-aware parser with the three handlers, fed in pieces of
// chunk bytes (0: all at once).
Handler_Run Run_Handlers(const std::string& xml, size_t chunk = 0) {
  Handler_Run run;
  memset(&run, 0, sizeof(run));
  XML_Parser parser = XML_ParserCreateNS(nullptr, '\t');
  ZUGF_Xml_State state;
  memset(&state, 0, sizeof(state));
  state.parser = parser;
  state.result = &run.info;
  XML_SetUserData(parser, &state);
  XML_SetElementHandler(parser, ZUGF_Handle_Start_Element, ZUGF_Handle_End_Element);
  XML_SetCharacterDataHandler(parser, ZUGF_Handle_Character_Data);
  if (chunk == 0) chunk = xml.size();
  size_t offset = 0;
  XML_Status status = XML_STATUS_OK;
  do {
    size_t piece = std::min(chunk, xml.size() - offset);
    status = XML_Parse(parser, xml.data() + offset, static_cast<int>(piece), offset + piece == xml.size());
    offset += piece;
  } while (status == XML_STATUS_OK && offset < xml.size());
  run.error = state.error;
  run.expat_error = XML_GetErrorCode(parser);
  run.state = state.state;
  run.depth = state.depth;
  ZUGF_Release_Xml_State(&state);
  XML_ParserFree(parser);
  return run;
}

struct Document_Case {
  std::string name;
  std::string xml;
  PDF_Result result;
  std::string guideline_id;
  std::string document_id;
  std::string issue_date;
  int32_t format;
};

void Expect_Info(const ZUGF_Invoice_Info& info, const Document_Case& c, const std::string& how) {
  EXPECT_EQ(std::string(info.guideline_id), c.guideline_id) << c.name << how;
  EXPECT_EQ(std::string(info.document_id), c.document_id) << c.name << how;
  EXPECT_EQ(std::string(info.issue_date), c.issue_date) << c.name << how;
  EXPECT_EQ(info.issue_date_format, c.format) << c.name << how;
}

TEST(InvoiceXml, CraftedDocuments) {
  const std::string a200(200, 'a'), b200(200, 'b'), c255(255, 'c'), d256(256, 'd'), long_ns(5000, 'n');
  const PDF_Result ok = PDF_RESULT_OK, bad = PDF_RESULT_BAD_INVOICE_XML;
  const Document_Case cases[] = {
      {"complete head", Invoice_Xml(), ok, "urn:g", "INV-1", "20240131", 102},
      {"default namespace, no prefixes",
       "<CrossIndustryDocument xmlns=\"" + kInvoiceNs +
           "\"><SpecifiedExchangedDocumentContext>"
           "<GuidelineSpecifiedDocumentContextParameter><ID>urn:g</ID></GuidelineSpecifiedDocumentContextParameter>"
           "</SpecifiedExchangedDocumentContext><HeaderExchangedDocument><ID>INV-1</ID><IssueDateTime>"
           "<DateTimeString format=\"102\">20240131</DateTimeString></IssueDateTime></HeaderExchangedDocument>"
           "</CrossIndustryDocument>",
       ok, "urn:g", "INV-1", "20240131", 102},
      {"inner elements in no namespace are taken by local name",
       Invoice_Xml("<GuidelineSpecifiedDocumentContextParameter><ID>urn:g</ID>"
                   "</GuidelineSpecifiedDocumentContextParameter>",
                   "<ID>INV-1</ID><IssueDateTime><DateTimeString format=\"102\">20240131</DateTimeString>"
                   "</IssueDateTime>"),
       ok, "urn:g", "INV-1", "20240131", 102},
      {"ID in a long foreign namespace", Invoice_Xml(kGuideline, "<x:ID xmlns:x=\"urn:" + long_ns + "\">INV-9</x:ID>"),
       ok, "urn:g", "INV-9", "", 0},
      {"context in another namespace is skipped",
       "<rsm:CrossIndustryDocument xmlns:rsm=\"" + kInvoiceNs + "\" xmlns:ram=\"" + kRam +
           "\">"
           "<ram:SpecifiedExchangedDocumentContext>" +
           kGuideline +
           "</ram:SpecifiedExchangedDocumentContext>"
           "<rsm:HeaderExchangedDocument><ram:ID>INV-1</ram:ID></rsm:HeaderExchangedDocument></"
           "rsm:CrossIndustryDocument>",
       ok, "", "INV-1", "", 0},
      {"header without namespace is skipped",
       "<rsm:CrossIndustryDocument xmlns:rsm=\"" + kInvoiceNs +
           "\"><HeaderExchangedDocument><ID>INV-1</ID>"
           "</HeaderExchangedDocument></rsm:CrossIndustryDocument>",
       ok, "", "", "", 0},
      {"root in another namespace",
       "<r:CrossIndustryDocument xmlns:r=\"urn:ferd:CrossIndustryDocument:invoice:1p1\">"
       "<r:HeaderExchangedDocument><ID>INV-1</ID></r:HeaderExchangedDocument></r:CrossIndustryDocument>",
       bad, "", "", "", 0},
      {"root without namespace",
       "<CrossIndustryDocument><HeaderExchangedDocument><ID>INV-1</ID>"
       "</HeaderExchangedDocument></CrossIndustryDocument>",
       bad, "", "", "", 0},
      {"other root in the invoice namespace", "<rsm:Invoice xmlns:rsm=\"" + kInvoiceNs + "\"/>", bad, "", "", "", 0},
      {"unknown elements in the header hide their IDs",
       Invoice_Xml(kGuideline, "<ram:IncludedNote><ram:ID>NOTE</ram:ID></ram:IncludedNote>" + kHeader +
                                   "<ram:Extra><ram:ID>LATE</ram:ID><ram:IssueDateTime><udt:DateTimeString "
                                   "format=\"1\">1</udt:DateTimeString></ram:IssueDateTime></ram:Extra>"),
       ok, "urn:g", "INV-1", "20240131", 102},
      {"nested unknown subtrees come back to the outermost",
       Invoice_Xml(kGuideline,
                   "<ram:A><ram:B><ram:ID>B</ram:ID></ram:B><ram:ID>A</ram:ID>"
                   "<rsm:HeaderExchangedDocument><ram:ID>H</ram:ID></rsm:HeaderExchangedDocument>"
                   "<ram:C/></ram:A>" +
                       kHeader),
       ok, "urn:g", "INV-1", "20240131", 102},
      {"unknown subtree in the root holding a header",
       Invoice_Xml(kGuideline, kHeader,
                   "<rsm:Extra><rsm:HeaderExchangedDocument><ram:ID>X</ram:ID></rsm:HeaderExchangedDocument>"
                   "</rsm:Extra>"),
       ok, "urn:g", "INV-1", "20240131", 102},
      {"path elements out of place",
       Invoice_Xml("<ram:ID>CTX</ram:ID>" + kGuideline,
                   "<ram:GuidelineSpecifiedDocumentContextParameter><ram:ID>G2</ram:ID>"
                   "</ram:GuidelineSpecifiedDocumentContextParameter>" +
                       kHeader,
                   "<ram:ID>ROOT</ram:ID><ram:IssueDateTime><udt:DateTimeString format=\"7\">7"
                   "</udt:DateTimeString></ram:IssueDateTime>"),
       ok, "urn:g", "INV-1", "20240131", 102},
      {"format only on DateTimeString under IssueDateTime",
       Invoice_Xml(kGuideline,
                   "<ram:ID format=\"1\">INV-1</ram:ID><udt:DateTimeString format=\"2\">19990101"
                   "</udt:DateTimeString><ram:IssueDateTime format=\"3\"><udt:DateTimeString>20240131"
                   "</udt:DateTimeString></ram:IssueDateTime>"),
       ok, "urn:g", "INV-1", "20240131", 0},
      {"format in another namespace is not read",
       Invoice_Xml(kGuideline,
                   "<ram:IssueDateTime><udt:DateTimeString xmlns:q=\"urn:q\" q:format=\"5\">202401"
                   "</udt:DateTimeString></ram:IssueDateTime>"),
       ok, "urn:g", "", "202401", 0},
      {"format with leading blanks and trailing letters",
       Invoice_Xml(kGuideline,
                   "<ram:IssueDateTime><udt:DateTimeString format=\"  610abc\">202401</udt:DateTimeString>"
                   "</ram:IssueDateTime>"),
       ok, "urn:g", "", "202401", 610},
      {"format that is no number reads 0",
       Invoice_Xml(kGuideline,
                   "<ram:IssueDateTime><udt:DateTimeString format=\"102\">1</udt:DateTimeString>"
                   "</ram:IssueDateTime><ram:IssueDateTime><udt:DateTimeString format=\"x\"/>"
                   "</ram:IssueDateTime>"),
       ok, "urn:g", "", "1", 0},
      {"text split by a reference keeps its last piece", Invoice_Xml(kGuideline, Header_With_Id("A&amp;B")), ok,
       "urn:g", "B", "20240131", 102},
      {"text split at a line end keeps its last piece", Invoice_Xml(kGuideline, Header_With_Id("first\nsecond")), ok,
       "urn:g", "second", "20240131", 102},
      {"text split by a CDATA section keeps its last piece",
       Invoice_Xml(kGuideline, Header_With_Id("A<![CDATA[<B>]]>")), ok, "urn:g", "<B>", "20240131", 102},
      {"value on a line of its own keeps the line end", Invoice_Xml(kGuideline, Header_With_Id("\n  INV-1\n")), ok,
       "urn:g", "\n", "20240131", 102},
      {"255 bytes fit", Invoice_Xml(kGuideline, Header_With_Id(c255)), ok, "urn:g", c255, "20240131", 102},
      {"256 bytes of document id", Invoice_Xml(kGuideline, Header_With_Id(d256)), bad, "urn:g", "", "", 0},
      {"256 bytes of guideline",
       Invoice_Xml("<ram:GuidelineSpecifiedDocumentContextParameter><ram:ID>" + d256 +
                   "</ram:ID></ram:GuidelineSpecifiedDocumentContextParameter>"),
       bad, "", "", "", 0},
      {"256 bytes of issue date, format already read",
       Invoice_Xml(kGuideline, "<ram:ID>INV-1</ram:ID><ram:IssueDateTime><udt:DateTimeString format=\"102\">" + d256 +
                                   "</udt:DateTimeString></ram:IssueDateTime>"),
       bad, "urn:g", "INV-1", "", 102},
      {"long text elsewhere passes", Invoice_Xml(kGuideline, "<ram:Name>" + d256 + d256 + "</ram:Name>" + kHeader), ok,
       "urn:g", "INV-1", "20240131", 102},
      {"long text in pieces below the limit", Invoice_Xml(kGuideline, Header_With_Id(a200 + "&amp;" + b200)), ok,
       "urn:g", b200, "20240131", 102},
      {"long element names are skipped",
       Invoice_Xml(kGuideline, "<ram:" + long_ns + "><ram:ID>X</ram:ID></ram:" + long_ns + ">" + kHeader), ok, "urn:g",
       "INV-1", "20240131", 102},
  };
  for (const Document_Case& c : cases) {
    Handler_Run run = Run_Handlers(c.xml);
    EXPECT_EQ(run.error, c.result) << c.name;
    Expect_Info(run.info, c, " (handlers)");
    if (c.result == PDF_RESULT_OK) {
      EXPECT_EQ(run.expat_error, XML_ERROR_NONE) << c.name;
      EXPECT_EQ(run.depth, 0u) << c.name;
      EXPECT_EQ(run.state, uint32_t{ZUGF_XML_ROOT}) << c.name;
    } else {
      EXPECT_EQ(run.expat_error, XML_ERROR_ABORTED) << c.name << ": the parser is stopped";
    }

    ZUGF_Invoice_Info info;
    memset(&info, 'z', sizeof(info));
    EXPECT_EQ(ZUGF_Read_Invoice_Info(c.xml.data(), c.xml.size(), &info), c.result) << c.name;
    Expect_Info(info, c, " (buffer)");
  }
}

// Expat's own pieces when fed in parts, recorded without the handlers.
void XMLCALL Record_Piece(void* user_data, const XML_Char* text, int length) {
  static_cast<std::vector<std::string>*>(user_data)->emplace_back(text, length);
}

TEST(InvoiceXml, TextFedInPartsKeepsExpatsLastPiece) {
  // The document id is the only character data in the document.
  const std::string xml = "<rsm:CrossIndustryDocument xmlns:rsm=\"" + kInvoiceNs +
                          "\"><rsm:HeaderExchangedDocument><ram:ID xmlns:ram=\"" + kRam +
                          "\">INV-2024-000123</ram:ID></rsm:HeaderExchangedDocument></rsm:CrossIndustryDocument>";
  for (size_t chunk : {1u, 2u, 3u, 5u, 16u, 100u}) {
    std::vector<std::string> pieces;
    XML_Parser recorder = XML_ParserCreateNS(nullptr, '\t');
    XML_SetUserData(recorder, &pieces);
    XML_SetCharacterDataHandler(recorder, Record_Piece);
    for (size_t offset = 0; offset < xml.size(); offset += chunk) {
      size_t piece = std::min(chunk, xml.size() - offset);
      ASSERT_EQ(XML_Parse(recorder, xml.data() + offset, static_cast<int>(piece), offset + piece == xml.size()),
                XML_STATUS_OK);
    }
    XML_ParserFree(recorder);
    ASSERT_FALSE(pieces.empty());
    std::string whole;
    for (const std::string& piece : pieces) whole += piece;
    ASSERT_EQ(whole, "INV-2024-000123");
    if (chunk < 16) {
      EXPECT_GT(pieces.size(), 1u) << "chunk " << chunk << " should split the text";
    }

    Handler_Run run = Run_Handlers(xml, chunk);
    EXPECT_EQ(run.error, PDF_RESULT_OK) << "chunk " << chunk;
    EXPECT_EQ(std::string(run.info.document_id), pieces.back()) << "chunk " << chunk;
  }
}

// Forwards to the end handler, giving one element's end tag another name.
struct Renaming_End {
  ZUGF_Xml_State state;
  std::string from;
  std::string to;
};

void XMLCALL Renamed_End_Element(void* user_data, const XML_Char* name) {
  Renaming_End* renaming = static_cast<Renaming_End*>(user_data);
  ZUGF_Handle_End_Element(&renaming->state, renaming->from == name ? renaming->to.c_str() : name);
}

void XMLCALL Start_Element(void* user_data, const XML_Char* name, const XML_Char** attributes) {
  ZUGF_Handle_Start_Element(&static_cast<Renaming_End*>(user_data)->state, name, attributes);
}

void XMLCALL Character_Data(void* user_data, const XML_Char* text, int length) {
  ZUGF_Handle_Character_Data(&static_cast<Renaming_End*>(user_data)->state, text, length);
}

TEST(InvoiceXml, WrongEndTagOnThePathStopsTheParser) {
  ZUGF_Invoice_Info info;
  memset(&info, 0, sizeof(info));
  Renaming_End renaming;
  memset(&renaming.state, 0, sizeof(renaming.state));
  renaming.from = kRam + "\tIssueDateTime";
  renaming.to = kRam + "\tID";
  XML_Parser parser = XML_ParserCreateNS(nullptr, '\t');
  renaming.state.parser = parser;
  renaming.state.result = &info;
  XML_SetUserData(parser, &renaming);
  XML_SetElementHandler(parser, Start_Element, Renamed_End_Element);
  XML_SetCharacterDataHandler(parser, Character_Data);
  const std::string xml = Invoice_Xml(kGuideline, kHeader + "<ram:ID>AFTER</ram:ID>");
  EXPECT_EQ(XML_Parse(parser, xml.data(), static_cast<int>(xml.size()), XML_TRUE), XML_STATUS_ERROR);
  EXPECT_EQ(XML_GetErrorCode(parser), XML_ERROR_ABORTED);
  EXPECT_EQ(XML_ResumeParser(parser), XML_STATUS_ERROR) << "the stop is not resumable";
  EXPECT_EQ(renaming.state.error, PDF_RESULT_BAD_INVOICE_XML);
  EXPECT_EQ(renaming.state.state, uint32_t{ZUGF_XML_ISSUE_DATE});
  EXPECT_EQ(renaming.state.depth, 3u) << "root, header and IssueDateTime stay counted";
  EXPECT_STREQ(info.document_id, "INV-1") << "nothing after the stop is read";
  EXPECT_STREQ(info.issue_date, "20240131");
  ZUGF_Release_Xml_State(&renaming.state);
  XML_ParserFree(parser);
}

struct End_Case {
  uint32_t state;
  std::string name;
  PDF_Result error;
  uint32_t new_state;
  uint32_t new_depth;
};

TEST(InvoiceXml, EndOfElementByState) {
  const std::string rsm = kInvoiceNs + "\t", other = "urn:other\t";
  const PDF_Result bad = PDF_RESULT_BAD_INVOICE_XML;
  // Each starts at depth 4 with state 200 saved at depth 3.
  const End_Case cases[] = {
      {ZUGF_XML_CONTEXT, rsm + "SpecifiedExchangedDocumentContext", 0, ZUGF_XML_ROOT, 3},
      {ZUGF_XML_CONTEXT, "SpecifiedExchangedDocumentContext", bad, ZUGF_XML_CONTEXT, 4},
      {ZUGF_XML_CONTEXT, rsm + "HeaderExchangedDocument", bad, ZUGF_XML_CONTEXT, 4},
      {ZUGF_XML_HEADER, other + "HeaderExchangedDocument", bad, ZUGF_XML_HEADER, 4},
      {ZUGF_XML_HEADER, rsm + "HeaderExchangedDocument", 0, ZUGF_XML_ROOT, 3},
      {ZUGF_XML_GUIDELINE, other + "GuidelineSpecifiedDocumentContextParameter", 0, ZUGF_XML_CONTEXT, 3},
      {ZUGF_XML_GUIDELINE, "ID", bad, ZUGF_XML_GUIDELINE, 4},
      {ZUGF_XML_GUIDELINE_ID, "ID", 0, ZUGF_XML_GUIDELINE, 3},
      {ZUGF_XML_GUIDELINE_ID, other + "IDX", bad, ZUGF_XML_GUIDELINE_ID, 4},
      {ZUGF_XML_DOCUMENT_ID, other + "ID", 0, ZUGF_XML_HEADER, 3},
      {ZUGF_XML_DOCUMENT_ID, "DateTimeString", bad, ZUGF_XML_DOCUMENT_ID, 4},
      {ZUGF_XML_ISSUE_DATE, other + "IssueDateTime", 0, ZUGF_XML_HEADER, 3},
      {ZUGF_XML_ISSUE_DATE, other + "DateTimeString", bad, ZUGF_XML_ISSUE_DATE, 4},
      {ZUGF_XML_ISSUE_DATE_STRING, "DateTimeString", 0, ZUGF_XML_ISSUE_DATE, 3},
      {ZUGF_XML_ISSUE_DATE_STRING, "IssueDateTime", bad, ZUGF_XML_ISSUE_DATE_STRING, 4},
      {ZUGF_XML_ROOT, "anything", 0, ZUGF_XML_ROOT, 3},
      {ZUGF_XML_UNKNOWN, "anything", 0, ZUGF_XML_HEADER, 3},  // depth - 1 is the saved depth
  };
  for (const End_Case& c : cases) {
    ZUGF_Invoice_Info info;
    memset(&info, 0, sizeof(info));
    ZUGF_Xml_State state;
    memset(&state, 0, sizeof(state));
    state.parser = XML_ParserCreateNS(nullptr, '\t');
    state.result = &info;
    state.state = c.state;
    state.depth = 4;
    state.saved_state = ZUGF_XML_HEADER;
    state.saved_depth = 3;
    ZUGF_Handle_End_Element(&state, c.name.c_str());
    EXPECT_EQ(state.error, c.error) << c.state << " " << c.name;
    EXPECT_EQ(state.state, c.new_state) << c.state << " " << c.name;
    EXPECT_EQ(state.depth, c.new_depth) << c.state << " " << c.name;
    ZUGF_Release_Xml_State(&state);
    XML_ParserFree(state.parser);
  }

  // Deeper inside an unknown subtree the walk stays off the path.
  ZUGF_Xml_State state;
  memset(&state, 0, sizeof(state));
  state.state = ZUGF_XML_UNKNOWN;
  state.depth = 5;
  state.saved_state = ZUGF_XML_HEADER;
  state.saved_depth = 3;
  ZUGF_Handle_End_Element(&state, "x");
  EXPECT_EQ(state.state, uint32_t{ZUGF_XML_UNKNOWN});
  EXPECT_EQ(state.depth, 4u);
  ZUGF_Release_Xml_State(&state);
}

TEST(InvoiceXml, HandlersDoNothingOnceFailed) {
  ZUGF_Invoice_Info info;
  memset(&info, 0, sizeof(info));
  ZUGF_Xml_State state;
  memset(&state, 0, sizeof(state));
  state.result = &info;
  state.error = PDF_RESULT_BAD_INVOICE_XML;
  const std::string root = kInvoiceNs + "\tCrossIndustryDocument";
  ZUGF_Handle_Start_Element(&state, root.c_str(), nullptr);
  EXPECT_EQ(state.state, uint32_t{ZUGF_XML_UNKNOWN});
  EXPECT_EQ(state.depth, 0u);
  state.state = ZUGF_XML_DOCUMENT_ID;
  state.depth = 3;
  ZUGF_Handle_Character_Data(&state, "INV", 3);
  EXPECT_STREQ(info.document_id, "");
  ZUGF_Handle_End_Element(&state, "IssueDateTime");
  EXPECT_EQ(state.error, PDF_RESULT_BAD_INVOICE_XML);
  EXPECT_EQ(state.state, uint32_t{ZUGF_XML_DOCUMENT_ID});
  EXPECT_EQ(state.depth, 3u);
  EXPECT_EQ(state.name, nullptr) << "no name was even copied";
}

TEST(InvoiceXml, ReadingABufferThatIsNoInvoiceHead) {
  struct Buffer_Case {
    std::string name;
    const char* bytes;
    size_t length;
    PDF_Result result;
  };
  const std::string unclosed = Invoice_Xml().substr(0, Invoice_Xml().size() - 10);
  const std::string not_xml = "%PDF-1.7\n";
  const Buffer_Case cases[] = {
      {"no bytes", nullptr, 0, PDF_RESULT_BAD_INVOICE_XML},
      {"null bytes with a length", nullptr, 5, PDF_RESULT_INVALID_ARGUMENT},
      {"unclosed root", unclosed.data(), unclosed.size(), PDF_RESULT_BAD_INVOICE_XML},
      {"not XML", not_xml.data(), not_xml.size(), PDF_RESULT_BAD_INVOICE_XML},
  };
  for (const Buffer_Case& c : cases) {
    ZUGF_Invoice_Info info;
    EXPECT_EQ(ZUGF_Read_Invoice_Info(c.bytes, c.length, &info), c.result) << c.name;
  }
  // What came before the damage stays readable.
  ZUGF_Invoice_Info info;
  ASSERT_EQ(ZUGF_Read_Invoice_Info(unclosed.data(), unclosed.size(), &info), PDF_RESULT_BAD_INVOICE_XML);
  EXPECT_STREQ(info.document_id, "INV-1");
  EXPECT_EQ(ZUGF_Read_Invoice_Info(unclosed.data(), unclosed.size(), nullptr), PDF_RESULT_INVALID_ARGUMENT);
}

// Values read by hand from the XML that each sample carries, and checked
// against an XPath query of the same files.
struct Corpus_Invoice {
  std::string file;
  std::string guideline_id;
  std::string document_id;
  std::string issue_date;
  int32_t format;
};

TEST(InvoiceXml, PublishedSampleInvoices) {
  const std::string extended = "urn:ferd:CrossIndustryDocument:invoice:1p0:extended";
  const std::string basic = "urn:ferd:CrossIndustryDocument:invoice:1p0:basic";
  const std::string comfort = "urn:ferd:CrossIndustryDocument:invoice:1p0:comfort";
  const Corpus_Invoice invoices[] = {
      {"MustangGnuaccountingBeispielRE-20170509_505.pdf", extended, "RE-20170509/505", "20170509", 102},
      {"ZUGFeRD_1p0_BASIC_Einfach.pdf", basic, "471102", "20130305", 102},
      {"ZUGFeRD_1p0_COMFORT_Rabatte.pdf", comfort, "471102", "20130605", 102},
      {"ZUGFeRD_1p0_EXTENDED_Warenrechnung.pdf", extended, "R87654321012345", "20130806", 102},
      {"acme_invoice-42_ZUGFeRD.pdf", basic, "20131122-42", "20141108", 102},
      {"additional-data-sample-1.pdf", extended, "R87654321012345", "20130806", 102},
  };
  const std::string folder = std::string(INVOICE_EXTRACT_SOURCE_DIR) + "/../shared/corpus/invoices/";
  const std::string xml_path = Test_Temp_Path("invoice_head.xml");
  for (const Corpus_Invoice& invoice : invoices) {
    ASSERT_EQ(ZUGF_Extract_Zugferd((folder + invoice.file).c_str(), xml_path.c_str()), 0) << invoice.file;
    std::string xml;
    ASSERT_TRUE(Test_Read_File(xml_path, &xml)) << invoice.file;
    ZUGF_Invoice_Info info;
    ASSERT_EQ(ZUGF_Read_Invoice_Info(xml.data(), xml.size(), &info), PDF_RESULT_OK) << invoice.file;
    EXPECT_EQ(std::string(info.guideline_id), invoice.guideline_id) << invoice.file;
    EXPECT_EQ(std::string(info.document_id), invoice.document_id) << invoice.file;
    EXPECT_EQ(std::string(info.issue_date), invoice.issue_date) << invoice.file;
    EXPECT_EQ(info.issue_date_format, invoice.format) << invoice.file;
  }
  remove(xml_path.c_str());
}

}  // namespace
