// What the tests of the command-line tool share: the tool's path, the
// published samples with their tables, SHA-256, and JSON lines.
#ifndef INVOICE_EXTRACT_TOOL_FIXTURE_H
#define INVOICE_EXTRACT_TOOL_FIXTURE_H

#include <gtest/gtest.h>
#include <nettle/sha2.h>

#include <cstdint>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "support/json_reader.h"
#include "support/program_runner.h"

const std::string kTool = INVOICE_EXTRACT_TOOL;
const std::string kCorpus = std::string(INVOICE_EXTRACT_SOURCE_DIR) + "/../shared/corpus/";

inline Program_Run Run_Tool(const std::vector<std::string>& arguments, const std::string& input = "") {
  return Run_Program(kTool, arguments, input);
}

// The rows of a tab-separated table, without comment lines, each keyed by
// its first column.
inline std::map<std::string, std::vector<std::string>> Read_Table(const std::string& path) {
  std::map<std::string, std::vector<std::string>> rows;
  std::ifstream table(path);
  std::string line;
  while (std::getline(table, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::vector<std::string> fields;
    std::istringstream cells(line);
    std::string cell;
    while (std::getline(cells, cell, '\t')) fields.push_back(cell);
    rows[fields[0]] = fields;
  }
  return rows;
}

// Columns of expected.tsv and flavours.tsv.
enum { kExpected_Check = 1, kExpected_Extract = 2, kExpected_Sha256 = 3 };
enum {
  kFlavour_Pdfa = 1, kFlavour_Standard, kFlavour_Type, kFlavour_File_Name, kFlavour_Version, kFlavour_Level,
  kFlavour_Attachments, kFlavour_Sha256,
};

inline std::string Sha256_Hex(const std::string& bytes) {
  sha256_ctx context;
  sha256_init(&context);
  sha256_update(&context, bytes.size(), reinterpret_cast<const uint8_t*>(bytes.data()));
  uint8_t digest[SHA256_DIGEST_SIZE];
  sha256_digest(&context, sizeof(digest), digest);
  static const char* const hex = "0123456789abcdef";
  std::string text;
  for (uint8_t byte : digest) {
    text += hex[byte >> 4];
    text += hex[byte & 15];
  }
  return text;
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

#endif
