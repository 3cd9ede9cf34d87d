// What the tool leaves behind and prints: output files that are never
// partial and never replace a file unasked, JSON that a JSON parser reads,
// the summary, the progress bar, and the exit status.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <map>

#include "invoice_extract.h"
#include "support/invoice_builder.h"
#include "support/pdf_builder.h"
#include "support/tool_fixture.h"

namespace {

class Tool_Output : public Tool_Folder {
 protected:
  void SetUp() override {
    Tool_Folder::SetUp();
    out_ = folder_ + "/out";
  }
  std::string out_;
};

TEST_F(Tool_Output, ExtractNeverReplacesAFileUnlessForced) {
  const std::string pdf = Invoice("a.pdf");
  ASSERT_EQ(mkdir(out_.c_str(), 0755), 0);
  ASSERT_TRUE(Test_Write_File(out_ + "/a.xml", "keep me"));

  Program_Run kept = Run_Tool({"extract", "--json", "-o", out_, pdf});
  EXPECT_EQ(kept.exit_status, 3);
  std::vector<Json_Value> lines = Json_Lines(kept.out);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(Text_Of(lines[0], "status"), "error");
  EXPECT_NE(Text_Of(lines[0], "reason").find("exists"), std::string::npos);
  std::string bytes;
  ASSERT_TRUE(Test_Read_File(out_ + "/a.xml", &bytes));
  EXPECT_EQ(bytes, "keep me");
  EXPECT_EQ(Folder_Names(out_), std::vector<std::string>{"a.xml"});

  Program_Run forced = Run_Tool({"extract", "--force", "-o", out_, pdf});
  EXPECT_EQ(forced.exit_status, 0) << forced.err;
  ASSERT_TRUE(Test_Read_File(out_ + "/a.xml", &bytes));
  EXPECT_EQ(bytes, Invoice_Sample_Xml());
  EXPECT_EQ(Folder_Names(out_), std::vector<std::string>{"a.xml"});
}

TEST_F(Tool_Output, OfTwoFilesWithOneOutputNameTheFirstIsWritten) {
  ASSERT_EQ(mkdir((folder_ + "/one").c_str(), 0755), 0);
  ASSERT_EQ(mkdir((folder_ + "/two").c_str(), 0755), 0);
  const std::string first = Invoice("one/same.pdf", Invoice_Sample_Xml() + "<!-- one -->");
  const std::string second = Invoice("two/same.PDF", Invoice_Sample_Xml() + "<!-- two -->");
  for (const char* force : {"--json", "--force"}) {
    Remove_Tree(out_);
    Program_Run run = Run_Tool({"extract", "--json", force, "-o", out_, first, second});
    EXPECT_EQ(run.exit_status, 3);
    std::vector<Json_Value> lines = Json_Lines(run.out);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(Text_Of(lines[0], "status"), "ok");
    EXPECT_EQ(Text_Of(lines[1], "status"), "error");
    EXPECT_NE(Text_Of(lines[1], "reason").find(first), std::string::npos);
    std::string bytes;
    ASSERT_TRUE(Test_Read_File(out_ + "/same.xml", &bytes));
    EXPECT_EQ(bytes, Invoice_Sample_Xml() + "<!-- one -->") << force;
  }
}

TEST_F(Tool_Output, NoPartialOrTemporaryFileSurvivesAFailureOrAKilledWorker) {
  Invoice_Options undecodable;
  undecodable.embedded_entries = " /Filter /RunLengthDecode";
  const std::vector<std::string> files = {
      Write("undecodable.pdf", Invoice_Build_Pdf(undecodable)),
      // Invoices that the fault shim keeps from being written.
      Write("hang-1.pdf", Invoice_Build_Pdf(Invoice_Options{})),
      Write("crash-2.pdf", Invoice_Build_Pdf(Invoice_Options{})),
      Write("throw-3.pdf", Invoice_Build_Pdf(Invoice_Options{})),
  };
  // (A worker that runs out of memory half way: Tool_Containment.)
  std::vector<std::string> arguments = {"extract", "--json", "--timeout", "1", "-o", out_};
  arguments.insert(arguments.end(), files.begin(), files.end());
  Program_Run run = Run_Tool_With_Faults(arguments, folder_);
  EXPECT_EQ(run.exit_status, 3);
  std::vector<Json_Value> lines = Json_Lines(run.out);
  ASSERT_EQ(lines.size(), files.size()) << run.err;
  EXPECT_EQ(Number_Of(lines[0], "result"), ZUGF_RESULT_CANNOT_DECODE);
  // throw-3's exception is caught at the library's border: a plain -10.
  const char* statuses[] = {"ok", "timeout", "crashed", "ok"};
  for (size_t i = 0; i < lines.size(); ++i) {
    EXPECT_EQ(Text_Of(lines[i], "status"), statuses[i]) << files[i];
    EXPECT_EQ(Text_Of(lines[i], "output"), "<null>") << files[i];
  }
  EXPECT_EQ(Folder_Names(out_), std::vector<std::string>{}) << "the output folder must stay empty";
}

TEST_F(Tool_Output, OutputFilesGetTheModeOfOrdinaryNewFiles) {
  const std::string pdf = Invoice("a.pdf");
  mode_t mask = umask(0);
  umask(mask);
  Program_Run run = Run_Tool({"extract", "-o", out_, pdf});
  ASSERT_EQ(run.exit_status, 0) << run.err;
  struct stat status;
  ASSERT_EQ(stat((out_ + "/a.xml").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0666 & ~mask);
}

TEST_F(Tool_Output, AnyFlavourWritesTheFileThatDocumentFileNameNames) {
  Invoice_Options options;
  options.name_space = "urn:zugferd:pdfa:CrossIndustryDocument:invoice:2p0#";
  options.document_file_name = "zugferd-invoice.xml";
  options.attachment_name = "zugferd-invoice.xml";
  options.xml = "<rsm:CrossIndustryInvoice>second generation</rsm:CrossIndustryInvoice>";
  const std::string pdf = Write("v2.pdf", Invoice_Build_Pdf(options));

  Program_Run any = Run_Tool({"extract", "--any-flavour", "-o", out_, pdf});
  EXPECT_EQ(any.exit_status, 0) << any.err;
  EXPECT_EQ(any.out,
            pdf + ": ZUGFeRD 2 invoice (BASIC), not ZUGFeRD 1.0; zugferd-invoice.xml written to " + out_ + "/v2.xml\n");
  std::string bytes;
  ASSERT_TRUE(Test_Read_File(out_ + "/v2.xml", &bytes));
  EXPECT_EQ(bytes, options.xml);
}

TEST_F(Tool_Output, EveryJsonLineOfEveryCommandParsesWithItsMembers) {
  // Names that JSON must escape, and one that is not UTF-8.
  const std::vector<std::string> names = {"quote\".pdf",  "back\\slash.pdf", "tab\there.pdf",
                                          "bell\x07.pdf", "caf\xC3\xA9.pdf", "latin\xE9.pdf"};
  std::vector<std::string> paths;
  for (const std::string& name : names) paths.push_back(Invoice(name));
  paths.push_back(kCorpus);
  const std::vector<std::vector<std::string>> commands = {
      {"check", "--json", "--explain"}, {"extract", "--json", "--any-flavour", "-o", out_}, {"inspect", "--json"}};
  for (const std::vector<std::string>& command : commands) {
    std::vector<std::string> arguments = command;
    arguments.insert(arguments.end(), paths.begin(), paths.end());
    Program_Run run = Run_Tool(arguments);
    std::vector<Json_Value> lines = Json_Lines(run.out);
    ASSERT_GT(lines.size(), names.size()) << command[0] << run.err;
    for (size_t i = 0; i < lines.size(); ++i) {
      const Json_Value& line = lines[i];
      ASSERT_EQ(line.kind, Json_Value::Object);
      ASSERT_NE(line.Find("file"), nullptr);
      EXPECT_EQ(line.Find("file")->kind, Json_Value::String);
      const Json_Value* result = line.Find("result");
      ASSERT_NE(result, nullptr);
      EXPECT_TRUE(result->kind == Json_Value::Number || result->kind == Json_Value::Null);
      const std::string status = Text_Of(line, "status");
      EXPECT_TRUE(status == "ok" || status == "timeout" || status == "crashed" || status == "out-of-memory" ||
                  status == "error")
          << status;
      ASSERT_NE(line.Find("seconds"), nullptr);
      EXPECT_EQ(line.Find("seconds")->kind, Json_Value::Number);
      EXPECT_GE(line.Find("seconds")->number, 0);
      ASSERT_NE(line.Find("accepted"), nullptr);
      EXPECT_EQ(line.Find("accepted")->kind, Json_Value::Boolean);
    }
    // The names come back as they were, but for the byte that is not UTF-8.
    for (size_t i = 0; i + 1 < names.size(); ++i) EXPECT_EQ(Text_Of(lines[i], "file"), paths[i]) << command[0];
    EXPECT_EQ(Text_Of(lines[names.size() - 1], "file"), folder_ + "/latin\xEF\xBF\xBD.pdf");
  }
}

TEST_F(Tool_Output, HumanLinesStayOneLineAFile) {
  const std::vector<std::string> paths = {Invoice("line\nbreak.pdf"), Invoice("carriage\rreturn.pdf"),
                                          Invoice("escape\x1b[2J.pdf")};
  Program_Run run = Run_Tool({"check", paths[0], paths[1], paths[2]});
  EXPECT_EQ(run.exit_status, 0);
  EXPECT_EQ(run.out, folder_ + "/line\\nbreak.pdf: ZUGFeRD invoice\n" + folder_ +
                         "/carriage\\x0Dreturn.pdf: ZUGFeRD invoice\n" + folder_ +
                         "/escape\\x1B[2J.pdf: ZUGFeRD invoice\n");
}

TEST_F(Tool_Output, SummaryCountsTheFilesByVerdict) {
  const std::map<std::string, std::vector<std::string>> expected = Read_Table(kCorpus + "expected.tsv");
  std::map<int, size_t> counts;
  for (const auto& row : expected) ++counts[std::stoi(row.second[kExpected_Check])];
  Program_Run run = Run_Tool({"check", kCorpus});
  EXPECT_NE(run.err.find(std::to_string(expected.size()) + " files in "), std::string::npos) << run.err;
  for (const auto& count : counts) {
    const std::string part = std::to_string(count.second) + " " + ZUGF_Describe_Result(count.first);
    EXPECT_NE(run.err.find(part), std::string::npos) << part << " in " << run.err;
  }
  EXPECT_EQ(run.err.find('\r'), std::string::npos) << "no progress bar when standard error is no terminal";

  Program_Run quiet = Run_Tool({"check", "--quiet", kCorpus});
  EXPECT_EQ(quiet.err, "");
  EXPECT_EQ(quiet.out, run.out);
}

TEST_F(Tool_Output, ProgressBarOnlyWhenAskedForOffATerminal) {
  Program_Run run = Run_Tool({"check", "--progress", kCorpus});
  EXPECT_NE(run.err.find("\r["), std::string::npos) << run.err;
  EXPECT_NE(run.err.find("files/s"), std::string::npos) << run.err;
  Program_Run off = Run_Tool({"check", "--progress", "--no-progress", kCorpus});
  EXPECT_EQ(off.err.find('\r'), std::string::npos) << off.err;
}

TEST_F(Tool_Output, ExitStatusTellsTheWorstOfTheBatch) {
  const std::string invoice = Invoice("invoice.pdf");
  Invoice_Options factur_x;
  factur_x.name_space = "urn:factur-x:pdfa:CrossIndustryDocument:invoice:1p0#";
  factur_x.document_file_name = factur_x.attachment_name = "factur-x.xml";
  const std::string other = Write("factur-x.pdf", Invoice_Build_Pdf(factur_x));
  Invoice_Options part2;
  part2.part = "2";
  const std::string refused = Write("part2.pdf", Invoice_Build_Pdf(part2));
  const std::string hazard = Write("crash-1.pdf", Invoice_Build_Pdf(Invoice_Options{}));
  struct Case {
    std::vector<std::string> arguments;
    int status;
  };
  const Case cases[] = {
      {{"check", invoice, refused}, 1},
      {{"check", invoice, other}, 1},
      {{"check", "--any-flavour", invoice, other}, 0},
      {{"check", "--any-flavour", invoice, other, refused}, 1},
      {{"check", refused, hazard}, 3},
      {{"inspect", invoice}, 0},
      {{"inspect", "--any-flavour", other}, 0},
      {{"extract", "-o", out_, invoice}, 0},
      {{"extract", "--any-flavour", "-o", out_ + "/2", other}, 0},
      {{"extract", "-o", out_ + "/3", refused}, 1},
  };
  for (const Case& test : cases) {
    Program_Run run = Run_Tool_With_Faults(test.arguments, folder_);
    std::string shown;
    for (const std::string& argument : test.arguments) shown += argument + " ";
    EXPECT_EQ(run.exit_status, test.status) << shown << "\n" << run.out << run.err;
  }
}

}  // namespace
