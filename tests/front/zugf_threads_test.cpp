// Both exported calls from eight threads at once over the published samples:
// every result and every extracted XML must be what one thread alone gets.
// CI also runs this test under ThreadSanitizer.
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

const int kThreads = 8;

// One call of each kind; the XML written, or "none".
struct Outcome {
  int32_t check;
  int32_t extract;
  std::string xml;
};

Outcome Run_Both(const std::string& pdf, const std::string& xml_path) {
  remove(xml_path.c_str());
  Outcome outcome;
  outcome.check = ZUGF_Check_Zugferd(pdf.c_str());
  outcome.extract = ZUGF_Extract_Zugferd(pdf.c_str(), xml_path.c_str());
  if (!Test_Read_File(xml_path, &outcome.xml)) outcome.xml = "none";
  remove(xml_path.c_str());
  return outcome;
}

TEST(Threads, EightThreadsGetTheSingleThreadResults) {
  const std::vector<Corpus_Row> samples = Read_Expected();
  ASSERT_GE(samples.size(), 10u) << "expected.tsv not found under " << kCorpus;

  // All threads at once first, so that their first calls into the library
  // (and the toolkit's first initialisation) meet; each starts at another
  // sample, so that different files and the same file are in flight together.
  std::atomic<int> ready{0};
  std::vector<std::vector<Outcome>> outcomes(kThreads, std::vector<Outcome>(samples.size()));
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      const std::string xml_path = Test_Temp_Path("thread-" + std::to_string(t) + ".xml");
      ready.fetch_add(1);
      while (ready.load() < kThreads) std::this_thread::yield();
      for (size_t i = 0; i < samples.size(); ++i) {
        size_t index = (i + static_cast<size_t>(t) * 2) % samples.size();
        outcomes[t][index] = Run_Both(kCorpus + samples[index].file, xml_path);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();

  // Then one thread alone: the published results, and the XML to compare with.
  for (size_t i = 0; i < samples.size(); ++i) {
    const Corpus_Row& sample = samples[i];
    Outcome alone = Run_Both(kCorpus + sample.file, Test_Temp_Path("alone.xml"));
    EXPECT_EQ(alone.check, sample.check) << sample.file;
    EXPECT_EQ(alone.extract, sample.extract) << sample.file;
    for (int t = 0; t < kThreads; ++t) {
      const Outcome& outcome = outcomes[t][i];
      EXPECT_TRUE(outcome.check == alone.check && outcome.extract == alone.extract && outcome.xml == alone.xml)
          << "thread " << t << ", " << sample.file << ": check " << outcome.check << " (alone " << alone.check
          << "), extract " << outcome.extract << " (alone " << alone.extract << "), XML "
          << (outcome.xml == alone.xml ? "equal" : "differs");
    }
  }
}

}  // namespace
