// What the tool prints: one human line (or, for inspect, a block) or one JSON
// object per file on standard output, the summary line and the progress bar
// on standard error.
#ifndef INVOICE_EXTRACT_TOOL_OUTPUT_H
#define INVOICE_EXTRACT_TOOL_OUTPUT_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

#include "options.h"
#include "report.h"

namespace tool {

// Everything the parent knows about one file once it is done.
struct File_Result {
  std::string path;
  std::string output_path;  // extract: DIR/NAME.xml
  bool output_written = false;
  File_Report report;
  double seconds = 0;
};

// Whether the file counts as an invoice for the exit status: processed, and
// a ZUGFeRD 1.0 invoice (with any_flavour, an e-invoice of another flavour
// too); for extract, its XML written as well.
bool Accepted(const File_Result& result, const Options& options);

std::string Human_Line(const File_Result& result, const Options& options);
std::string Inspect_Block(const File_Result& result);
std::string Json_Line(const File_Result& result, const Options& options);

// The text as a JSON string, quotes included. Bytes that are not UTF-8 become
// U+FFFD.
std::string Json_String(const std::string& text);

// The text with control characters written as \n, \t, \xNN, so that it
// cannot break a line.
std::string Printable(const std::string& text);

class Summary {
 public:
  void Add(const File_Result& result, bool accepted_other_flavour);
  // "14 files in 0.42 s: 6 ZUGFeRD invoice; 7 PDF/A-3, but no ZUGFeRD invoice
  // metadata; 1 timeout"
  std::string Line(double seconds) const;

 private:
  size_t files_ = 0;
  std::map<int32_t, size_t> verdicts_;
  size_t other_flavours_ = 0;
  std::map<Status, size_t> statuses_;
};

// A one-line bar on standard error, redrawn at most ten times a second.
class Progress_Bar {
 public:
  Progress_Bar(size_t total, bool enabled);
  void Update(size_t done, bool force = false);
  // Removes the bar from the line, before other output.
  void Clear();
  bool Enabled() const { return enabled_; }

 private:
  size_t total_;
  bool enabled_;
  size_t done_ = 0;
  bool shown_ = false;
  double started_;
  double drawn_ = -1;
};

}  // namespace tool

#endif
