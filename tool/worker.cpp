#include "worker.h"

#include <cxxabi.h>
#include <dirent.h>
#include <exempi/xmp.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <string>
#include <typeinfo>
#include <vector>

#include "examine.h"
#include "explain.h"
#include "invoice_extract.h"

namespace tool {

namespace {

int result_descriptor = -1;
volatile sig_atomic_t allocation_failed = 0;

// The frame of an allocation notice, made before anything can fail.
const std::string& Allocation_Notice() {
  static const std::string notice = Frame_Bytes(Frame_Type::Allocation_Failed, "");
  return notice;
}

void On_New_Failure() {
  Note_Allocation_Failure();
  throw std::bad_alloc();
}

// Bytes of address space mapped now, from /proc/self/statm.
uint64_t Mapped_Bytes() {
  FILE* statm = fopen("/proc/self/statm", "r");
  if (statm == nullptr) return 0;
  unsigned long long pages = 0;
  if (fscanf(statm, "%llu", &pages) != 1) pages = 0;
  fclose(statm);
  return static_cast<uint64_t>(pages) * static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
}

void Limit_Resources(uint64_t memory_limit) {
  // A crashing worker must not leave a core file in the user's folder.
  struct rlimit no_core = {0, 0};
  setrlimit(RLIMIT_CORE, &no_core);
  if (memory_limit == 0) return;
  // Counted from what is mapped now, so that the limit means the same in an
  // ordinary build and under a sanitizer that reserves terabytes at start.
  uint64_t base = Mapped_Bytes();
  struct rlimit space;
  space.rlim_cur = space.rlim_max = static_cast<rlim_t>(base + memory_limit);
  setrlimit(RLIMIT_AS, &space);
}

std::string Type_Name(const std::type_info& type) {
  int status = 0;
  char* readable = abi::__cxa_demangle(type.name(), nullptr, nullptr, &status);
  std::string name = status == 0 && readable != nullptr ? readable : type.name();
  free(readable);
  return name;
}

// Writes bytes to the temporary output file that the parent made.
bool Write_Output(const std::string& path, const std::string& bytes, std::string* error) {
  int descriptor = open(path.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
  if (descriptor < 0) {
    *error = "cannot open " + path + ": " + strerror(errno);
    return false;
  }
  size_t done = 0;
  while (done < bytes.size()) {
    ssize_t written = write(descriptor, bytes.data() + done, bytes.size() - done);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) {
      *error = "cannot write " + path + ": " + strerror(written < 0 ? errno : ENOSPC);
      close(descriptor);
      return false;
    }
    done += static_cast<size_t>(written);
  }
  if (close(descriptor) != 0) {
    *error = "cannot write " + path + ": " + strerror(errno);
    return false;
  }
  return true;
}

void Run_Inspection(const Job& job, File_Report* report, std::string* invoice_bytes) {
  Inspect_Request request;
  request.read_invoice_xml = job.command == Command::Inspect;
  request.keep_invoice_bytes = invoice_bytes != nullptr;
  Inspect_File(job.path, request, &report->inspection, invoice_bytes);
  report->has_inspection = true;
}

void Explain(const Job& job, File_Report* report) {
  if (report->result == ZUGF_RESULT_INVOICE) return;
  report->explanation = Explain_Verdict(report->result, report->inspection);
  if (job.any_flavour) report->other_flavour = Other_Flavour_Invoice(report->inspection);
}

// Closes every descriptor but the standard ones and the two pipes.
void Close_Inherited(int keep_job, int keep_result) {
  DIR* folder = opendir("/proc/self/fd");
  if (folder == nullptr) return;
  std::vector<int> descriptors;
  while (dirent* entry = readdir(folder)) {
    if (entry->d_name[0] < '0' || entry->d_name[0] > '9') continue;
    const int descriptor = atoi(entry->d_name);
    if (descriptor > 2 && descriptor != keep_job && descriptor != keep_result && descriptor != dirfd(folder)) {
      descriptors.push_back(descriptor);
    }
  }
  closedir(folder);
  for (int descriptor : descriptors) close(descriptor);
}

}  // namespace

void Note_Allocation_Failure() {
  if (allocation_failed) return;
  allocation_failed = 1;
  if (result_descriptor < 0) return;
  const std::string& notice = Allocation_Notice();
  // Nothing else is being written at this moment: frames go out only between
  // library calls. A failed write changes nothing.
  ssize_t ignored = write(result_descriptor, notice.data(), notice.size());
  (void)ignored;
}

void Run_Job(const Job& job, File_Report* report, const std::function<void(const File_Report&)>& publish) {
  switch (job.command) {
    case Command::Check: {
      report->result = ZUGF_Check_Zugferd(job.path.c_str());
      report->has_result = true;
      // Only a file refused with -2 can be an e-invoice of another flavour.
      const bool other = job.any_flavour && report->result == ZUGF_RESULT_NOT_INVOICE;
      if (report->result != ZUGF_RESULT_INVOICE && (job.explain || other)) {
        publish(*report);
        Run_Inspection(job, report, nullptr);
        Explain(job, report);
      }
      break;
    }
    case Command::Extract: {
      report->result = ZUGF_Extract_Zugferd(job.path.c_str(), job.temp_output.c_str());
      report->has_result = true;
      report->written = report->result == ZUGF_RESULT_INVOICE;
      const bool other = job.any_flavour && report->result == ZUGF_RESULT_NOT_INVOICE;
      if (report->result != ZUGF_RESULT_INVOICE && (job.explain || other)) {
        publish(*report);
        std::string bytes;
        Run_Inspection(job, report, other ? &bytes : nullptr);
        Explain(job, report);
        if (!report->other_flavour.empty()) {
          std::string error;
          if (Write_Output(job.temp_output, bytes, &error)) {
            report->written = true;
            report->written_member = report->inspection.document_file_name.value;
          } else {
            report->status = Status::Error;
            report->reason = error;
          }
        }
      }
      break;
    }
    case Command::Serve:
      break;
    case Command::Inspect: {
      Run_Inspection(job, report, nullptr);
      publish(*report);
      report->result = ZUGF_Check_Zugferd(job.path.c_str());
      report->has_result = true;
      Explain(job, report);
      break;
    }
  }
  if (report->result == ZUGF_RESULT_OUT_OF_MEMORY && report->status == Status::Ok) {
    report->status = Status::Out_Of_Memory;
    report->reason = "the library ran out of memory";
  }
}

[[noreturn]] void Worker_Main(int job_descriptor, int result_descriptor_in, uint64_t memory_limit) {
  result_descriptor = result_descriptor_in;
  Close_Inherited(job_descriptor, result_descriptor);
  Allocation_Notice();
  signal(SIGINT, SIG_IGN);  // the parent decides what an interruption ends
  signal(SIGPIPE, SIG_IGN);
  Limit_Resources(memory_limit);
  std::set_new_handler(On_New_Failure);

  for (;;) {
    Frame_Type type = Frame_Type::Job;
    std::string payload;
    Job job;
    if (!Read_Frame(job_descriptor, &type, &payload) || type != Frame_Type::Job || !Decode_Job(payload, &job)) {
      _exit(0);
    }
    allocation_failed = 0;
    File_Report report;
    bool retire = false;
    auto publish = [](const File_Report& so_far) {
      if (!Write_Frame(result_descriptor, Frame_Type::Partial, Encode_Report(so_far))) _exit(0);
    };
    try {
      Run_Job(job, &report, publish);
    } catch (const std::bad_alloc&) {
      report.status = Status::Out_Of_Memory;
      report.reason = "an allocation failed under the memory limit";
      retire = true;
    } catch (const std::exception& thrown) {
      report.status = Status::Crashed;
      report.reason = Type_Name(typeid(thrown)) + " thrown through the library's entry point: " + thrown.what();
      retire = true;
    } catch (...) {
      report.status = Status::Crashed;
      report.reason = "an exception of unknown type thrown through the library's entry point";
      retire = true;
    }
    if (allocation_failed && report.status != Status::Out_Of_Memory) {
      report.status = Status::Out_Of_Memory;
      report.reason = "an allocation failed under the memory limit";
    }
    if (allocation_failed) retire = true;
    const Frame_Type final_type = retire ? Frame_Type::Final_Retiring : Frame_Type::Final;
    if (!Write_Frame(result_descriptor, final_type, Encode_Report(report)) || retire) _exit(0);
  }
}

}  // namespace tool
