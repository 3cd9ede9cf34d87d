// Both exported calls over the published samples, from one thread and from
// eight at once: every result and every extracted XML must be the published
// one. CI also runs the threaded test under ThreadSanitizer.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "invoice_extract.h"
#include "support/corpus.h"
#include "support/pdf_builder.h"

namespace {

// Runs both calls on every sample, starting at sample first; the failures
// found, one line each.
std::string Run_Samples(const std::vector<Corpus_Row>& rows, size_t first, const std::string& xml) {
  std::string failures;
  for (size_t i = 0; i < rows.size(); ++i) {
    const Corpus_Row& row = rows[(first + i) % rows.size()];
    const std::string pdf = kCorpus + row.file;
    remove(xml.c_str());
    int32_t check = ZUGF_Check_Zugferd(pdf.c_str());
    int32_t extract = ZUGF_Extract_Zugferd(pdf.c_str(), xml.c_str());
    std::string written;
    bool exists = Test_Read_File(xml, &written);
    if (check != row.check || extract != row.extract || exists != (row.extract == ZUGF_RESULT_INVOICE) ||
        (exists && Sha256_Hex(written) != row.sha256)) {
      failures += row.file + ": check " + std::to_string(check) + ", extract " + std::to_string(extract) +
                  (exists ? ", XML " + Sha256_Hex(written) : ", no XML") + "\n";
    }
  }
  remove(xml.c_str());
  return failures;
}

TEST(Corpus, EveryPublishedSampleGivesItsExpectedResults) {
  const std::vector<Corpus_Row> rows = Read_Expected();
  ASSERT_GE(rows.size(), 10u) << "expected.tsv not found under " << kCorpus;
  EXPECT_EQ(Run_Samples(rows, 0, Test_Temp_Path("corpus.xml")), "");
}

TEST(Threads, EightThreadsGetTheSingleThreadResults) {
  const std::vector<Corpus_Row> rows = Read_Expected();
  ASSERT_GE(rows.size(), 10u) << "expected.tsv not found under " << kCorpus;
  // All threads start at once, so that their first calls into the library
  // (and the toolkit's first initialisation) meet; each starts at another
  // sample, so that different files and the same file are in flight together.
  const int threads = 8;
  std::atomic<int> ready{0};
  std::vector<std::string> failures(threads);
  std::vector<std::thread> running;
  for (int t = 0; t < threads; ++t) {
    running.emplace_back([&, t] {
      ready.fetch_add(1);
      while (ready.load() < threads) std::this_thread::yield();
      failures[t] = Run_Samples(rows, static_cast<size_t>(t) * 2, Test_Temp_Path("thread-" + std::to_string(t)));
    });
  }
  for (std::thread& thread : running) thread.join();
  for (int t = 0; t < threads; ++t) EXPECT_EQ(failures[t], "") << "thread " << t;
}

}  // namespace
