#include <gtest/gtest.h>
#include <nettle/sha2.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "invoice_extract.h"
#include "support/pdf_builder.h"

namespace {

// Published sample invoices beside the checkout, with their expected results.
const std::string kCorpus = std::string(INVOICE_EXTRACT_SOURCE_DIR) + "/../shared/corpus/";

struct Corpus_Row {
  std::string file;
  int32_t check;
  int32_t extract;
  std::string sha256;
};

std::vector<Corpus_Row> Read_Expected() {
  std::vector<Corpus_Row> rows;
  std::ifstream table(kCorpus + "expected.tsv");
  std::string line;
  while (std::getline(table, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream fields(line);
    Corpus_Row row;
    std::string check, extract;
    std::getline(fields, row.file, '\t');
    std::getline(fields, check, '\t');
    std::getline(fields, extract, '\t');
    std::getline(fields, row.sha256, '\t');
    row.check = std::stoi(check);
    row.extract = std::stoi(extract);
    rows.push_back(row);
  }
  return rows;
}

std::string Sha256_Hex(const std::string& bytes) {
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

TEST(Corpus, EveryPublishedSampleGivesItsExpectedResults) {
  const std::vector<Corpus_Row> rows = Read_Expected();
  ASSERT_GE(rows.size(), 10u) << "expected.tsv not found under " << kCorpus;
  for (const Corpus_Row& row : rows) {
    const std::string pdf = kCorpus + row.file;
    const std::string xml = Test_Temp_Path("corpus.xml");
    remove(xml.c_str());
    EXPECT_EQ(ZUGF_Check_Zugferd(pdf.c_str()), row.check) << row.file;
    EXPECT_EQ(ZUGF_Extract_Zugferd(pdf.c_str(), xml.c_str()), row.extract) << row.file;
    std::string written;
    if (row.extract == 0) {
      ASSERT_TRUE(Test_Read_File(xml, &written)) << row.file;
      EXPECT_EQ(Sha256_Hex(written), row.sha256) << row.file;
    } else {
      EXPECT_FALSE(Test_Read_File(xml, &written)) << row.file << ": no output on failure";
    }
    remove(xml.c_str());
  }
}

}  // namespace
