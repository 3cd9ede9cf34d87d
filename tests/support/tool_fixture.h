// What the tests of the command-line tool share: the tool's path, the
// published samples with their tables, SHA-256, and JSON lines.
#ifndef INVOICE_EXTRACT_TOOL_FIXTURE_H
#define INVOICE_EXTRACT_TOOL_FIXTURE_H

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "support/corpus.h"
#include "support/invoice_builder.h"
#include "support/json_reader.h"
#include "support/pdf_builder.h"
#include "support/program_runner.h"

const std::string kTool = INVOICE_EXTRACT_TOOL;

inline Program_Run Run_Tool(const std::vector<std::string>& arguments, const std::string& input = "") {
  return Run_Program(kTool, arguments, input);
}

// The environment that loads the fault shim (tests/support/fault_shim.cpp)
// into the tool, meeting in folder; AddressSanitizer must accept a library
// loaded ahead of its runtime.
inline std::vector<std::string> Fault_Environment(const std::string& folder) {
  const char* asan = getenv("ASAN_OPTIONS");
  return {std::string("LD_PRELOAD=") + INVOICE_EXTRACT_FAULT_SHIM, "FAULT_SHIM_FOLDER=" + folder,
          "ASAN_OPTIONS=" + std::string(asan != nullptr ? asan : "") + ":verify_asan_link_order=0"};
}

// The tool with the fault shim: files named hang-*, crash-*, exit-*,
// throw-*, oom-* and retire-* misbehave in the worker.
inline Program_Run Run_Tool_With_Faults(const std::vector<std::string>& arguments, const std::string& folder) {
  return Run_Program(kTool, arguments, "", Fault_Environment(folder));
}

// Every line of the output as a JSON value; a line that doesn't parse fails
// the test.
inline std::vector<Json_Value> Json_Lines(const std::string& output) {
  std::vector<Json_Value> values;
  std::istringstream lines(output);
  std::string line;
  while (std::getline(lines, line)) {
    Json_Value value;
    std::string error;
    EXPECT_TRUE(Json_Parse(line, &value, &error)) << error << " in: " << line;
    values.push_back(value);
  }
  return values;
}

// A member's text, "<null>" for null, "<absent>" when missing.
inline std::string Text_Of(const Json_Value& object, const std::string& key) {
  const Json_Value* member = object.Find(key);
  if (member == nullptr) return "<absent>";
  if (member->kind == Json_Value::Null) return "<null>";
  return member->text;
}

inline int Number_Of(const Json_Value& object, const std::string& key) {
  const Json_Value* member = object.Find(key);
  return member != nullptr && member->kind == Json_Value::Number ? static_cast<int>(member->number) : -99999;
}

// The path below the corpus folder of a path that the tool printed.
inline std::string Corpus_Name(const std::string& path) {
  return path.compare(0, kCorpus.size(), kCorpus) == 0 ? path.substr(kCorpus.size()) : path;
}

// "invoices/x.pdf" -> "x.xml"
inline std::string Xml_Name(const std::string& pdf) {
  std::string name = pdf.substr(pdf.rfind('/') + 1);
  return name.substr(0, name.size() - 4) + ".xml";
}

// A test with a temporary folder of its own, removed afterwards, and files
// written into it.
class Tool_Folder : public ::testing::Test {
 protected:
  void SetUp() override {
    folder_ = Make_Temp_Folder("tool");
    ASSERT_FALSE(folder_.empty());
  }
  void TearDown() override { Remove_Tree(folder_); }

  std::string Write(const std::string& name, const std::string& bytes) {
    const std::string path = folder_ + "/" + name;
    EXPECT_TRUE(Test_Write_File(path, bytes));
    return path;
  }

  // The sample invoice, or one that embeds the given XML.
  std::string Invoice(const std::string& name, const std::string& xml = "") {
    Invoice_Options options;
    options.xml = xml;
    return Write(name, Invoice_Build_Pdf(options));
  }

  std::string folder_;
};

#endif
