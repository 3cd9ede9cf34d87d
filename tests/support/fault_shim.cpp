// A fault injector for the tests of the tool and the service, loaded into
// invoice-extract with LD_PRELOAD. The name of an input file chooses what a
// worker does when the library opens it for reading, so that the tool's
// containment is tested without relying on any weakness of the library:
//
//   hang-*    never returns
//   crash-*   aborts (SIGABRT)
//   exit-*    leaves at once with _exit(7)
//   throw-*   throws std::runtime_error out of fopen, through the library
//   oom-*     allocates until an allocation fails under the worker's memory
//             limit, frees it all and throws std::bad_alloc, as operator new
//             would; the worker answers out-of-memory and retires
//   retire-*  as oom-*, but only once the parent sits in the preparation of
//             the next job (see below)
//
// A file whose content starts with "%fault-shim: " and one of these words
// (say "%fault-shim: hang") acts the same whatever its name: the service
// names its uploads itself.
//
// Any other file is opened as usual, as are files opened for writing.
//
// The retiring race: a worker that retires writes its last answer and
// leaves. The parent, which has not read that answer yet, hands the worker
// its next job, and the write fails on the closed pipe. To make this certain
// instead of likely, the parent's access() of an output path whose name
// starts with "after-retire-" (extract checks whether the output exists
// while it prepares a job) waits until the retire-* worker has answered and
// is gone. The two sides meet in the folder that FAULT_SHIM_FOLDER names.
#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

std::string Base_Name(const char* path) {
  const char* slash = strrchr(path, '/');
  return slash != nullptr ? slash + 1 : path;
}

bool Starts_With(const std::string& text, const char* prefix) { return text.compare(0, strlen(prefix), prefix) == 0; }

std::string Meeting_Folder() {
  const char* folder = getenv("FAULT_SHIM_FOLDER");
  return folder != nullptr ? folder : "/tmp";
}

bool Exists(const std::string& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0;
}

// Waits up to 20 s for the condition; the test fails on its own if the
// other side never comes.
template <typename Condition>
void Wait_For(Condition condition) {
  const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!condition() && std::chrono::steady_clock::now() < give_up) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

// The state letter of a process from /proc/PID/stat ('Z' for a zombie).
char Process_State(const std::string& pid) {
  std::ifstream stat_file("/proc/" + pid + "/stat");
  std::string text((std::istreambuf_iterator<char>(stat_file)), std::istreambuf_iterator<char>());
  const size_t paren = text.rfind(')');
  return paren == std::string::npos || paren + 2 >= text.size() ? '?' : text[paren + 2];
}

[[noreturn]] void Exhaust_Memory() {
  struct rlimit space;
  std::vector<void*> blocks;
  if (getrlimit(RLIMIT_AS, &space) == 0 && space.rlim_cur != RLIM_INFINITY) {
    // With malloc, which gives null under the limit also in a build with
    // AddressSanitizer (allocator_may_return_null=1); its operator new
    // reports and dies instead.
    while (void* block = malloc(16u << 20)) blocks.push_back(block);
  }
  for (void* block : blocks) free(block);
  throw std::bad_alloc();
}

void Retire_Once_The_Parent_Waits() {
  const std::string folder = Meeting_Folder();
  Wait_For([&] { return Exists(folder + "/parent-waits"); });
  {
    std::ofstream pid_file(folder + "/worker.pid.tmp");
    pid_file << getpid();
  }
  rename((folder + "/worker.pid.tmp").c_str(), (folder + "/worker.pid").c_str());
  Exhaust_Memory();
}

// Acts on a file opened for reading; returns only for files without a marker.
// (The exported calls open their input with fopen; the tool's inspection
// opens it with open, which is left alone.)
// The marker in the first bytes of the file, as a name prefix ("hang-"), or
// the file's name.
std::string Marked_Name(const char* path) {
  const int descriptor = open(path, O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) return Base_Name(path);
  char head[40] = {};
  const ssize_t got = read(descriptor, head, sizeof(head) - 1);
  close(descriptor);
  const char kMarker[] = "%fault-shim: ";
  if (got <= 0 || strncmp(head, kMarker, sizeof(kMarker) - 1) != 0) return Base_Name(path);
  std::string word = head + sizeof(kMarker) - 1;
  return word.substr(0, word.find_first_of("\r\n ")) + "-";
}

void Act_On(const char* path) {
  const std::string name = Marked_Name(path);
  if (Starts_With(name, "hang-")) {
    for (;;) pause();
  }
  if (Starts_With(name, "crash-")) abort();
  if (Starts_With(name, "exit-")) _exit(7);
  if (Starts_With(name, "throw-")) throw std::runtime_error("the fault shim threw on " + name);
  if (Starts_With(name, "oom-")) Exhaust_Memory();
  if (Starts_With(name, "retire-")) Retire_Once_The_Parent_Waits();
}

template <typename Function>
Function Next(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

FILE* fopen(const char* path, const char* mode) {
  if (path != nullptr && mode != nullptr && mode[0] == 'r') Act_On(path);
  static auto real = Next<FILE* (*)(const char*, const char*)>("fopen");
  return real(path, mode);
}

FILE* fopen64(const char* path, const char* mode) {
  if (path != nullptr && mode != nullptr && mode[0] == 'r') Act_On(path);
  static auto real = Next<FILE* (*)(const char*, const char*)>("fopen64");
  return real(path, mode);
}

int access(const char* path, int mode) noexcept {
  if (Starts_With(Base_Name(path), "after-retire-")) {
    const std::string folder = Meeting_Folder();
    std::ofstream(folder + "/parent-waits").put('\n');
    Wait_For([&] { return Exists(folder + "/worker.pid"); });
    std::ifstream pid_file(folder + "/worker.pid");
    std::string pid;
    pid_file >> pid;
    // A zombie has written everything it ever will. (When the job is
    // prepared again for the next worker, the process is long gone.)
    Wait_For([&] {
      const char state = Process_State(pid);
      return state == 'Z' || state == '?';
    });
  }
  static auto real = Next<int (*)(const char*, int)>("access");
  return real(path, mode);
}

}  // extern "C"
