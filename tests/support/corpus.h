// The published sample invoices beside the checkout and their tables
// (expected.tsv, flavours.tsv), shared by the end-to-end tests.
#ifndef INVOICE_EXTRACT_TEST_CORPUS_H
#define INVOICE_EXTRACT_TEST_CORPUS_H

#include <nettle/sha2.h>

#include <cstdint>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

const std::string kCorpus = std::string(INVOICE_EXTRACT_SOURCE_DIR) + "/../shared/corpus/";

// The rows of a tab-separated table, without comment lines, in file order.
inline std::vector<std::vector<std::string>> Read_Table_Rows(const std::string& path) {
  std::vector<std::vector<std::string>> rows;
  std::ifstream table(path);
  std::string line;
  while (std::getline(table, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::vector<std::string> fields;
    std::istringstream cells(line);
    std::string cell;
    while (std::getline(cells, cell, '\t')) fields.push_back(cell);
    rows.push_back(fields);
  }
  return rows;
}

// The same rows, each keyed by its first column.
inline std::map<std::string, std::vector<std::string>> Read_Table(const std::string& path) {
  std::map<std::string, std::vector<std::string>> rows;
  for (std::vector<std::string>& fields : Read_Table_Rows(path)) rows[fields[0]] = fields;
  return rows;
}

// Columns of expected.tsv and flavours.tsv.
enum { kExpected_Check = 1, kExpected_Extract = 2, kExpected_Sha256 = 3 };
enum {
  kFlavour_Pdfa = 1,
  kFlavour_Standard,
  kFlavour_Type,
  kFlavour_File_Name,
  kFlavour_Version,
  kFlavour_Level,
  kFlavour_Attachments,
  kFlavour_Sha256,
};

// One row of expected.tsv: the file under the corpus and what each exported
// call gives for it.
struct Corpus_Row {
  std::string file;
  int32_t check;
  int32_t extract;
  std::string sha256;
};

inline std::vector<Corpus_Row> Read_Expected() {
  std::vector<Corpus_Row> rows;
  for (const std::vector<std::string>& fields : Read_Table_Rows(kCorpus + "expected.tsv")) {
    rows.push_back({fields[0], std::stoi(fields[kExpected_Check]), std::stoi(fields[kExpected_Extract]),
                    fields.size() > kExpected_Sha256 ? fields[kExpected_Sha256] : ""});
  }
  return rows;
}

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

#endif
