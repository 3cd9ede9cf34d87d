#include "pool.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstring>
#include <deque>
#include <string>

#include "worker.h"

namespace tool {

namespace {

typedef std::chrono::steady_clock Clock;

// Jobs handed to one worker ahead of time, so that it never waits for the
// parent between two files. Only the first of them runs.
const size_t kJobs_Ahead = 2;

struct Worker {
  pid_t pid = -1;
  int job_descriptor = -1;     // the parent writes jobs here
  int result_descriptor = -1;  // and reads reports here
  std::string received;        // bytes of frames not yet whole
  std::deque<size_t> jobs;     // indices handed out, the running one first
  Clock::time_point started;   // when the running job started
  File_Report partial;         // of the running job
  bool has_partial = false;
  bool allocation_failed = false;  // in the running job
};

const char* Signal_Name(int signal_number) {
  switch (signal_number) {
    case SIGSEGV:
      return "SIGSEGV";
    case SIGBUS:
      return "SIGBUS";
    case SIGABRT:
      return "SIGABRT";
    case SIGKILL:
      return "SIGKILL";
    case SIGFPE:
      return "SIGFPE";
    case SIGILL:
      return "SIGILL";
    case SIGTERM:
      return "SIGTERM";
    default:
      return nullptr;
  }
}

// How a worker ended, from its wait status.
std::string Describe_End(int status) {
  if (WIFEXITED(status)) return "the worker exited with status " + std::to_string(WEXITSTATUS(status));
  if (!WIFSIGNALED(status)) return "the worker ended";
  int number = WTERMSIG(status);
  const char* name = Signal_Name(number);
  std::string text =
      "the worker was killed by " + (name != nullptr ? std::string(name) : "signal " + std::to_string(number));
  switch (number) {
    case SIGSEGV:
    case SIGBUS:
      return text + " (a stack overflow or a bad memory access)";
    case SIGABRT:
      return text + " (it aborted)";
    case SIGKILL:
      return text + " (not by this tool; perhaps by the system's out-of-memory killer)";
    default:
      return text;
  }
}

std::string Seconds_Text(double seconds) {
  char text[32];
  snprintf(text, sizeof(text), "%g", seconds);
  return text;
}

class Pool {
 public:
  Pool(const std::vector<Job>& jobs, const Pool_Settings& settings, const Job_Prepare& prepare, const Job_Done& on_done)
      : jobs_(jobs), settings_(settings), prepare_(prepare), on_done_(on_done) {
    size_t count = settings.workers < 1 ? 1 : settings.workers;
    if (count > jobs.size()) count = jobs.size();
    workers_.resize(count);
    for (size_t i = 0; i < jobs.size(); ++i) pending_.push_back(i);
  }

  ~Pool() { Stop(); }

  bool Run(const std::function<void()>& on_tick) {
    Clock::time_point next_tick = Clock::now();
    while (finished_ < jobs_.size()) {
      if (Interrupted()) return false;
      Hand_Out();
      if (finished_ == jobs_.size()) break;
      Wait(&next_tick, on_tick);
      Enforce_Deadlines();
    }
    return true;
  }

 private:
  bool Interrupted() const { return settings_.interrupted != nullptr && *settings_.interrupted != 0; }

  bool Spawn(Worker* worker, std::string* error) {
    int to_worker[2];
    int from_worker[2];
    if (pipe2(to_worker, O_CLOEXEC) != 0) {
      *error = strerror(errno);
      return false;
    }
    if (pipe2(from_worker, O_CLOEXEC) != 0) {
      *error = strerror(errno);
      close(to_worker[0]);
      close(to_worker[1]);
      return false;
    }
    pid_t pid = fork();
    if (pid < 0) {
      *error = strerror(errno);
      for (int descriptor : {to_worker[0], to_worker[1], from_worker[0], from_worker[1]}) close(descriptor);
      return false;
    }
    if (pid == 0) {
      // The other workers' pipes must close when the parent closes them.
      for (const Worker& other : workers_) {
        if (other.job_descriptor >= 0) close(other.job_descriptor);
        if (other.result_descriptor >= 0) close(other.result_descriptor);
      }
      close(to_worker[1]);
      close(from_worker[0]);
      // No input; stray output goes to standard error, never among the results.
      int null_device = open("/dev/null", O_RDONLY);
      if (null_device >= 0) {
        dup2(null_device, 0);
        close(null_device);
      }
      dup2(2, 1);
      signal(SIGTERM, SIG_DFL);
      Worker_Main(to_worker[0], from_worker[1], settings_.memory_limit);
    }
    close(to_worker[0]);
    close(from_worker[1]);
    fcntl(from_worker[0], F_SETFL, fcntl(from_worker[0], F_GETFL) | O_NONBLOCK);
    worker->pid = pid;
    worker->job_descriptor = to_worker[1];
    worker->result_descriptor = from_worker[0];
    worker->received.clear();
    worker->jobs.clear();
    return true;
  }

  bool Live_Worker() const {
    for (const Worker& worker : workers_) {
      if (worker.pid > 0) return true;
    }
    return false;
  }

  void Hand_Out() {
    for (Worker& worker : workers_) {
      while (!pending_.empty() && worker.jobs.size() < kJobs_Ahead) {
        std::string error;
        if (worker.pid < 0 && !Spawn(&worker, &error)) {
          // With no worker at all nothing can run: the file gets the reason.
          if (!Live_Worker()) Fail_Pending("cannot start a worker process: " + error);
          break;
        }
        size_t index = pending_.front();
        pending_.pop_front();
        Job job = jobs_[index];
        const std::string refusal = prepare_ ? prepare_(index, &job) : "";
        if (!refusal.empty()) {
          File_Report report;
          report.status = Status::Error;
          report.reason = refusal;
          Complete(index, report, 0);
          continue;
        }
        if (!Write_Frame(worker.job_descriptor, Frame_Type::Job, Encode_Job(job))) {
          // The worker was gone before it saw the job: not the file's doing.
          pending_.push_front(index);
          kill(worker.pid, SIGKILL);
          Reap(&worker, false);
          if (++lost_workers_ > 3 * workers_.size() + 3) Fail_Pending("worker processes keep dying between files");
          break;
        }
        worker.jobs.push_back(index);
        if (worker.jobs.size() == 1) Start_Next(&worker);
      }
    }
  }

  // The first job in the worker's queue starts now.
  void Start_Next(Worker* worker) {
    worker->started = Clock::now();
    worker->has_partial = false;
    worker->partial = File_Report();
    worker->allocation_failed = false;
  }

  // Jobs that a worker never started go back to the front of the queue.
  void Give_Back_Waiting(Worker* worker) {
    while (worker->jobs.size() > 1) {
      pending_.push_front(worker->jobs.back());
      worker->jobs.pop_back();
    }
  }

  void Fail_Pending(const std::string& reason) {
    size_t index = pending_.front();
    pending_.pop_front();
    File_Report report;
    report.status = Status::Error;
    report.reason = reason;
    Complete(index, report, 0);
  }

  void Complete(size_t index, File_Report& report, double seconds) {
    ++finished_;
    on_done_(index, report, seconds);
  }

  double Elapsed(const Worker& worker) const {
    return std::chrono::duration<double>(Clock::now() - worker.started).count();
  }

  void Wait(Clock::time_point* next_tick, const std::function<void()>& on_tick) {
    std::vector<pollfd> watched;
    std::vector<Worker*> owners;
    long wait_ms = -1;
    Clock::time_point now = Clock::now();
    for (Worker& worker : workers_) {
      if (worker.pid < 0) continue;
      watched.push_back(pollfd{worker.result_descriptor, POLLIN, 0});
      owners.push_back(&worker);
      if (!worker.jobs.empty() && settings_.timeout_seconds > 0) {
        double left = settings_.timeout_seconds - std::chrono::duration<double>(now - worker.started).count();
        long ms = left <= 0 ? 0 : static_cast<long>(std::ceil(left * 1000));
        if (wait_ms < 0 || ms < wait_ms) wait_ms = ms;
      }
    }
    if (settings_.tick_milliseconds > 0) {
      long ms = std::chrono::duration_cast<std::chrono::milliseconds>(*next_tick - now).count();
      if (ms < 0) ms = 0;
      if (wait_ms < 0 || ms < wait_ms) wait_ms = ms;
    }
    if (watched.empty() && wait_ms < 0) return;
    int ready = poll(watched.data(), watched.size(), static_cast<int>(wait_ms));
    if (ready > 0) {
      for (size_t i = 0; i < watched.size(); ++i) {
        if (watched[i].revents != 0) Read_From(owners[i]);
      }
    }
    if (settings_.tick_milliseconds > 0 && Clock::now() >= *next_tick) {
      on_tick();
      *next_tick = Clock::now() + std::chrono::milliseconds(settings_.tick_milliseconds);
    }
  }

  void Read_From(Worker* worker) {
    char buffer[65536];
    bool ended = false;
    for (;;) {
      ssize_t got = read(worker->result_descriptor, buffer, sizeof(buffer));
      if (got > 0) {
        worker->received.append(buffer, static_cast<size_t>(got));
        continue;
      }
      if (got < 0 && errno == EINTR) continue;
      if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) break;
      ended = true;
      break;
    }
    Frame_Type type = Frame_Type::Final;
    std::string payload;
    bool malformed = false;
    while (!malformed && Take_Frame(&worker->received, &type, &payload, &malformed)) {
      File_Report report;
      switch (type) {
        case Frame_Type::Allocation_Failed:
          worker->allocation_failed = true;
          break;
        case Frame_Type::Partial:
          if (worker->jobs.empty() || !Decode_Report(payload, &report)) {
            malformed = true;
          } else {
            worker->partial = std::move(report);
            worker->has_partial = true;
          }
          break;
        case Frame_Type::Final:
        case Frame_Type::Final_Retiring:
          if (worker->jobs.empty() || !Decode_Report(payload, &report)) {
            malformed = true;
          } else {
            size_t index = worker->jobs.front();
            worker->jobs.pop_front();
            Complete(index, report, Elapsed(*worker));
            if (type == Frame_Type::Final_Retiring) {
              // The worker leaves: what it was given beyond this file goes
              // to another.
              Give_Back_Waiting(worker);
              if (!worker->jobs.empty()) pending_.push_front(worker->jobs.front());
              worker->jobs.clear();
              ended = true;
            } else if (!worker->jobs.empty()) {
              Start_Next(worker);
            }
          }
          break;
        case Frame_Type::Job:
          malformed = true;
          break;
      }
    }
    if (malformed) {
      kill(worker->pid, SIGKILL);
      Reap(worker, false, "the worker sent a garbled answer");
    } else if (ended) {
      Reap(worker, false);
    }
  }

  void Enforce_Deadlines() {
    if (settings_.timeout_seconds <= 0) return;
    for (Worker& worker : workers_) {
      if (worker.pid < 0 || worker.jobs.empty() || Elapsed(worker) < settings_.timeout_seconds) continue;
      kill(worker.pid, SIGKILL);
      Reap(&worker, true);
    }
  }

  // Closes the pipes and waits for the process. The running file gets its
  // report: what the worker had sent so far, and how it ended; the files
  // waiting behind it go to another worker.
  void Reap(Worker* worker, bool killed_for_time, const std::string& reason = "") {
    Give_Back_Waiting(worker);
    close(worker->job_descriptor);
    close(worker->result_descriptor);
    worker->job_descriptor = worker->result_descriptor = -1;
    int status = 0;
    while (waitpid(worker->pid, &status, 0) < 0 && errno == EINTR) {
    }
    worker->pid = -1;
    worker->received.clear();
    if (worker->jobs.empty()) return;
    size_t index = worker->jobs.front();
    worker->jobs.clear();
    File_Report report = worker->has_partial ? worker->partial : File_Report();
    if (killed_for_time) {
      report.status = Status::Timeout;
      report.reason = "no answer within " + Seconds_Text(settings_.timeout_seconds) + " s; the worker was killed";
    } else if (worker->allocation_failed) {
      report.status = Status::Out_Of_Memory;
      report.reason = "an allocation failed under the memory limit, then " + Describe_End(status);
    } else {
      report.status = Status::Crashed;
      report.reason = reason.empty() ? Describe_End(status) : reason;
    }
    Complete(index, report, Elapsed(*worker));
  }

  // Idle workers leave at the end of their input; busy ones are killed.
  void Stop() {
    for (Worker& worker : workers_) {
      if (worker.pid < 0) continue;
      if (!worker.jobs.empty()) kill(worker.pid, SIGKILL);
      close(worker.job_descriptor);
      close(worker.result_descriptor);
      int status = 0;
      while (waitpid(worker.pid, &status, 0) < 0 && errno == EINTR) {
      }
      worker.pid = -1;
    }
  }

  const std::vector<Job>& jobs_;
  Pool_Settings settings_;
  Job_Prepare prepare_;
  Job_Done on_done_;
  std::vector<Worker> workers_;
  std::deque<size_t> pending_;
  size_t finished_ = 0;
  size_t lost_workers_ = 0;
};

}  // namespace

bool Run_Jobs(const std::vector<Job>& jobs, const Pool_Settings& settings, const Job_Prepare& prepare,
              const Job_Done& on_done, const std::function<void()>& on_tick) {
  if (jobs.empty()) return true;
  Pool pool(jobs, settings, prepare, on_done);
  return pool.Run(on_tick);
}

}  // namespace tool
