// The tool over the published samples: verdicts against expected.tsv,
// inspection against flavours.tsv, extracted XML by SHA-256.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <set>

#include "invoice_extract.h"
#include "support/pdf_builder.h"
#include "support/tool_fixture.h"

namespace {

class Tool_Corpus : public Tool_Folder {
 protected:
  void SetUp() override {
    expected_ = Read_Table(kCorpus + "expected.tsv");
    flavours_ = Read_Table(kCorpus + "flavours.tsv");
    ASSERT_GE(expected_.size(), 10u) << "expected.tsv not found under " << kCorpus;
    ASSERT_EQ(flavours_.size(), expected_.size());
    Tool_Folder::SetUp();
  }

  // An e-invoice of any flavour, as flavours.tsv describes it.
  bool Any_Flavour_Invoice(const std::vector<std::string>& row) const {
    return row[kFlavour_Standard] != "-" && row[kFlavour_Pdfa][0] == '3' && row[kFlavour_Type] == "INVOICE" &&
           row[kFlavour_Sha256] != "-";
  }

  std::map<std::string, std::vector<std::string>> expected_;
  std::map<std::string, std::vector<std::string>> flavours_;
};

TEST_F(Tool_Corpus, CheckGivesTheLibraryVerdictOfEverySampleInSortedOrder) {
  Program_Run run = Run_Tool({"check", "--json", "--jobs", "2", kCorpus});
  std::vector<Json_Value> lines = Json_Lines(run.out);
  ASSERT_EQ(lines.size(), expected_.size()) << run.err;
  bool all_invoices = true;
  std::vector<std::string> order;
  for (const Json_Value& line : lines) {
    const std::string name = Corpus_Name(Text_Of(line, "file"));
    order.push_back(name);
    ASSERT_EQ(expected_.count(name), 1u) << name;
    EXPECT_EQ(Number_Of(line, "result"), std::stoi(expected_[name][kExpected_Check])) << name;
    EXPECT_EQ(Text_Of(line, "status"), "ok") << name;
    all_invoices = all_invoices && expected_[name][kExpected_Check] == "0";
  }
  EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
  EXPECT_EQ(run.exit_status, all_invoices ? 0 : 1);
}

TEST_F(Tool_Corpus, ResultsComeOutInTheOrderOfTheInputList) {
  // The list in reverse, each file twice, with two workers racing.
  std::vector<std::string> names;
  for (const auto& row : expected_) names.insert(names.begin(), row.first);
  std::string list;
  std::vector<std::string> given;
  for (const std::string& name : names) {
    for (int twice = 0; twice < 2; ++twice) {
      list += kCorpus + name + "\n";
      given.push_back(name);
    }
  }
  Program_Run run = Run_Tool({"check", "--json", "--jobs", "2", "-"}, list);
  std::vector<Json_Value> lines = Json_Lines(run.out);
  ASSERT_EQ(lines.size(), given.size()) << run.err;
  for (size_t i = 0; i < lines.size(); ++i) {
    EXPECT_EQ(Corpus_Name(Text_Of(lines[i], "file")), given[i]) << "line " << i;
    EXPECT_EQ(Number_Of(lines[i], "result"), std::stoi(expected_[given[i]][kExpected_Check])) << given[i];
  }
}

TEST_F(Tool_Corpus, ExtractWritesEveryInvoiceXmlWithItsDigestAndNothingElse) {
  Program_Run run = Run_Tool({"extract", "--json", "--output-dir", folder_, kCorpus});
  std::vector<Json_Value> lines = Json_Lines(run.out);
  ASSERT_EQ(lines.size(), expected_.size()) << run.err;
  std::vector<std::string> written;
  for (const Json_Value& line : lines) {
    const std::string name = Corpus_Name(Text_Of(line, "file"));
    const std::vector<std::string>& row = expected_[name];
    EXPECT_EQ(Number_Of(line, "result"), std::stoi(row[kExpected_Extract])) << name;
    const std::string xml_path = folder_ + "/" + Xml_Name(name);
    std::string bytes;
    if (row[kExpected_Extract] == "0") {
      written.push_back(Xml_Name(name));
      EXPECT_EQ(Text_Of(line, "output"), xml_path);
      ASSERT_TRUE(Test_Read_File(xml_path, &bytes)) << name;
      EXPECT_EQ(Sha256_Hex(bytes), row[kExpected_Sha256]) << name;
    } else {
      EXPECT_EQ(Text_Of(line, "output"), "<null>") << name;
      EXPECT_FALSE(Test_Read_File(xml_path, &bytes)) << name;
    }
  }
  std::sort(written.begin(), written.end());
  EXPECT_EQ(Folder_Names(folder_), written) << "no temporary or other file may stay behind";
}

TEST_F(Tool_Corpus, AnyFlavourExtractsTheFileThatDocumentFileNameNames) {
  Program_Run run = Run_Tool({"extract", "--any-flavour", "--json", "-o", folder_, kCorpus});
  std::vector<Json_Value> lines = Json_Lines(run.out);
  ASSERT_EQ(lines.size(), flavours_.size()) << run.err;
  bool all = true;
  for (const Json_Value& line : lines) {
    const std::string name = Corpus_Name(Text_Of(line, "file"));
    const std::vector<std::string>& row = flavours_[name];
    const bool invoice = Any_Flavour_Invoice(row);
    all = all && invoice;
    // The verdict stays the library's.
    EXPECT_EQ(Number_Of(line, "result"), std::stoi(expected_[name][kExpected_Extract])) << name;
    const Json_Value* accepted = line.Find("accepted");
    ASSERT_NE(accepted, nullptr);
    EXPECT_EQ(accepted->boolean, invoice) << name;
    std::string bytes;
    if (invoice) {
      ASSERT_TRUE(Test_Read_File(folder_ + "/" + Xml_Name(name), &bytes)) << name;
      EXPECT_EQ(Sha256_Hex(bytes), row[kFlavour_Sha256]) << name;
      if (row[kFlavour_Standard] != "ZUGFeRD 1.0") {
        EXPECT_EQ(Text_Of(line, "embedded_file"), row[kFlavour_File_Name]) << name;
        EXPECT_EQ(Text_Of(line, "flavour").find(row[kFlavour_Standard] + " invoice"), 0u) << name;
      }
    } else {
      EXPECT_FALSE(Test_Read_File(folder_ + "/" + Xml_Name(name), &bytes)) << name;
    }
  }
  EXPECT_EQ(run.exit_status, all ? 0 : 1);
}

TEST_F(Tool_Corpus, InspectShowsWhatFlavoursTsvRecords) {
  Program_Run extracted = Run_Tool({"extract", "--any-flavour", "--json", "-o", folder_, kCorpus});
  Program_Run run = Run_Tool({"inspect", "--json", kCorpus});
  std::vector<Json_Value> lines = Json_Lines(run.out);
  ASSERT_EQ(lines.size(), flavours_.size()) << run.err;
  for (const Json_Value& line : lines) {
    const std::string name = Corpus_Name(Text_Of(line, "file"));
    const std::vector<std::string>& row = flavours_[name];
    EXPECT_EQ(Number_Of(line, "result"), std::stoi(expected_[name][kExpected_Check])) << name;
    ASSERT_NE(line.Find("encrypted"), nullptr);
    EXPECT_FALSE(line.Find("encrypted")->boolean);

    const Json_Value* pdfa = line.Find("pdfa");
    ASSERT_NE(pdfa, nullptr) << name;
    if (row[kFlavour_Pdfa] == "-") {
      EXPECT_EQ(pdfa->kind, Json_Value::Null) << name;
    } else {
      EXPECT_EQ(Text_Of(*pdfa, "part") + Text_Of(*pdfa, "conformance"), row[kFlavour_Pdfa]) << name;
    }

    const Json_Value* schema = line.Find("schema");
    ASSERT_NE(schema, nullptr) << name;
    if (row[kFlavour_Standard] == "-") {
      EXPECT_EQ(schema->kind, Json_Value::Null) << name;
    } else {
      EXPECT_EQ(Text_Of(*schema, "standard"), row[kFlavour_Standard]) << name;
      const std::pair<const char*, int> members[] = {{"DocumentType", kFlavour_Type},
                                                     {"DocumentFileName", kFlavour_File_Name},
                                                     {"Version", kFlavour_Version},
                                                     {"ConformanceLevel", kFlavour_Level}};
      for (const auto& member : members) {
        const std::string want = row[member.second] == "-" ? "<null>" : row[member.second];
        EXPECT_EQ(Text_Of(*schema, member.first), want) << name << " " << member.first;
      }
    }

    const Json_Value* attachments = line.Find("attachments");
    ASSERT_NE(attachments, nullptr);
    std::set<std::string> names;
    for (const Json_Value& attachment : attachments->items) {
      names.insert(Text_Of(attachment, "name"));
      ASSERT_NE(attachment.Find("size"), nullptr);
      if (Text_Of(attachment, "name") != row[kFlavour_File_Name] || !Any_Flavour_Invoice(row)) continue;
      // The size of the named file is the length of what extract wrote.
      std::string bytes;
      ASSERT_TRUE(Test_Read_File(folder_ + "/" + Xml_Name(name), &bytes)) << name;
      EXPECT_EQ(attachment.Find("size")->number, static_cast<double>(bytes.size())) << name;
    }
    std::set<std::string> want;
    std::istringstream listed(row[kFlavour_Attachments]);
    std::string entry;
    while (row[kFlavour_Attachments] != "-" && std::getline(listed, entry, ',')) want.insert(entry);
    EXPECT_EQ(names, want) << name;
  }
  EXPECT_EQ(extracted.exit_status, 1);
}

TEST_F(Tool_Corpus, InspectReadsTheHeadOfEveryZugferd1Xml) {
  Program_Run extracted = Run_Tool({"extract", "-o", folder_, kCorpus});
  Program_Run run = Run_Tool({"inspect", "--json", kCorpus + "invoices"});
  std::vector<Json_Value> lines = Json_Lines(run.out);
  ASSERT_FALSE(lines.empty()) << run.err;
  for (const Json_Value& line : lines) {
    const std::string name = Corpus_Name(Text_Of(line, "file"));
    const std::vector<std::string>& row = flavours_[name];
    ASSERT_EQ(row[kFlavour_Standard], "ZUGFeRD 1.0") << name;
    const Json_Value* xml = line.Find("invoice_xml");
    ASSERT_TRUE(xml != nullptr && xml->kind == Json_Value::Object) << name;
    EXPECT_EQ(Number_Of(*xml, "result"), 0) << name;
    // A 1.0 guideline names its profile after the namespace.
    const std::string guideline = Text_Of(*xml, "guideline");
    EXPECT_EQ(guideline.find("urn:ferd:CrossIndustryDocument:invoice:1p0:"), 0u) << name << ": " << guideline;
    if (row[kFlavour_Level] != "-") {
      std::string profile = row[kFlavour_Level];
      std::transform(profile.begin(), profile.end(), profile.begin(), [](unsigned char c) { return tolower(c); });
      EXPECT_EQ(guideline.substr(guideline.rfind(':') + 1), profile) << name;
    }
    // Identifier and date stand as element texts in the XML itself.
    std::string bytes;
    ASSERT_TRUE(Test_Read_File(folder_ + "/" + Xml_Name(name), &bytes)) << name;
    for (const char* member : {"document_id", "issue_date"}) {
      const std::string text = Text_Of(*xml, member);
      EXPECT_FALSE(text.empty()) << name << " " << member;
      EXPECT_NE(bytes.find(">" + text + "<"), std::string::npos) << name << " " << member << ": " << text;
    }
    EXPECT_NE(bytes.find("format=\"" + std::to_string(Number_Of(*xml, "issue_date_format")) + "\""), std::string::npos)
        << name;
  }
}

}  // namespace
