// --explain and inspect name the first check that failed.
#include <gtest/gtest.h>

#include "invoice_extract.h"
#include "support/invoice_builder.h"
#include "support/pdf_builder.h"
#include "support/tool_fixture.h"

namespace {

using Tool_Explain = Tool_Folder;

struct Explain_Case {
  const char* name;
  void (*change)(Invoice_Options*);
  int result;
  std::vector<std::string> words;  // all must stand in the explanation; none: no explanation
};

TEST_F(Tool_Explain, CraftedFilesNameTheirFirstFailedCheck) {
  const Explain_Case cases[] = {
      {"part-2", [](Invoice_Options* o) { o->part = "2"; }, ZUGF_RESULT_NOT_PDFA3, {"PDF/A part 2, not 3"}},
      {"lower-case-b",
       [](Invoice_Options* o) { o->conformance = "b"; },
       ZUGF_RESULT_NOT_PDFA3,
       {"conformance", "\"b\""}},
      {"no-metadata", [](Invoice_Options* o) { o->with_metadata = false; }, ZUGF_RESULT_NOT_PDFA3, {"no XMP metadata"}},
      {"factur-x",
       [](Invoice_Options* o) { o->name_space = "urn:factur-x:pdfa:CrossIndustryDocument:invoice:1p0#"; },
       ZUGF_RESULT_NOT_INVOICE,
       {"Factur-X invoice (BASIC): not ZUGFeRD 1.0"}},
      {"order",
       [](Invoice_Options* o) { o->document_type = "ORDER"; },
       ZUGF_RESULT_NOT_INVOICE,
       {"DocumentType", "\"ORDER\""}},
      {"file-name",
       [](Invoice_Options* o) { o->document_file_name = "invoice.xml"; },
       ZUGF_RESULT_NOT_INVOICE,
       {"DocumentFileName", "\"invoice.xml\""}},
      {"draft-schema",
       [](Invoice_Options* o) { o->name_space = "urn:example:draft:invoice#"; },
       ZUGF_RESULT_NOT_INVOICE,
       {"urn:example:draft:invoice#"}},
      {"attachment",
       [](Invoice_Options* o) { o->attachment_name = "other.xml"; },
       ZUGF_RESULT_NO_INVOICE_FILE,
       {"ZUGFeRD-invoice.xml is not embedded (embedded: other.xml)"}},
      {"second-spelling",
       [](Invoice_Options* o) { o->name_space = "urn:ferd:pdfa:crossindustrydocument:invoice:1p0#"; },
       ZUGF_RESULT_INVOICE,
       {}},
  };
  for (const Explain_Case& test : cases) {
    Invoice_Options options;
    test.change(&options);
    const std::string pdf = Write(std::string(test.name) + ".pdf", Invoice_Build_Pdf(options));
    for (const char* command : {"check", "inspect"}) {
      std::vector<std::string> arguments = {command, "--json", pdf};
      if (std::string(command) == "check") arguments.insert(arguments.begin() + 1, "--explain");
      std::vector<Json_Value> lines = Json_Lines(Run_Tool(arguments).out);
      ASSERT_EQ(lines.size(), 1u) << test.name;
      EXPECT_EQ(Number_Of(lines[0], "result"), test.result) << test.name;
      const std::string explanation = Text_Of(lines[0], "explanation");
      if (test.words.empty()) {
        EXPECT_EQ(explanation, "<absent>") << test.name;
      }
      for (const std::string& word : test.words) {
        EXPECT_NE(explanation.find(word), std::string::npos) << test.name << " " << command << ": " << explanation;
      }
    }
  }
}

TEST_F(Tool_Explain, AnEncryptedFileIsShownAsSuchAndNotRead) {
  struct Case {
    const char* encryption;
    int result;
  };
  const Case cases[] = {
      {"/Encrypt << /Filter /Standard /V 1 /R 2 /P -4 /O <00> /U <00> >>", ZUGF_RESULT_NOT_PDFA3},
      {"/Encrypt << /Filter /Standard /V 4 /R 4 /P -4 >>", ZUGF_RESULT_BAD_INPUT},
  };
  for (const Case& test : cases) {
    Invoice_Options options;
    options.trailer_extra = test.encryption;
    const std::string pdf = Write("encrypted.pdf", Invoice_Build_Pdf(options));
    std::vector<Json_Value> lines = Json_Lines(Run_Tool({"inspect", "--json", pdf}).out);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(Number_Of(lines[0], "result"), test.result) << test.encryption;
    EXPECT_NE(Text_Of(lines[0], "explanation").find("encrypted"), std::string::npos)
        << Text_Of(lines[0], "explanation");
    if (test.result == ZUGF_RESULT_NOT_PDFA3) {
      // It opens, and nothing in it is read without a password.
      ASSERT_NE(lines[0].Find("encrypted"), nullptr);
      EXPECT_TRUE(lines[0].Find("encrypted")->boolean);
      EXPECT_EQ(Text_Of(lines[0], "metadata"), "<null>");
      EXPECT_EQ(Text_Of(lines[0], "attachments"), "<null>");
    }
  }
}

TEST_F(Tool_Explain, WithoutTheOptionCheckSaysOnlyTheVerdict) {
  Invoice_Options options;
  options.part = "2";
  const std::string pdf = Write("part2.pdf", Invoice_Build_Pdf(options));
  EXPECT_EQ(Run_Tool({"check", pdf}).out, pdf + ": " + ZUGF_Describe_Result(ZUGF_RESULT_NOT_PDFA3) + "\n");
  EXPECT_EQ(Run_Tool({"check", "-e", pdf}).out,
            pdf + ": " + ZUGF_Describe_Result(ZUGF_RESULT_NOT_PDFA3) + ": PDF/A part 2, not 3\n");
}

TEST_F(Tool_Explain, AnUndecodableInvoiceNamesItsFilter) {
  Invoice_Options options;
  options.embedded_entries = " /Filter /RunLengthDecode";
  const std::string pdf = Write("rle.pdf", Invoice_Build_Pdf(options));
  // The check doesn't look into the stream; extraction does.
  EXPECT_EQ(Run_Tool({"check", pdf}).exit_status, 0);
  std::vector<Json_Value> lines = Json_Lines(Run_Tool({"extract", "--json", "-e", "-o", folder_ + "/out", pdf}).out);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(Number_Of(lines[0], "result"), ZUGF_RESULT_CANNOT_DECODE);
  EXPECT_NE(Text_Of(lines[0], "explanation").find("RunLengthDecode"), std::string::npos)
      << Text_Of(lines[0], "explanation");
}

TEST_F(Tool_Explain, EveryRefusedSampleGetsAReasonAndOtherFlavoursAreNamed) {
  const std::map<std::string, std::vector<std::string>> flavours = Read_Table(kCorpus + "flavours.tsv");
  std::vector<Json_Value> lines = Json_Lines(Run_Tool({"check", "--json", "--explain", kCorpus}).out);
  ASSERT_EQ(lines.size(), flavours.size());
  for (const Json_Value& line : lines) {
    const std::string name = Corpus_Name(Text_Of(line, "file"));
    const std::vector<std::string>& row = flavours.at(name);
    if (Number_Of(line, "result") == ZUGF_RESULT_INVOICE) {
      EXPECT_EQ(Text_Of(line, "explanation"), "<absent>") << name;
      continue;
    }
    const std::string explanation = Text_Of(line, "explanation");
    EXPECT_NE(explanation, "<absent>") << name;
    if (row[kFlavour_Standard] == "Factur-X" || row[kFlavour_Standard] == "ZUGFeRD 2") {
      EXPECT_EQ(explanation, row[kFlavour_Standard] + " invoice (" + row[kFlavour_Level] + "): not ZUGFeRD 1.0")
          << name;
    }
  }
}

}  // namespace
