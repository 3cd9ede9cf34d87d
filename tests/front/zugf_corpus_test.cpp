#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "invoice_extract.h"
#include "support/corpus.h"
#include "support/pdf_builder.h"

namespace {

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
