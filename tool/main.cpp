// invoice-extract: the command-line tool over the invoice_extract library.
// Gathers the files, hands them to a pool of worker processes, and prints
// the results in the order of the input.
#include <sched.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "help.h"
#include "invoice_extract.h"
#include "options.h"
#include "output.h"
#include "output_files.h"
#include "paths.h"
#include "pool.h"
#include "serve.h"
#include "worker.h"

namespace tool {

namespace {

volatile sig_atomic_t interrupted = 0;

void On_Interrupt(int) { interrupted = 1; }

// No SA_RESTART: a signal ends the pool's wait at once.
void Catch_Interrupts() {
  struct sigaction action = {};
  action.sa_handler = On_Interrupt;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  signal(SIGPIPE, SIG_IGN);
}

unsigned Processor_Count() {
  cpu_set_t set;
  if (sched_getaffinity(0, sizeof(set), &set) == 0 && CPU_COUNT(&set) > 0) return CPU_COUNT(&set);
  long online = sysconf(_SC_NPROCESSORS_ONLN);
  return online > 0 ? static_cast<unsigned>(online) : 1;
}

void Write_Out(const std::string& text) { fwrite(text.data(), 1, text.size(), stdout); }

class Run {
 public:
  explicit Run(const Options& options) : options_(options) {}

  int Execute() {
    const auto started = std::chrono::steady_clock::now();
    Catch_Interrupts();
    Gathered gathered = Gather_Files(options_.paths, options_.null_separated, stdin);
    for (const std::string& problem : gathered.problems) fprintf(stderr, "invoice-extract: %s\n", problem.c_str());
    bool failed = !gathered.problems.empty();

    if (options_.command == Command::Extract) {
      const std::string error = Make_Folder(options_.output_dir);
      if (!error.empty()) {
        fprintf(stderr, "invoice-extract: cannot use the output folder %s\n", error.c_str());
        return 2;
      }
    }
    Plan(gathered.files);

    const bool show_progress = !options_.quiet && (options_.progress == Progress::On ||
                                                   (options_.progress == Progress::Automatic && isatty(STDERR_FILENO)));
    Progress_Bar progress(results_.size(), show_progress);
    Pool_Settings settings;
    settings.workers = options_.jobs > 0 ? options_.jobs : Processor_Count();
    settings.timeout_seconds = options_.timeout_seconds;
    settings.memory_limit = options_.memory_limit;
    settings.interrupted = &interrupted;
    settings.tick_milliseconds = show_progress ? 250 : 0;

    auto prepare = [this](size_t index, Job* job) { return Prepare(index, job); };
    auto done = [this, &progress](size_t index, File_Report& report, double seconds) {
      Finish(index, report, seconds);
      Print_Ready(&progress);
      progress.Update(finished_);
    };
    bool complete = Run_Jobs(jobs_, settings, prepare, done, [&progress, this] { progress.Update(finished_); });
    progress.Update(finished_, true);
    progress.Clear();
    if (!complete) {
      Remove_Temporary_Files();
      fprintf(stderr, "invoice-extract: interrupted after %zu of %zu files\n", finished_, results_.size());
      failed = true;
    }
    fflush(stdout);
    if (ferror(stdout) || some_not_processed_) failed = true;
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    if (!options_.quiet) {
      if (results_.empty()) fprintf(stderr, "invoice-extract: no PDF files found\n");
      fprintf(stderr, "invoice-extract: %s\n", summary_.Line(seconds).c_str());
    }
    if (failed) return 3;
    return some_refused_ ? 1 : 0;
  }

 private:
  // Jobs and results for every file; for extract the output names, where the
  // later of two files with the same output name is refused.
  void Plan(const std::vector<std::string>& files) {
    std::map<std::string, std::string> owners;
    for (const std::string& file : files) {
      File_Result result;
      result.path = file;
      Job job;
      job.command = options_.command;
      job.explain = options_.explain;
      job.any_flavour = options_.any_flavour;
      job.path = file;
      std::string refusal;
      if (options_.command == Command::Extract) {
        result.output_path = Join_Path(options_.output_dir, Output_File_Name(file));
        auto owner = owners.emplace(result.output_path, file);
        if (!owner.second) {
          refusal = result.output_path + " is already the output of " + owner.first->second + " in this run";
        }
      }
      results_.push_back(result);
      refusals_.push_back(refusal);
      temporary_.push_back("");
      jobs_.push_back(job);
    }
    finished_flags_.assign(files.size(), false);
  }

  std::string Prepare(size_t index, Job* job) {
    if (!refusals_[index].empty()) return refusals_[index];
    if (options_.command != Command::Extract) return "";
    const std::string& final_path = results_[index].output_path;
    if (!options_.force && access(final_path.c_str(), F_OK) == 0) return final_path + " exists; --force replaces it";
    if (temporary_[index].empty()) {
      std::string error = Make_Temp_File(final_path, &temporary_[index]);
      if (!error.empty()) return error;
    }
    job->temp_output = temporary_[index];
    return "";
  }

  void Finish(size_t index, File_Report& report, double seconds) {
    File_Result& result = results_[index];
    result.report = std::move(report);
    result.seconds = seconds;
    std::string& temporary = temporary_[index];
    if (!temporary.empty()) {
      if (result.report.status == Status::Ok && result.report.written) {
        const std::string error = Commit_File(temporary, result.output_path, options_.force);
        if (error.empty()) {
          result.output_written = true;
        } else {
          result.report.status = Status::Error;
          result.report.reason = error;
        }
      } else {
        unlink(temporary.c_str());
      }
      temporary.clear();
    }
    finished_flags_[index] = true;
    ++finished_;
  }

  void Print_Ready(Progress_Bar* progress) {
    if (next_to_print_ >= results_.size() || !finished_flags_[next_to_print_]) return;
    progress->Clear();
    while (next_to_print_ < results_.size() && finished_flags_[next_to_print_]) {
      File_Result& result = results_[next_to_print_++];
      if (options_.json) {
        Write_Out(Json_Line(result, options_));
      } else if (options_.command == Command::Inspect) {
        Write_Out(Inspect_Block(result));
      } else {
        Write_Out(Human_Line(result, options_));
      }
      const bool accepted = Accepted(result, options_);
      summary_.Add(result, accepted && result.report.result != ZUGF_RESULT_INVOICE);
      if (result.report.status != Status::Ok) {
        some_not_processed_ = true;
      } else if (!accepted) {
        some_refused_ = true;
      }
      // Only the counts are needed from here on.
      result.report = File_Report();
    }
    fflush(stdout);
  }

  void Remove_Temporary_Files() {
    for (std::string& temporary : temporary_) {
      if (!temporary.empty()) unlink(temporary.c_str());
      temporary.clear();
    }
  }

  const Options& options_;
  std::vector<Job> jobs_;
  std::vector<File_Result> results_;
  std::vector<std::string> refusals_;
  std::vector<std::string> temporary_;
  std::vector<bool> finished_flags_;
  size_t finished_ = 0;
  size_t next_to_print_ = 0;
  Summary summary_;
  bool some_not_processed_ = false;
  bool some_refused_ = false;
};

}  // namespace

}  // namespace tool

int main(int argc, char** argv) {
  using namespace tool;
  if (argc == 5 && std::string(argv[1]) == kWorker_Argument) {
    Worker_Main(atoi(argv[2]), atoi(argv[3]), strtoull(argv[4], nullptr, 10));
  }
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  const Parsed_Arguments parsed = Parse_Arguments(arguments);
  switch (parsed.outcome) {
    case Parse_Outcome::Help:
      Write_Out(Manual_Text());
      return 0;
    case Parse_Outcome::Manual_Troff:
      Write_Out(Manual_Troff());
      return 0;
    case Parse_Outcome::Version:
      printf("invoice-extract %s (invoice_extract library %s)\n", INVOICE_EXTRACT_VERSION_STRING,
             INVOICE_EXTRACT_VERSION_STRING);
      return 0;
    case Parse_Outcome::Usage_Error:
      fprintf(stderr, "invoice-extract: %s\n%s", parsed.error.c_str(), Usage_Text().c_str());
      return 2;
    case Parse_Outcome::Run:
      break;
  }
  if (parsed.options.command == Command::Serve) {
    return Serve(parsed.options, parsed.options.jobs > 0 ? parsed.options.jobs : Processor_Count());
  }
  Run run(parsed.options);
  return run.Execute();
}
