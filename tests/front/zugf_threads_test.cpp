// Both exported calls from eight threads at once over the published samples:
// every result and every extracted XML must be what one thread alone gets.
// CI also runs this test under ThreadSanitizer.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "invoice_extract.h"
#include "support/pdf_builder.h"

namespace {

const std::string kCorpus = std::string(INVOICE_EXTRACT_SOURCE_DIR) + "/../shared/corpus/";
const int kThreads = 8;

struct Sample {
  std::string file;
  int32_t check;
  int32_t extract;
  std::string xml;  // what one thread alone extracts; empty when extraction fails
};

std::vector<Sample> Read_Samples() {
  std::vector<Sample> samples;
  std::ifstream table(kCorpus + "expected.tsv");
  std::string line;
  while (std::getline(table, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream fields(line);
    Sample sample;
    std::string check, extract;
    std::getline(fields, sample.file, '\t');
    std::getline(fields, check, '\t');
    std::getline(fields, extract, '\t');
    sample.check = std::stoi(check);
    sample.extract = std::stoi(extract);
    samples.push_back(sample);
  }
  return samples;
}

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
  std::vector<Sample> samples = Read_Samples();
  ASSERT_GE(samples.size(), 10u) << "expected.tsv not found under " << kCorpus;

  // One thread first: the published results, and the XML to compare with.
  for (Sample& sample : samples) {
    Outcome alone = Run_Both(kCorpus + sample.file, Test_Temp_Path("alone.xml"));
    ASSERT_EQ(alone.check, sample.check) << sample.file;
    ASSERT_EQ(alone.extract, sample.extract) << sample.file;
    sample.xml = alone.xml;
  }

  // Then all threads at once, each starting at another sample so that
  // different files and the same file are both in flight together.
  std::atomic<int> ready{0};
  std::vector<std::vector<std::string>> mismatches(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      const std::string xml_path = Test_Temp_Path("thread-" + std::to_string(t) + ".xml");
      ready.fetch_add(1);
      while (ready.load() < kThreads) std::this_thread::yield();
      for (size_t i = 0; i < samples.size(); ++i) {
        const Sample& sample = samples[(i + static_cast<size_t>(t) * 2) % samples.size()];
        Outcome outcome = Run_Both(kCorpus + sample.file, xml_path);
        if (outcome.check != sample.check || outcome.extract != sample.extract || outcome.xml != sample.xml) {
          mismatches[t].push_back(sample.file + ": check " + std::to_string(outcome.check) + ", extract " +
                                  std::to_string(outcome.extract));
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int t = 0; t < kThreads; ++t) {
    for (const std::string& mismatch : mismatches[t]) ADD_FAILURE() << "thread " << t << ": " << mismatch;
  }
}

}  // namespace
