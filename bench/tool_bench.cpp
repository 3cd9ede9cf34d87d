// Throughput of invoice-extract against the library's exported call in one
// process, over the published samples listed several times. Not a test: it
// prints files per second, best of three runs each.
//
// Usage: tool_bench [ROUNDS (20)] [CORPUS (../shared/corpus)] [TOOL (the invoice-extract of this build)]
// Run it from the repository root, on a machine that is otherwise idle.
#include <dirent.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "invoice_extract.h"
#include "support/pdf_builder.h"

namespace {

double Seconds_Since(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void Find_Pdfs(const std::string& folder, std::vector<std::string>* files) {
  DIR* listing = opendir(folder.c_str());
  if (listing == nullptr) return;
  std::vector<std::string> names;
  while (dirent* entry = readdir(listing)) names.push_back(entry->d_name);
  closedir(listing);
  std::sort(names.begin(), names.end());
  for (const std::string& name : names) {
    if (name == "." || name == "..") continue;
    const std::string path = folder + "/" + name;
    struct stat status;
    if (stat(path.c_str(), &status) != 0) continue;
    if (S_ISDIR(status.st_mode)) {
      Find_Pdfs(path, files);
    } else if (name.size() > 4 && name.compare(name.size() - 4, 4, ".pdf") == 0) {
      files->push_back(path);
    }
  }
}

// Wall-clock seconds of one run of the tool over the list file.
double Time_Tool(const std::string& tool, const std::string& options, const std::string& list) {
  const std::string command = "'" + tool + "' check -q " + options + " - < '" + list + "' > /dev/null";
  auto start = std::chrono::steady_clock::now();
  int status = system(command.c_str());
  double seconds = Seconds_Since(start);
  if (status == -1 || !WIFEXITED(status) || WEXITSTATUS(status) > 1) {
    fprintf(stderr, "tool_bench: '%s' failed\n", command.c_str());
    exit(1);
  }
  return seconds;
}

}  // namespace

int main(int argc, char** argv) {
  const int rounds = argc > 1 ? atoi(argv[1]) : 20;
  const std::string corpus = argc > 2 ? argv[2] : "../shared/corpus";
  const std::string tool = argc > 3 ? argv[3] : INVOICE_EXTRACT_TOOL;
  std::vector<std::string> files;
  Find_Pdfs(corpus, &files);
  if (files.empty() || rounds < 1) {
    fprintf(stderr, "usage: tool_bench [ROUNDS] [CORPUS] [TOOL]; no PDF files below %s\n", corpus.c_str());
    return 2;
  }
  const size_t total = files.size() * static_cast<size_t>(rounds);

  double best = 1e30;
  for (int run = 0; run < 3; ++run) {
    auto start = std::chrono::steady_clock::now();
    for (int round = 0; round < rounds; ++round) {
      for (const std::string& file : files) ZUGF_Check_Zugferd(file.c_str());
    }
    best = std::min(best, Seconds_Since(start));
  }
  printf("%zu files (%zu samples x %d rounds)\n", total, files.size(), rounds);
  printf("  exported call, one process:   %8.1f files/s\n", total / best);

  const std::string list = Test_Temp_Path("tool_bench_list");
  std::string text;
  for (int round = 0; round < rounds; ++round) text += corpus + "\n";
  if (!Test_Write_File(list, text)) return 1;
  for (const char* options : {"--jobs 1", "--jobs 2"}) {
    double tool_best = 1e30;
    for (int run = 0; run < 3; ++run) tool_best = std::min(tool_best, Time_Tool(tool, options, list));
    printf("  invoice-extract check %s: %8.1f files/s\n", options, total / tool_best);
  }
  remove(list.c_str());
  return 0;
}
