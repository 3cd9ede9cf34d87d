// Hostile files in the tool's worker processes: the library bounds them
// itself, so each gets a plain verdict, and the rest of the batch is right;
// the workers' limits stay as a defence in depth (the Flate bomb below).
#include <gtest/gtest.h>

#include "invoice_extract.h"
#include "support/hazard_pdfs.h"
#include "support/invoice_builder.h"
#include "support/pdf_builder.h"
#include "support/tool_fixture.h"

namespace {

using Tool_Containment = Tool_Folder;

struct Batch_Entry {
  const char* name;
  std::string (*make)();
  const char* status;
  int result;          // when status is ok
  const char* reason;  // a part of the reason otherwise
};

std::string Good() { return Invoice_Build_Pdf(Invoice_Options{}); }
std::string Factur_X() {
  Invoice_Options options;
  options.name_space = "urn:factur-x:pdfa:CrossIndustryDocument:invoice:1p0#";
  return Invoice_Build_Pdf(options);
}
std::string Prev_Cycle() { return Hazard_Prev_Cycle_Pdf(); }
std::string Deep_Nesting() { return Hazard_Deep_Nesting_Pdf(); }
std::string Empty_Conformance() { return Hazard_Empty_Conformance_Pdf(); }
std::string Kids_Cycle() { return Hazard_Kids_Cycle_Pdf(); }

TEST_F(Tool_Containment, OneWorkerGivesHostileFilesPlainVerdictsAndTheRestOfTheBatchIsRight) {
  // One worker for the whole batch.
  const Batch_Entry batch[] = {
      {"good-1.pdf", Good, "ok", ZUGF_RESULT_INVOICE, ""},
      {"prev-cycle.pdf", Prev_Cycle, "ok", ZUGF_RESULT_NOT_PDFA3, ""},
      {"good-2.pdf", Good, "ok", ZUGF_RESULT_INVOICE, ""},
      {"deep-nesting.pdf", Deep_Nesting, "ok", ZUGF_RESULT_NOT_PDFA3, ""},
      {"factur-x.pdf", Factur_X, "ok", ZUGF_RESULT_NOT_INVOICE, ""},
      {"empty-conformance.pdf", Empty_Conformance, "ok", ZUGF_RESULT_NOT_PDFA3, ""},
      {"kids-cycle.pdf", Kids_Cycle, "ok", ZUGF_RESULT_NO_INVOICE_FILE, ""},
      {"good-3.pdf", Good, "ok", ZUGF_RESULT_INVOICE, ""},
  };
  std::vector<std::string> arguments = {"check", "--json", "--jobs", "1", "--timeout", "2"};
  for (const Batch_Entry& entry : batch) arguments.push_back(Write(entry.name, entry.make()));
  Program_Run run = Run_Tool(arguments);
  EXPECT_EQ(run.exit_status, 1) << run.err;
  std::vector<Json_Value> lines = Json_Lines(run.out);
  ASSERT_EQ(lines.size(), sizeof(batch) / sizeof(batch[0])) << run.err;
  for (size_t i = 0; i < lines.size(); ++i) {
    const Batch_Entry& entry = batch[i];
    EXPECT_EQ(Text_Of(lines[i], "file"), folder_ + "/" + entry.name);
    EXPECT_EQ(Text_Of(lines[i], "status"), entry.status) << entry.name;
    if (std::string(entry.status) == "ok") {
      EXPECT_EQ(Number_Of(lines[i], "result"), entry.result) << entry.name;
    } else {
      EXPECT_EQ(Text_Of(lines[i], "result"), "<null>") << entry.name << ": the exported call never returned";
      EXPECT_NE(Text_Of(lines[i], "reason").find(entry.reason), std::string::npos)
          << entry.name << ": " << Text_Of(lines[i], "reason");
    }
  }
}

TEST_F(Tool_Containment, HumanLinesGiveHostileFilesTheirVerdicts) {
  const std::string prev = Write("prev.pdf", Prev_Cycle());
  const std::string empty = Write("empty.pdf", Empty_Conformance());
  const std::string good = Write("good.pdf", Good());
  Program_Run run = Run_Tool({"check", "--timeout", "1", "--jobs", "2", prev, empty, good});
  EXPECT_EQ(run.exit_status, 1);
  std::vector<std::string> lines;
  std::istringstream text(run.out);
  for (std::string line; std::getline(text, line);) lines.push_back(line);
  ASSERT_EQ(lines.size(), 3u) << run.out;
  EXPECT_EQ(lines[0], prev + ": " + ZUGF_Describe_Result(ZUGF_RESULT_NOT_PDFA3));
  EXPECT_EQ(lines[1], empty + ": " + ZUGF_Describe_Result(ZUGF_RESULT_NOT_PDFA3));
  EXPECT_EQ(lines[2], good + ": " + ZUGF_Describe_Result(ZUGF_RESULT_INVOICE));
  EXPECT_EQ(run.err.find("timeout"), std::string::npos) << run.err;
  EXPECT_EQ(run.err.find("crashed"), std::string::npos) << run.err;
}

TEST_F(Tool_Containment, InspectOfAKidsCycleFindsNoAttachment) {
  // The inspection walks the Kids cycle once, and so does the library's
  // search: no attachment of that name.
  Program_Run run = Run_Tool({"inspect", "--json", Write("kids.pdf", Kids_Cycle())});
  EXPECT_EQ(run.exit_status, 1);
  std::vector<Json_Value> lines = Json_Lines(run.out);
  ASSERT_EQ(lines.size(), 1u) << run.err;
  const Json_Value& line = lines[0];
  EXPECT_EQ(Text_Of(line, "status"), "ok");
  EXPECT_EQ(Number_Of(line, "result"), ZUGF_RESULT_NO_INVOICE_FILE);
  const Json_Value* pdfa = line.Find("pdfa");
  ASSERT_TRUE(pdfa != nullptr && pdfa->kind == Json_Value::Object);
  EXPECT_EQ(Text_Of(*pdfa, "part"), "3");
  const Json_Value* schema = line.Find("schema");
  ASSERT_TRUE(schema != nullptr && schema->kind == Json_Value::Object);
  EXPECT_EQ(Text_Of(*schema, "standard"), "ZUGFeRD 1.0");
  EXPECT_EQ(Text_Of(*schema, "DocumentFileName"), "ZUGFeRD-invoice.xml");
  EXPECT_NE(Text_Of(line, "attachments_note").find("cycle"), std::string::npos) << Text_Of(line, "attachments_note");
}

TEST_F(Tool_Containment, InspectShowsAnEmptyConformanceAsAnUnknownLevel) {
  Program_Run run = Run_Tool({"inspect", "--json", Write("empty.pdf", Empty_Conformance())});
  std::vector<Json_Value> lines = Json_Lines(run.out);
  ASSERT_EQ(lines.size(), 1u) << run.err;
  EXPECT_EQ(Text_Of(lines[0], "status"), "ok");
  EXPECT_EQ(Number_Of(lines[0], "result"), ZUGF_RESULT_NOT_PDFA3);
  const Json_Value* pdfa = lines[0].Find("pdfa");
  ASSERT_TRUE(pdfa != nullptr && pdfa->kind == Json_Value::Object);
  EXPECT_EQ(Text_Of(*pdfa, "conformance"), "");
}

TEST_F(Tool_Containment, FlateBombRunsOutOfMemoryUnderTheLimitAndTheNextFileIsExtracted) {
  const std::string bomb = Write("bomb.pdf", Hazard_Flate_Bomb_Pdf(256u << 20));
  const std::string good = Write("good.pdf", Good());
  const std::string out = folder_ + "/out";
  Program_Run run =
      Run_Tool({"extract", "--json", "--jobs", "1", "--memory-limit", "64M", "--output-dir", out, bomb, good});
  EXPECT_EQ(run.exit_status, 3) << run.err;
  std::vector<Json_Value> lines = Json_Lines(run.out);
  ASSERT_EQ(lines.size(), 2u) << run.err;
  EXPECT_EQ(Text_Of(lines[0], "status"), "out-of-memory") << Text_Of(lines[0], "reason");
  EXPECT_EQ(Text_Of(lines[0], "output"), "<null>");
  EXPECT_EQ(Text_Of(lines[1], "status"), "ok");
  EXPECT_EQ(Number_Of(lines[1], "result"), ZUGF_RESULT_INVOICE);
  EXPECT_EQ(Folder_Names(out), std::vector<std::string>{"good.xml"});

  // Checking decodes nothing: the bomb is an invoice to the check.
  Program_Run check = Run_Tool({"check", "--json", "--memory-limit", "64M", bomb});
  std::vector<Json_Value> checked = Json_Lines(check.out);
  ASSERT_EQ(checked.size(), 1u);
  EXPECT_EQ(Text_Of(checked[0], "status"), "ok");
  EXPECT_EQ(Number_Of(checked[0], "result"), ZUGF_RESULT_INVOICE);
}

}  // namespace
