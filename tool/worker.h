// The worker side: a process that takes jobs from a pipe, runs the library on
// each file and answers with a report. Everything that one hostile file can do
// to a process (loop, overflow the stack, throw, exhaust memory) happens here
// and not in the parent.
#ifndef INVOICE_EXTRACT_TOOL_WORKER_H
#define INVOICE_EXTRACT_TOOL_WORKER_H

#include <cstdint>
#include <functional>

#include "job.h"
#include "report.h"

namespace tool {

// Runs one job, filling *report as it goes. publish() receives the report as
// it stands before each step that might not come back, so that a worker that
// dies still leaves what it had found. May throw what the library throws.
void Run_Job(const Job& job, File_Report* report, const std::function<void(const File_Report&)>& publish);

// The worker's loop: reads jobs from job_descriptor until it closes, answers
// on result_descriptor. Every other descriptor but the standard ones is
// closed first (a worker holds no connection of the service). Address space is limited to what the process has
// mapped at start plus memory_limit bytes (0: no limit). Leaves with _exit:
// at end of input, and after a file that threw or ran out of memory, so that
// no state of that file outlives it.
[[noreturn]] void Worker_Main(int job_descriptor, int result_descriptor, uint64_t memory_limit);

// invoice-extract --worker JOB_FD RESULT_FD MEMORY_LIMIT: a worker started
// by exec (Pool_Settings::worker_program); main calls Worker_Main with these.
constexpr const char* kWorker_Argument = "--worker";

// Called by the allocation hooks when an allocation fails: tells the parent
// at once, so that a worker that dies afterwards counts as out of memory.
void Note_Allocation_Failure();

}  // namespace tool

#endif
