// Throughput of invoice-extract serve beside the tool's own, measured with a
// compiled HTTP client (so that the client costs little of the machine).
//
// Starts the service on a loopback port with --jobs N and sends the shared
// corpus's files to /v1/check over keep-alive connections from 1, 8 and 64
// clients at once; prints requests per second and the median and 99th
// percentile latency of each, and the files per second of
// invoice-extract check --jobs N over the same files in one run.
//
//   build/bench/serve_bench [--jobs N] [--requests R] [--rounds K] [--corpus FOLDER]
#include <dirent.h>
#include <fcntl.h>
#include <httplib.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

typedef std::chrono::steady_clock Clock;

double Seconds_Since(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

std::vector<std::string> Corpus_Files(const std::string& corpus) {
  std::vector<std::string> files;
  for (const char* folder : {"invoices", "others"}) {
    const std::string path = corpus + "/" + folder;
    std::vector<std::string> names;
    if (DIR* listing = opendir(path.c_str())) {
      while (dirent* entry = readdir(listing)) {
        const std::string name = entry->d_name;
        if (name.size() > 4 && name.compare(name.size() - 4, 4, ".pdf") == 0) names.push_back(path + "/" + name);
      }
      closedir(listing);
    }
    std::sort(names.begin(), names.end());
    files.insert(files.end(), names.begin(), names.end());
  }
  return files;
}

std::string Read_File(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

// Runs the tool over the list of paths (one a line on its standard input).
double Tool_Rate(const std::string& jobs, const std::vector<std::string>& listed) {
  int input[2];
  if (pipe(input) != 0) return 0;
  const auto started = Clock::now();
  const pid_t pid = fork();
  if (pid == 0) {
    dup2(input[0], 0);
    close(input[0]);
    close(input[1]);
    const int null_device = open("/dev/null", O_WRONLY);
    dup2(null_device, 1);
    execl(INVOICE_EXTRACT_TOOL, INVOICE_EXTRACT_TOOL, "check", "--quiet", "--jobs", jobs.c_str(), "-",
          static_cast<char*>(nullptr));
    _exit(127);
  }
  close(input[0]);
  for (const std::string& path : listed) {
    const std::string line = path + "\n";
    if (write(input[1], line.data(), line.size()) < 0) break;
  }
  close(input[1]);
  int status = 0;
  waitpid(pid, &status, 0);
  return listed.size() / Seconds_Since(started);
}

struct Service {
  pid_t pid = -1;
  int port = 0;
};

Service Start_Service(const std::string& jobs) {
  Service service;
  int output[2];
  if (pipe(output) != 0) return service;
  service.pid = fork();
  if (service.pid == 0) {
    dup2(output[1], 1);
    close(output[0]);
    close(output[1]);
    const int null_device = open("/dev/null", O_WRONLY);
    dup2(null_device, 2);  // the request log
    execl(INVOICE_EXTRACT_TOOL, INVOICE_EXTRACT_TOOL, "serve", "--listen", "127.0.0.1:0", "--jobs", jobs.c_str(),
          "--queue", "128", static_cast<char*>(nullptr));
    _exit(127);
  }
  close(output[1]);
  std::string line;
  char c = 0;
  while (read(output[0], &c, 1) == 1 && c != '\n') line += c;
  close(output[0]);
  const size_t colon = line.rfind(':');
  if (colon != std::string::npos) service.port = atoi(line.c_str() + colon + 1);
  return service;
}

struct Level {
  double rate = 0;
  double p50 = 0;
  double p99 = 0;
  size_t failed = 0;
};

Level Run_Clients(int port, const std::vector<std::string>& payloads, size_t clients, size_t requests) {
  std::vector<double> latencies;
  std::mutex mutex;
  std::atomic<size_t> failed(0);
  const size_t each = requests / clients;
  std::vector<std::thread> threads;
  const auto started = Clock::now();
  for (size_t number = 0; number < clients; ++number) {
    threads.emplace_back([&, number] {
      httplib::Client client("127.0.0.1", port);
      client.set_keep_alive(true);
      client.set_tcp_nodelay(true);
      client.set_read_timeout(60, 0);
      std::vector<double> mine;
      for (size_t i = 0; i < each; ++i) {
        const std::string& body = payloads[(number * each + i) % payloads.size()];
        const auto sent = Clock::now();
        auto answer = client.Post("/v1/check", body, "application/pdf");
        mine.push_back(Seconds_Since(sent));
        if (!answer || answer->status != 200) ++failed;
      }
      std::lock_guard<std::mutex> lock(mutex);
      latencies.insert(latencies.end(), mine.begin(), mine.end());
    });
  }
  for (std::thread& thread : threads) thread.join();
  Level level;
  level.rate = latencies.size() / Seconds_Since(started);
  std::sort(latencies.begin(), latencies.end());
  if (!latencies.empty()) {
    level.p50 = latencies[latencies.size() / 2];
    level.p99 = latencies[std::min(latencies.size() - 1, latencies.size() * 99 / 100)];
  }
  level.failed = failed;
  return level;
}

}  // namespace

int main(int argc, char** argv) {
  std::string jobs = std::to_string(std::max(1u, std::thread::hardware_concurrency()));
  size_t requests = 8192;
  size_t rounds = 3;
  std::string corpus = std::string(INVOICE_EXTRACT_SOURCE_DIR) + "/../shared/corpus";
  for (int i = 1; i + 1 < argc; i += 2) {
    const std::string option = argv[i];
    if (option == "--jobs") jobs = argv[i + 1];
    if (option == "--requests") requests = std::strtoul(argv[i + 1], nullptr, 10);
    if (option == "--rounds") rounds = std::max<size_t>(1, std::strtoul(argv[i + 1], nullptr, 10));
    if (option == "--corpus") corpus = argv[i + 1];
  }
  const std::vector<std::string> files = Corpus_Files(corpus);
  if (files.empty()) {
    fprintf(stderr, "serve_bench: no PDF files in %s\n", corpus.c_str());
    return 1;
  }
  std::vector<std::string> payloads;
  for (const std::string& file : files) payloads.push_back(Read_File(file));
  std::vector<std::string> listed;
  for (size_t i = 0; i < requests; ++i) listed.push_back(files[i % files.size()]);

  const Service service = Start_Service(jobs);
  if (service.port == 0) {
    fprintf(stderr, "serve_bench: the service did not start\n");
    return 1;
  }
  Run_Clients(service.port, payloads, 8, 64);  // the workers start
  printf("invoice-extract serve --jobs %s, %zu corpus files, %zu requests a level, keep-alive, %zu rounds\n",
         jobs.c_str(), files.size(), requests, rounds);
  printf("%-34s %10s %9s %9s\n", "", "files/s", "p50 ms", "p99 ms");
  // The tool and the service take turns, so that a change in the machine's
  // load between them shows in one round and not in the median.
  int status = 0;
  std::vector<double> tool_rates;
  std::vector<double> ratios;
  for (size_t round = 0; round < rounds; ++round) {
    const double tool_rate = Tool_Rate(jobs, listed);
    tool_rates.push_back(tool_rate);
    for (size_t clients : {1, 8, 64}) {
      const Level level = Run_Clients(service.port, payloads, clients, requests);
      if (clients == 1) printf("%-34s %10.1f\n", ("invoice-extract check --jobs " + jobs).c_str(), tool_rate);
      printf("%-34s %10.1f %9.2f %9.2f\n",
             ("serve, " + std::to_string(clients) + (clients == 1 ? " client" : " clients")).c_str(), level.rate,
             level.p50 * 1000, level.p99 * 1000);
      if (clients == 8) ratios.push_back(level.rate / tool_rate);
      if (level.failed > 0) {
        fprintf(stderr, "serve_bench: %zu requests failed\n", level.failed);
        status = 1;
      }
    }
  }
  std::sort(tool_rates.begin(), tool_rates.end());
  std::sort(ratios.begin(), ratios.end());
  printf("8 clients / tool, median of %zu rounds: %.0f%% (rounds from %.0f%% to %.0f%%; tool median %.1f files/s)\n",
         rounds, 100 * ratios[ratios.size() / 2], 100 * ratios.front(), 100 * ratios.back(),
         tool_rates[tool_rates.size() / 2]);
  kill(service.pid, SIGTERM);
  waitpid(service.pid, nullptr, 0);
  return status;
}
