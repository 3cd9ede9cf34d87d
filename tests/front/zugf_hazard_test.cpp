// The hazards that the library keeps on hostile input, each pinned in a child
// process: a Prev chain that loops runs until killed, deep nesting and a Kids
// cycle exhaust the stack, and an empty pdfaid conformance throws through the
// C entry point. A Flate bomb, which once grew until allocation failed, now
// stops at the ceiling on a stream's decoded size, in the process itself.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <functional>
#include <stdexcept>
#include <string>

#include "invoice_extract.h"
#include "support/hazard_pdfs.h"
#include "support/invoice_builder.h"
#include "support/pdf_builder.h"
#include "support/test_objects.h"

#if defined(__SANITIZE_ADDRESS__)
#define HAZARD_UNDER_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define HAZARD_UNDER_ASAN 1
#endif
#endif
#ifndef HAZARD_UNDER_ASAN
#define HAZARD_UNDER_ASAN 0
#endif

namespace {

// Exit codes of the child for the outcomes of a call.
const int kReturned = 10;       // the call returned (its result follows in the low bits)
const int kOutOfRange = 3;      // std::out_of_range left the call
const int kOtherException = 4;  // anything else left the call
const int kStackExhausted = 5;  // a fault far below the child's first frame

// Where the child's stack stood when its body began.
uintptr_t child_stack_start = 0;

// A segmentation fault more than 6 MiB below the start of the body, of the
// 8 MiB that the child's stack may take, is the stack running out; any other
// fault goes on to the default action.
void On_Segmentation_Fault(int, siginfo_t* info, void*) {
  uintptr_t fault = reinterpret_cast<uintptr_t>(info->si_addr);
  if (fault < child_stack_start && child_stack_start - fault > (6u << 20)) _exit(kStackExhausted);
  signal(SIGSEGV, SIG_DFL);
}

// Catches the fault of an exhausted stack on a stack of its own.
void Watch_For_Stack_Exhaustion() {
  static char alternate[1 << 16];
  stack_t stack = {};
  stack.ss_sp = alternate;
  stack.ss_size = sizeof(alternate);
  sigaltstack(&stack, nullptr);
  struct sigaction action = {};
  action.sa_sigaction = On_Segmentation_Fault;
  action.sa_flags = SA_SIGINFO | SA_ONSTACK;
  sigaction(SIGSEGV, &action, nullptr);
  char here = 0;
  child_stack_start = reinterpret_cast<uintptr_t>(&here);
}

struct Child_End {
  bool signalled;
  int signal;          // when signalled
  int exit_code;       // otherwise
  std::string errors;  // what the child wrote to its standard error
};

// Runs body in a forked child with its standard error in a pipe, an alarm
// after alarm_seconds and an 8 MiB stack; body's value is the exit code.
Child_End Run_Child(unsigned alarm_seconds, const std::function<int()>& body) {
  int pipe_ends[2];
  if (pipe(pipe_ends) != 0) return {false, 0, -1, "pipe failed"};
  fflush(nullptr);
  pid_t child = fork();
  if (child == 0) {
    close(pipe_ends[0]);
    dup2(pipe_ends[1], 2);
    rlimit stack = {8u << 20, RLIM_INFINITY};
    getrlimit(RLIMIT_STACK, &stack);
    stack.rlim_cur = 8u << 20;
    setrlimit(RLIMIT_STACK, &stack);
    alarm(alarm_seconds);
    _exit(body());
  }
  close(pipe_ends[1]);
  std::string errors;
  char buffer[4096];
  ssize_t count;
  while ((count = read(pipe_ends[0], buffer, sizeof(buffer))) > 0) errors.append(buffer, static_cast<size_t>(count));
  close(pipe_ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (WIFSIGNALED(status)) return {true, WTERMSIG(status), 0, errors};
  return {false, 0, WEXITSTATUS(status), errors};
}

// An exported call in the child: its result, or what left it.
int Call_In_Child(const std::function<int32_t()>& call) {
  try {
    int32_t result = call();
    return kReturned + (result < 0 ? -result : result) % 100;
  } catch (const std::out_of_range&) {
    return kOutOfRange;
  } catch (...) {
    return kOtherException;
  }
}

typedef Memory_Fixture Hazard;

TEST_F(Hazard, PrevCycleRunsUntilStopped) {
  const std::string pdf = Temp_File("prev-cycle.pdf", Hazard_Prev_Cycle_Pdf());
  Child_End end = Run_Child(3, [&] { return Call_In_Child([&] { return ZUGF_Check_Zugferd(pdf.c_str()); }); });
  EXPECT_TRUE(end.signalled && end.signal == SIGALRM)
      << "the walk must still be running after 3 s; exit " << end.exit_code << "\n"
      << end.errors;
}

// The check ends with its stack exhausted: a fault deep below its first
// frame, or AddressSanitizer's report of a stack overflow (AddressSanitizer
// keeps the fault handler to itself).
TEST_F(Hazard, DeepNestingAndAKidsCycleExhaustTheStack) {
  for (const std::string& bytes : {Hazard_Deep_Nesting_Pdf(1000000), Hazard_Kids_Cycle_Pdf()}) {
    const std::string pdf = Temp_File("recursion.pdf", bytes);
    Child_End end = Run_Child(120, [&] {
      if (!HAZARD_UNDER_ASAN) Watch_For_Stack_Exhaustion();
      return Call_In_Child([&] { return ZUGF_Check_Zugferd(pdf.c_str()); });
    });
    if (HAZARD_UNDER_ASAN) {
      EXPECT_NE(end.errors.find("stack-overflow"), std::string::npos) << end.errors.substr(0, 2000);
    } else {
      EXPECT_TRUE(!end.signalled && end.exit_code == kStackExhausted)
          << "signal " << end.signal << ", exit " << end.exit_code << "\n"
          << end.errors.substr(0, 2000);
    }
  }
}

TEST_F(Hazard, EmptyConformanceThrowsThroughBothEntryPoints) {
  const std::string pdf = Temp_File("empty-conformance.pdf", Hazard_Empty_Conformance_Pdf());
  const std::string xml = Test_Temp_Path("empty-conformance.xml");
  for (bool extract : {false, true}) {
    Child_End end = Run_Child(60, [&] {
      return Call_In_Child(
          [&] { return extract ? ZUGF_Extract_Zugferd(pdf.c_str(), xml.c_str()) : ZUGF_Check_Zugferd(pdf.c_str()); });
    });
    EXPECT_TRUE(!end.signalled && end.exit_code == kOutOfRange) << end.exit_code << end.errors;
  }
  std::string written;
  EXPECT_FALSE(Test_Read_File(xml, &written)) << "nothing is written before the level query";
}

TEST_F(Hazard, FlateBombFailsLikeCutFlateData) {
  // 1 GiB of zeros in about 1 MB: checking decodes nothing, and extracting
  // stops at the ceiling with the answer for damaged data in that place.
  const std::string bomb = Temp_File("flate-bomb.pdf", Hazard_Flate_Bomb_Pdf(uint64_t{1} << 30));
  Invoice_Options options;
  options.embedded_entries = " /Filter /FlateDecode";
  options.embedded_data = Hazard_Flate_Zeros(uint64_t{1} << 20).substr(0, 600);
  const std::string cut = Temp_File("flate-cut.pdf", Invoice_Build_Pdf(options));
  const std::string xml = Test_Temp_Path("flate-bomb.xml");
  EXPECT_EQ(ZUGF_Check_Zugferd(bomb.c_str()), ZUGF_RESULT_INVOICE);
  EXPECT_EQ(ZUGF_Extract_Zugferd(cut.c_str(), xml.c_str()), ZUGF_RESULT_EXTRACT_FAILED);
  EXPECT_EQ(ZUGF_Extract_Zugferd(bomb.c_str(), xml.c_str()), ZUGF_RESULT_EXTRACT_FAILED);
  std::string written;
  EXPECT_FALSE(Test_Read_File(xml, &written)) << "nothing is written";
}

}  // namespace
