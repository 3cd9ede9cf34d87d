// One file's work as the parent hands it to a worker, and the frames in which
// the two talk over their pipes.
#ifndef INVOICE_EXTRACT_TOOL_JOB_H
#define INVOICE_EXTRACT_TOOL_JOB_H

#include <cstdint>
#include <string>

namespace tool {

// Serve is never sent to a worker: a worker runs check, extract and inspect.
enum class Command : uint8_t { Check = 0, Extract = 1, Inspect = 2, Serve = 3 };

struct Job {
  Command command = Command::Check;
  bool explain = false;      // find the first failed check of a refused file
  bool any_flavour = false;  // accept (and extract) ZUGFeRD 2 and Factur-X invoices too
  std::string path;          // the PDF
  std::string temp_output;   // extract: where the XML goes before the parent renames it
};

std::string Encode_Job(const Job& job);
bool Decode_Job(const std::string& bytes, Job* job);

// A frame is a 32-bit length (of type and payload), a type byte, and the
// payload.
enum class Frame_Type : uint8_t {
  Job = 1,                // parent to worker: an encoded Job
  Partial = 2,            // worker to parent: the report so far, before a step that may not return
  Final = 3,              // worker to parent: the finished report
  Allocation_Failed = 4,  // worker to parent: an allocation failed (no payload)
  Final_Retiring = 5,     // worker to parent: the finished report, after which the worker leaves
};

// The bytes of one frame.
std::string Frame_Bytes(Frame_Type type, const std::string& payload);

// Writes a whole frame, retrying short writes and interruptions.
bool Write_Frame(int descriptor, Frame_Type type, const std::string& payload);

// Reads one whole frame, blocking. False at end of input or on a malformed
// frame.
bool Read_Frame(int descriptor, Frame_Type* type, std::string* payload);

// Takes the first whole frame off the front of bytes received so far. False
// when no whole frame is there yet; *malformed is set for a frame that no
// writer made.
bool Take_Frame(std::string* received, Frame_Type* type, std::string* payload, bool* malformed);

}  // namespace tool

#endif
