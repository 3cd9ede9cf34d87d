// The parent side: a fixed number of forked worker processes, reused from
// file to file, each with a deadline for the file in hand. A worker that
// dies, runs out of memory or misses its deadline is reaped (killed first if
// need be) and replaced, and its file gets a report that says so.
#ifndef INVOICE_EXTRACT_TOOL_POOL_H
#define INVOICE_EXTRACT_TOOL_POOL_H

#include <signal.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "job.h"
#include "report.h"

namespace tool {

struct Pool_Settings {
  unsigned workers = 1;
  double timeout_seconds = 30;  // 0: no deadline
  uint64_t memory_limit = 0;    // per worker, beyond its start-up size; 0: none
  // Set by a signal handler; the run stops at the next event and every
  // worker is killed.
  const volatile sig_atomic_t* interrupted = nullptr;
  // How often on_tick runs while waiting, in milliseconds (0: never).
  int tick_milliseconds = 0;
  // Jobs handed to one worker at a time; those beyond the first wait in its
  // pipe, so that it never waits for the parent between two files (a batch).
  // A job waiting behind a file that hangs waits for that file's deadline.
  size_t jobs_ahead = 2;
  // Called whenever a worker process has ended (retired, died or killed).
  std::function<void()> on_worker_end;
  // Empty: a worker is the forked parent itself. Otherwise the program that
  // a forked worker runs (with kWorker_Argument, see Worker_Main), as a
  // process with threads must do.
  std::string worker_program;
};

// Called once for each job, in the order in which jobs finish, with the
// seconds from handing the job out to its end.
typedef std::function<void(size_t index, File_Report& report, double seconds)> Job_Done;

// Called just before a job is handed out, with a copy that it may complete.
// A non-empty answer is the reason why the job cannot run: it is not handed
// out and gets a report with status error. May be called again for the same
// job if its worker was gone before it took the job.
typedef std::function<std::string(size_t index, Job* job)> Job_Prepare;

// Runs jobs[index] for every index in order of index, at most
// settings.workers at a time. on_tick is called every tick while waiting.
// Returns false when interrupted before every job had its report.
bool Run_Jobs(const std::vector<Job>& jobs, const Pool_Settings& settings, const Job_Prepare& prepare,
              const Job_Done& on_done, const std::function<void()>& on_tick);

// The pool for a long-running service: jobs come from any thread, each
// caller waits for its own report, and the workers are run by a thread of
// the service's own. Destroy it only once no call of Run is under way.
class Job_Service {
 public:
  explicit Job_Service(const Pool_Settings& settings);
  ~Job_Service();
  Job_Service(const Job_Service&) = delete;
  Job_Service& operator=(const Job_Service&) = delete;

  // Runs the job and waits for its report. False, at once and without a
  // report, when settings.workers + queue_limit jobs are in flight already.
  bool Run(const Job& job, size_t queue_limit, File_Report* report, double* seconds);

  // Jobs submitted and not yet answered (running or waiting).
  size_t In_Flight() const;
  // Worker processes that have ended so far (each is replaced on demand).
  size_t Worker_Ends() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tool

#endif
