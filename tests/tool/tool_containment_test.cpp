// The tool's worker processes contain whatever one file does to its worker:
// the file is reported as what happened and the rest of the batch is right.
// The faults come from the fault shim (tests/support/fault_shim.cpp), chosen
// by the file's name; the files themselves are good invoices, so that a
// fault that did not happen shows as a verdict.
#include <gtest/gtest.h>

#include "invoice_extract.h"
#include "support/hazard_pdfs.h"
#include "support/invoice_builder.h"
#include "support/tool_fixture.h"

namespace {

struct Batch_Entry {
  const char* name;
  const char* status;
  int result;          // when status is ok
  const char* reason;  // a part of the reason otherwise
};

std::string Factur_X() {
  Invoice_Options options;
  options.name_space = "urn:factur-x:pdfa:CrossIndustryDocument:invoice:1p0#";
  return Invoice_Build_Pdf(options);
}

class Tool_Containment : public Tool_Folder {
 protected:
  // Writes the batch (factur-x* as a Factur-X file, everything else as the
  // sample invoice) and returns the arguments followed by its paths.
  std::vector<std::string> With_Batch(std::vector<std::string> arguments, const std::vector<Batch_Entry>& batch) {
    for (const Batch_Entry& entry : batch) {
      const std::string name = entry.name;
      arguments.push_back(Write(name, name.compare(0, 8, "factur-x") == 0 ? Factur_X() : Invoice_Build_Pdf({})));
    }
    return arguments;
  }
};

void Expect_Batch(const Program_Run& run, const std::vector<Batch_Entry>& batch) {
  std::vector<Json_Value> lines = Json_Lines(run.out);
  ASSERT_EQ(lines.size(), batch.size()) << run.err;
  for (size_t i = 0; i < lines.size(); ++i) {
    const Batch_Entry& entry = batch[i];
    const std::string file = Text_Of(lines[i], "file");
    EXPECT_EQ(file.substr(file.rfind('/') + 1), entry.name);
    EXPECT_EQ(Text_Of(lines[i], "status"), entry.status) << entry.name << ": " << Text_Of(lines[i], "reason");
    if (std::string(entry.status) == "ok") {
      EXPECT_EQ(Number_Of(lines[i], "result"), entry.result) << entry.name;
    } else if (std::string(entry.status) == "out-of-memory") {
      // The shim's std::bad_alloc is caught at the library's border: the call
      // returns -12, and the worker still reports the allocation failure.
      EXPECT_EQ(Number_Of(lines[i], "result"), ZUGF_RESULT_OUT_OF_MEMORY) << entry.name;
      EXPECT_NE(Text_Of(lines[i], "reason").find(entry.reason), std::string::npos)
          << entry.name << ": " << Text_Of(lines[i], "reason");
    } else {
      EXPECT_EQ(Text_Of(lines[i], "result"), "<null>") << entry.name << ": the exported call never returned";
      EXPECT_NE(Text_Of(lines[i], "reason").find(entry.reason), std::string::npos)
          << entry.name << ": " << Text_Of(lines[i], "reason");
    }
  }
}

TEST_F(Tool_Containment, OneWorkerSurvivesEveryFaultAndTheRestOfTheBatchIsRight) {
  // One worker with two jobs handed ahead: every fault costs it its process,
  // and the file queued behind the fault goes to the replacement.
  const std::vector<Batch_Entry> batch = {
      {"good-1.pdf", "ok", ZUGF_RESULT_INVOICE, ""},
      {"hang-2.pdf", "timeout", 0, "no answer within 3 s; the worker was killed"},
      {"good-3.pdf", "ok", ZUGF_RESULT_INVOICE, ""},
      {"crash-4.pdf", "crashed", 0, "the worker was killed by SIGABRT (it aborted)"},
      {"factur-x-5.pdf", "ok", ZUGF_RESULT_NOT_INVOICE, ""},
      // The shim's exception is caught at the library's border: a plain -10.
      {"throw-6.pdf", "ok", ZUGF_RESULT_BAD_INPUT, ""},
      {"exit-7.pdf", "crashed", 0, "the worker exited with status 7"},
      {"oom-8.pdf", "out-of-memory", 0, "ran out of memory"},
      {"throw-9.pdf", "ok", ZUGF_RESULT_BAD_INPUT, ""},
      {"oom-10.pdf", "out-of-memory", 0, "ran out of memory"},
      {"good-11.pdf", "ok", ZUGF_RESULT_INVOICE, ""},
  };
  Program_Run run = Run_Tool_With_Faults(
      With_Batch({"check", "--json", "--jobs", "1", "--timeout", "3", "--memory-limit", "256M"}, batch), folder_);
  EXPECT_EQ(run.exit_status, 3) << run.err;
  Expect_Batch(run, batch);
  std::vector<Json_Value> lines = Json_Lines(run.out);
  ASSERT_GE(lines.size(), 2u);
  EXPECT_GE(lines[1].Find("seconds")->number, 3.0);
}

TEST_F(Tool_Containment, TheLastAnswerOfARetiringWorkerIsReadWhenItsNextJobCannotBeWritten) {
  // retire-2 retires the worker (out of memory), and the shim holds the
  // parent in the preparation of after-retire-3 until that worker has
  // answered and is gone: the job write fails on the closed pipe, with the
  // answer still unread in the other pipe.
  const std::vector<Batch_Entry> batch = {
      {"good-1.pdf", "ok", ZUGF_RESULT_INVOICE, ""},
      {"retire-2.pdf", "out-of-memory", 0, "ran out of memory"},
      {"after-retire-3.pdf", "ok", ZUGF_RESULT_INVOICE, ""},
      {"good-4.pdf", "ok", ZUGF_RESULT_INVOICE, ""},
  };
  const std::string out = folder_ + "/out";
  Program_Run run = Run_Tool_With_Faults(
      With_Batch({"extract", "--json", "--jobs", "1", "--memory-limit", "256M", "-o", out}, batch), folder_);
  EXPECT_EQ(run.exit_status, 3) << run.err;
  Expect_Batch(run, batch);
  EXPECT_EQ(Folder_Names(out), (std::vector<std::string>{"after-retire-3.xml", "good-1.xml", "good-4.xml"}));
}

TEST_F(Tool_Containment, HumanLinesNameEachFault) {
  const std::string hang = Write("hang-1.pdf", Invoice_Build_Pdf({}));
  const std::string thrown = Write("throw-2.pdf", Invoice_Build_Pdf({}));
  const std::string oom = Write("oom-3.pdf", Invoice_Build_Pdf({}));
  const std::string good = Write("good.pdf", Invoice_Build_Pdf({}));
  Program_Run run = Run_Tool_With_Faults(
      {"check", "--timeout", "3", "--jobs", "2", "--memory-limit", "256M", hang, thrown, oom, good}, folder_);
  EXPECT_EQ(run.exit_status, 3);
  std::vector<std::string> lines;
  std::istringstream text(run.out);
  for (std::string line; std::getline(text, line);) lines.push_back(line);
  ASSERT_EQ(lines.size(), 4u) << run.out;
  EXPECT_EQ(lines[0], hang + ": timeout (no answer within 3 s; the worker was killed)");
  EXPECT_EQ(lines[1], thrown + ": " + ZUGF_Describe_Result(ZUGF_RESULT_BAD_INPUT)) << "caught at the border";
  EXPECT_EQ(lines[2].find(oom + ": out of memory (an allocation failed under the memory limit"), 0u) << lines[2];
  EXPECT_EQ(lines[3], good + ": " + ZUGF_Describe_Result(ZUGF_RESULT_INVOICE));
  for (const char* count : {"1 timeout", "1 out of memory"}) {
    EXPECT_NE(run.err.find(count), std::string::npos) << count << " in " << run.err;
  }
}

TEST_F(Tool_Containment, InspectKeepsWhatItFoundBeforeTheVerdictCrashed) {
  // The inspection reads the file on its own; the crash comes when the
  // exported call opens it.
  Program_Run run = Run_Tool_With_Faults({"inspect", "--json", Write("crash-1.pdf", Invoice_Build_Pdf({}))}, folder_);
  EXPECT_EQ(run.exit_status, 3);
  std::vector<Json_Value> lines = Json_Lines(run.out);
  ASSERT_EQ(lines.size(), 1u) << run.err;
  const Json_Value& line = lines[0];
  EXPECT_EQ(Text_Of(line, "status"), "crashed");
  EXPECT_EQ(Text_Of(line, "result"), "<null>");
  const Json_Value* pdfa = line.Find("pdfa");
  ASSERT_TRUE(pdfa != nullptr && pdfa->kind == Json_Value::Object);
  EXPECT_EQ(Text_Of(*pdfa, "part"), "3");
  const Json_Value* schema = line.Find("schema");
  ASSERT_TRUE(schema != nullptr && schema->kind == Json_Value::Object);
  EXPECT_EQ(Text_Of(*schema, "standard"), "ZUGFeRD 1.0");
  EXPECT_EQ(Text_Of(*schema, "DocumentFileName"), "ZUGFeRD-invoice.xml");
}

TEST_F(Tool_Containment, InspectShowsAnEmptyConformanceAsAnUnknownLevel) {
  Program_Run run = Run_Tool({"inspect", "--json", Write("empty.pdf", Hazard_Empty_Conformance_Pdf())});
  std::vector<Json_Value> lines = Json_Lines(run.out);
  ASSERT_EQ(lines.size(), 1u) << run.err;
  EXPECT_EQ(Text_Of(lines[0], "status"), "ok");
  EXPECT_EQ(Number_Of(lines[0], "result"), ZUGF_RESULT_NOT_PDFA3);
  const Json_Value* pdfa = lines[0].Find("pdfa");
  ASSERT_TRUE(pdfa != nullptr && pdfa->kind == Json_Value::Object);
  EXPECT_EQ(Text_Of(*pdfa, "conformance"), "");
}

}  // namespace
