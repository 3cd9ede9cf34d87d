// The command line: a command, options in any order among the paths, GNU
// style (-j4, -j 4, --jobs=4, --jobs 4, clustered short flags, "--" before
// paths that begin with "-").
#ifndef INVOICE_EXTRACT_TOOL_OPTIONS_H
#define INVOICE_EXTRACT_TOOL_OPTIONS_H

#include <cstdint>
#include <string>
#include <vector>

#include "job.h"

namespace tool {

enum class Progress { Automatic, On, Off };

struct Options {
  Command command = Command::Check;
  std::vector<std::string> paths;
  std::string output_dir;
  bool force = false;
  bool any_flavour = false;
  bool explain = false;
  bool json = false;
  bool null_separated = false;
  unsigned jobs = 0;                   // 0: one per processor
  double timeout_seconds = 30;         // 0: none
  uint64_t memory_limit = 1ull << 30;  // per worker; 0: none
  Progress progress = Progress::Automatic;
  bool quiet = false;
  // serve
  std::string listen = "127.0.0.1:8080";  // HOST:PORT; port 0 picks a free one
  uint64_t max_size = 64ull << 20;        // largest upload
  std::string token_file;                 // empty: no token asked for
  unsigned queue = 64;                    // requests that may wait for a worker
};

enum class Parse_Outcome {
  Run,
  Help,          // print the manual
  Manual_Troff,  // print the manual as a man page (used by the build)
  Version,
  Usage_Error,
};

struct Parsed_Arguments {
  Parse_Outcome outcome = Parse_Outcome::Usage_Error;
  Options options;
  std::string error;  // for Usage_Error
};

Parsed_Arguments Parse_Arguments(const std::vector<std::string>& arguments);

// "1073741824", "512K", "256M", "1G", "2GiB", "1.5G" (binary units); "0",
// "none" and "unlimited" mean no limit (0).
bool Parse_Size(const std::string& text, uint64_t* bytes);

// Seconds as a decimal number, optionally followed by "s"; 0 means none.
bool Parse_Seconds(const std::string& text, double* seconds);

}  // namespace tool

#endif
