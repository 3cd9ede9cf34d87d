#include "pool.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <thread>

#include "worker.h"

namespace tool {

namespace {

typedef std::chrono::steady_clock Clock;

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

typedef std::function<Job(size_t index)> Job_Source;

class Pool {
 public:
  Pool(const Job_Source& job_at, size_t workers, const Pool_Settings& settings, const Job_Prepare& prepare,
       const Job_Done& on_done)
      : job_at_(job_at), settings_(settings), prepare_(prepare), on_done_(on_done) {
    workers_.resize(workers < 1 ? 1 : workers);
  }

  ~Pool() { Stop(); }

  // Queues a job; it runs after those queued before it.
  void Add(size_t index) { pending_.push_back(index); }

  // Runs until total jobs have their reports; false when interrupted first.
  bool Run_Batch(size_t total, const std::function<void()>& on_tick) {
    Clock::time_point next_tick = Clock::now();
    while (finished_ < total) {
      if (Interrupted()) return false;
      Hand_Out();
      if (finished_ == total) break;
      Wait(&next_tick, on_tick, -1);
      Enforce_Deadlines();
    }
    return true;
  }

  // Runs until stopping is set, taking new jobs with take_new whenever the
  // wake descriptor (an eventfd) is signalled.
  void Serve(int wake_descriptor, const std::function<void()>& take_new, const std::atomic<bool>& stopping) {
    Clock::time_point next_tick = Clock::now();
    while (!stopping) {
      take_new();
      Hand_Out();
      Wait(&next_tick, nullptr, wake_descriptor);
      Enforce_Deadlines();
    }
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
    // With worker_program the child runs it at once (a process with threads
    // may fork safely only to exec): everything it needs is made now.
    const std::string job_text = std::to_string(to_worker[0]);
    const std::string result_text = std::to_string(from_worker[1]);
    const std::string limit_text = std::to_string(settings_.memory_limit);
    const char* program = settings_.worker_program.empty() ? nullptr : settings_.worker_program.c_str();
    char* const worker_arguments[] = {const_cast<char*>("invoice-extract"),  const_cast<char*>(kWorker_Argument),
                                      const_cast<char*>(job_text.c_str()),   const_cast<char*>(result_text.c_str()),
                                      const_cast<char*>(limit_text.c_str()), nullptr};
    pid_t pid = fork();
    if (pid < 0) {
      *error = strerror(errno);
      for (int descriptor : {to_worker[0], to_worker[1], from_worker[0], from_worker[1]}) close(descriptor);
      return false;
    }
    if (pid == 0) {
      // Only calls that are safe after a fork in a process with threads.
      sigset_t all;
      sigfillset(&all);
      pthread_sigmask(SIG_UNBLOCK, &all, nullptr);
      signal(SIGTERM, SIG_DFL);
      // No input; stray output goes to standard error, never among the results.
      int null_device = open("/dev/null", O_RDONLY);
      if (null_device >= 0) {
        dup2(null_device, 0);
        close(null_device);
      }
      dup2(2, 1);
      if (program != nullptr) {
        fcntl(to_worker[0], F_SETFD, 0);
        fcntl(from_worker[1], F_SETFD, 0);
        execv(program, worker_arguments);
        _exit(127);
      }
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

  // Every worker gets a job before any gets a second one ahead.
  void Hand_Out() {
    const size_t ahead = std::max<size_t>(1, settings_.jobs_ahead);
    for (size_t depth = 1; depth <= ahead; ++depth) {
      for (Worker& worker : workers_) Hand_Out_To(&worker, depth);
    }
  }

  void Hand_Out_To(Worker* worker_pointer, size_t depth) {
    Worker& worker = *worker_pointer;
    while (!pending_.empty() && worker.jobs.size() < depth) {
      std::string error;
      if (worker.pid < 0 && !Spawn(&worker, &error)) {
        // With no worker at all nothing can run: the file gets the reason.
        if (!Live_Worker()) Fail_Pending("cannot start a worker process: " + error);
        break;
      }
      size_t index = pending_.front();
      pending_.pop_front();
      Job job = job_at_(index);
      const std::string refusal = prepare_ ? prepare_(index, &job) : "";
      if (!refusal.empty()) {
        File_Report report;
        report.status = Status::Error;
        report.reason = refusal;
        Complete(index, report, 0);
        continue;
      }
      if (!Write_Frame(worker.job_descriptor, Frame_Type::Job, Encode_Job(job))) {
        // The worker was gone before it saw the job: not this file's doing.
        // Its answers still in the pipe are read before it is judged.
        pending_.push_front(index);
        if (!End_Worker(&worker, End::Unreachable) && ++lost_workers_ > 3 * workers_.size() + 3) {
          Fail_Pending("worker processes keep dying between files");
        }
        break;
      }
      worker.jobs.push_back(index);
      if (worker.jobs.size() == 1) Start_Next(&worker);
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

  void Wait(Clock::time_point* next_tick, const std::function<void()>& on_tick, int wake_descriptor) {
    std::vector<pollfd> watched;
    std::vector<Worker*> owners;
    long wait_ms = -1;
    if (wake_descriptor >= 0) {
      watched.push_back(pollfd{wake_descriptor, POLLIN, 0});
      owners.push_back(nullptr);
    }
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
        if (watched[i].revents == 0) continue;
        if (owners[i] == nullptr) {
          uint64_t count = 0;
          ssize_t ignored = read(wake_descriptor, &count, sizeof(count));
          (void)ignored;
        } else {
          Read_From(owners[i]);
        }
      }
    }
    if (settings_.tick_milliseconds > 0 && Clock::now() >= *next_tick) {
      on_tick();
      *next_tick = Clock::now() + std::chrono::milliseconds(settings_.tick_milliseconds);
    }
  }

  // Reads what the worker has sent so far, without waiting. False once the
  // worker's end of the pipe is closed.
  bool Receive(Worker* worker) {
    char buffer[65536];
    for (;;) {
      ssize_t got = read(worker->result_descriptor, buffer, sizeof(buffer));
      if (got > 0) {
        worker->received.append(buffer, static_cast<size_t>(got));
        continue;
      }
      if (got < 0 && errno == EINTR) continue;
      return got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
    }
  }

  enum class Taken { Working, Retired, Garbled };

  // Acts on every whole frame received: the reports of finished files go out.
  Taken Take_Frames(Worker* worker) {
    Frame_Type type = Frame_Type::Final;
    std::string payload;
    bool malformed = false;
    while (Take_Frame(&worker->received, &type, &payload, &malformed)) {
      File_Report report;
      switch (type) {
        case Frame_Type::Allocation_Failed:
          worker->allocation_failed = true;
          break;
        case Frame_Type::Partial:
          if (worker->jobs.empty() || !Decode_Report(payload, &report)) return Taken::Garbled;
          worker->partial = std::move(report);
          worker->has_partial = true;
          break;
        case Frame_Type::Final:
        case Frame_Type::Final_Retiring: {
          if (worker->jobs.empty() || !Decode_Report(payload, &report)) return Taken::Garbled;
          size_t index = worker->jobs.front();
          worker->jobs.pop_front();
          Complete(index, report, Elapsed(*worker));
          if (type == Frame_Type::Final_Retiring) {
            // The worker leaves: what it was given beyond this file goes to
            // another.
            Give_Back_Waiting(worker);
            if (!worker->jobs.empty()) pending_.push_front(worker->jobs.front());
            worker->jobs.clear();
            return Taken::Retired;
          }
          if (!worker->jobs.empty()) Start_Next(worker);
          break;
        }
        case Frame_Type::Job:
          return Taken::Garbled;
      }
    }
    return malformed ? Taken::Garbled : Taken::Working;
  }

  void Read_From(Worker* worker) {
    const bool open = Receive(worker);
    const Taken taken = Take_Frames(worker);
    if (taken == Taken::Garbled) {
      End_Worker(worker, End::Garbled);
    } else if (taken == Taken::Retired || !open) {
      End_Worker(worker, End::Left);
    }
  }

  void Enforce_Deadlines() {
    if (settings_.timeout_seconds <= 0) return;
    for (Worker& worker : workers_) {
      if (worker.pid < 0 || worker.jobs.empty() || Elapsed(worker) < settings_.timeout_seconds) continue;
      End_Worker(&worker, End::Overdue);
    }
  }

  // Why a worker is being ended.
  enum class End {
    Left,         // it closed its end of the pipe, or said it retires
    Garbled,      // it sent bytes that no worker writes
    Overdue,      // its file ran past the deadline
    Unreachable,  // a job could not be written to it
  };

  // Ends the worker and waits for the process. Whatever it wrote before its
  // end is read first, so that a file it answered keeps its answer even when
  // the worker is gone by the time the parent looks (a worker that retires
  // after an answer can be gone before the parent reads it). Only then is
  // the file it was running judged by how it ended; files waiting behind it
  // go to another worker. Returns whether the end was explained: the worker
  // retired, or a file was running.
  bool End_Worker(Worker* worker, End cause) {
    const bool had_job = !worker->jobs.empty();
    const size_t running = had_job ? worker->jobs.front() : 0;
    if (cause != End::Left) kill(worker->pid, SIGKILL);
    int status = 0;
    while (waitpid(worker->pid, &status, 0) < 0 && errno == EINTR) {
    }
    if (settings_.on_worker_end) settings_.on_worker_end();
    bool retired = false;
    if (cause != End::Garbled) {
      // The process is gone: everything it wrote is in the pipe.
      Receive(worker);
      const Taken taken = Take_Frames(worker);
      if (taken == Taken::Garbled) cause = End::Garbled;
      retired = taken == Taken::Retired;
    }
    close(worker->job_descriptor);
    close(worker->result_descriptor);
    worker->job_descriptor = worker->result_descriptor = -1;
    worker->pid = -1;
    worker->received.clear();
    Give_Back_Waiting(worker);
    if (worker->jobs.empty()) return retired;
    size_t index = worker->jobs.front();
    worker->jobs.clear();
    if (cause == End::Overdue && !(had_job && index == running)) {
      // The overdue file answered in time after all; the next one had barely
      // started and is not to blame.
      pending_.push_front(index);
      return true;
    }
    File_Report report = worker->has_partial ? worker->partial : File_Report();
    if (cause == End::Overdue) {
      report.status = Status::Timeout;
      report.reason = "no answer within " + Seconds_Text(settings_.timeout_seconds) + " s; the worker was killed";
    } else if (worker->allocation_failed) {
      report.status = Status::Out_Of_Memory;
      report.reason = "an allocation failed under the memory limit, then " + Describe_End(status);
    } else {
      report.status = Status::Crashed;
      report.reason = cause == End::Garbled ? "the worker sent a garbled answer" : Describe_End(status);
    }
    Complete(index, report, Elapsed(*worker));
    return true;
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

  Job_Source job_at_;
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
  const size_t workers = std::min<size_t>(settings.workers < 1 ? 1 : settings.workers, jobs.size());
  Pool pool([&jobs](size_t index) { return jobs[index]; }, workers, settings, prepare, on_done);
  for (size_t i = 0; i < jobs.size(); ++i) pool.Add(i);
  return pool.Run_Batch(jobs.size(), on_tick);
}

struct Job_Service::State {
  struct Entry {
    Job job;
    std::condition_variable ready;  // one a caller: a report wakes only its own
    bool done = false;
    File_Report report;
    double seconds = 0;
  };
  Pool_Settings settings;
  std::mutex mutex;
  std::deque<size_t> inbox;         // submitted, not yet taken by the pool's thread
  std::map<size_t, Entry> entries;  // submitted, not yet collected by their caller
  size_t next_index = 0;
  std::atomic<size_t> in_flight{0};
  std::atomic<size_t> worker_ends{0};
  std::atomic<bool> stopping{false};
  int wake = -1;
  std::thread thread;
};

Job_Service::Job_Service(const Pool_Settings& settings) : state_(new State) {
  State* state = state_.get();
  state->settings = settings;
  state->settings.interrupted = nullptr;
  state->settings.tick_milliseconds = 0;
  state->settings.on_worker_end = [state] { ++state->worker_ends; };
  // Workers start from a fresh image of the program: the service has threads.
  if (state->settings.worker_program.empty()) state->settings.worker_program = "/proc/self/exe";
  state->wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  state->thread = std::thread([state] {
    auto job_at = [state](size_t index) {
      std::lock_guard<std::mutex> lock(state->mutex);
      return state->entries.at(index).job;
    };
    auto done = [state](size_t index, File_Report& report, double seconds) {
      std::lock_guard<std::mutex> lock(state->mutex);
      State::Entry& entry = state->entries.at(index);
      entry.report = std::move(report);
      entry.seconds = seconds;
      entry.done = true;
      entry.ready.notify_one();
    };
    Pool pool(job_at, state->settings.workers, state->settings, nullptr, done);
    auto take_new = [state, &pool] {
      std::lock_guard<std::mutex> lock(state->mutex);
      while (!state->inbox.empty()) {
        pool.Add(state->inbox.front());
        state->inbox.pop_front();
      }
    };
    pool.Serve(state->wake, take_new, state->stopping);
  });
}

Job_Service::~Job_Service() {
  State* state = state_.get();
  state->stopping = true;
  const uint64_t one = 1;
  ssize_t ignored = write(state->wake, &one, sizeof(one));
  (void)ignored;
  state->thread.join();
  close(state->wake);
  // Nobody waits any more once the service goes: its callers have returned.
}

bool Job_Service::Run(const Job& job, size_t queue_limit, File_Report* report, double* seconds) {
  State* state = state_.get();
  size_t index = 0;
  {
    std::lock_guard<std::mutex> lock(state->mutex);
    if (state->in_flight >= state->settings.workers + queue_limit) return false;
    index = state->next_index++;
    state->entries[index].job = job;
    state->inbox.push_back(index);
    ++state->in_flight;
  }
  const uint64_t one = 1;
  ssize_t ignored = write(state->wake, &one, sizeof(one));
  (void)ignored;
  std::unique_lock<std::mutex> lock(state->mutex);
  State::Entry& entry = state->entries.at(index);
  entry.ready.wait(lock, [&entry] { return entry.done; });
  *report = std::move(entry.report);
  *seconds = entry.seconds;
  state->entries.erase(index);
  --state->in_flight;
  return true;
}

size_t Job_Service::In_Flight() const { return state_->in_flight; }

size_t Job_Service::Worker_Ends() const { return state_->worker_ends; }

}  // namespace tool
