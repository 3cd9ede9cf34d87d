#include "options.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace tool {

namespace {

enum : unsigned { kCheck = 1, kExtract = 2, kInspect = 4, kServe = 8, kAll = kCheck | kExtract | kInspect };

enum class Key {
  Output_Dir,
  Force,
  Any_Flavour,
  Explain,
  Json,
  Null,
  Jobs,
  Timeout,
  Memory_Limit,
  Progress_On,
  Progress_Off,
  Quiet,
  Help,
  Listen,
  Max_Size,
  Token_File,
  Queue,
};

struct Option_Entry {
  const char* long_name;
  char short_name;  // 0: none
  bool takes_value;
  unsigned commands;
  Key key;
};

const Option_Entry option_table[] = {
    {"output-dir", 'o', true, kExtract, Key::Output_Dir},
    {"force", 'f', false, kExtract, Key::Force},
    {"any-flavour", 'a', false, kAll, Key::Any_Flavour},
    {"any-flavor", 0, false, kAll, Key::Any_Flavour},
    {"explain", 'e', false, kCheck | kExtract, Key::Explain},
    {"json", 0, false, kAll, Key::Json},
    {"null", '0', false, kAll, Key::Null},
    {"jobs", 'j', true, kAll | kServe, Key::Jobs},
    {"timeout", 't', true, kAll | kServe, Key::Timeout},
    {"memory-limit", 'm', true, kAll | kServe, Key::Memory_Limit},
    {"progress", 0, false, kAll, Key::Progress_On},
    {"no-progress", 0, false, kAll, Key::Progress_Off},
    {"quiet", 'q', false, kAll, Key::Quiet},
    {"help", 'h', false, kAll | kServe, Key::Help},
    {"listen", 0, true, kServe, Key::Listen},
    {"max-size", 0, true, kServe, Key::Max_Size},
    {"token-file", 0, true, kServe, Key::Token_File},
    {"queue", 0, true, kServe, Key::Queue},
};

const char* Command_Name(Command command) {
  switch (command) {
    case Command::Check:
      return "check";
    case Command::Extract:
      return "extract";
    case Command::Inspect:
      return "inspect";
    case Command::Serve:
      return "serve";
  }
  return "";
}

unsigned Command_Bit(Command command) {
  switch (command) {
    case Command::Check:
      return kCheck;
    case Command::Extract:
      return kExtract;
    case Command::Inspect:
      return kInspect;
    case Command::Serve:
      return kServe;
  }
  return 0;
}

const Option_Entry* Find_Long(const std::string& name) {
  for (const Option_Entry& entry : option_table) {
    if (name == entry.long_name) return &entry;
  }
  return nullptr;
}

const Option_Entry* Find_Short(char name) {
  for (const Option_Entry& entry : option_table) {
    if (entry.short_name != 0 && entry.short_name == name) return &entry;
  }
  return nullptr;
}

std::string Shown(const Option_Entry& entry) { return std::string("--") + entry.long_name; }

// Applies one option; false with *error set for a bad value.
bool Apply(const Option_Entry& entry, const std::string& value, Parsed_Arguments* parsed, bool* help) {
  Options& options = parsed->options;
  switch (entry.key) {
    case Key::Output_Dir:
      if (value.empty()) {
        parsed->error = "--output-dir needs a folder";
        return false;
      }
      options.output_dir = value;
      return true;
    case Key::Force:
      options.force = true;
      return true;
    case Key::Any_Flavour:
      options.any_flavour = true;
      return true;
    case Key::Explain:
      options.explain = true;
      return true;
    case Key::Json:
      options.json = true;
      return true;
    case Key::Null:
      options.null_separated = true;
      return true;
    case Key::Jobs: {
      char* end = nullptr;
      errno = 0;
      long jobs = strtol(value.c_str(), &end, 10);
      if (value.empty() || *end != '\0' || errno != 0 || jobs < 1 || jobs > 1024) {
        parsed->error = "--jobs wants a whole number from 1 to 1024, not \"" + value + "\"";
        return false;
      }
      options.jobs = static_cast<unsigned>(jobs);
      return true;
    }
    case Key::Timeout:
      if (!Parse_Seconds(value, &options.timeout_seconds)) {
        parsed->error = "--timeout wants seconds (e.g. 30 or 2.5; 0 for none), not \"" + value + "\"";
        return false;
      }
      return true;
    case Key::Memory_Limit:
      if (!Parse_Size(value, &options.memory_limit)) {
        parsed->error = "--memory-limit wants a size (e.g. 512M or 2G; 0 or none for no limit), not \"" + value + "\"";
        return false;
      }
      return true;
    case Key::Progress_On:
      options.progress = Progress::On;
      return true;
    case Key::Progress_Off:
      options.progress = Progress::Off;
      return true;
    case Key::Quiet:
      options.quiet = true;
      return true;
    case Key::Help:
      *help = true;
      return true;
    case Key::Listen: {
      const size_t colon = value.rfind(':');
      if (colon == std::string::npos || colon == 0 || colon + 1 == value.size() ||
          value.find_first_not_of("0123456789", colon + 1) != std::string::npos ||
          strtol(value.c_str() + colon + 1, nullptr, 10) > 65535) {
        parsed->error = "--listen wants HOST:PORT (e.g. 127.0.0.1:8080, [::1]:0), not \"" + value + "\"";
        return false;
      }
      options.listen = value;
      return true;
    }
    case Key::Max_Size:
      if (!Parse_Size(value, &options.max_size) || options.max_size == 0) {
        parsed->error = "--max-size wants a size (e.g. 64M), not \"" + value + "\"";
        return false;
      }
      return true;
    case Key::Token_File:
      if (value.empty()) {
        parsed->error = "--token-file needs a file";
        return false;
      }
      options.token_file = value;
      return true;
    case Key::Queue: {
      char* end = nullptr;
      errno = 0;
      long queue = strtol(value.c_str(), &end, 10);
      if (value.empty() || *end != '\0' || errno != 0 || queue < 0 || queue > 100000) {
        parsed->error = "--queue wants a whole number from 0 to 100000, not \"" + value + "\"";
        return false;
      }
      options.queue = static_cast<unsigned>(queue);
      return true;
    }
  }
  return true;
}

bool Allowed(const Option_Entry& entry, Parsed_Arguments* parsed) {
  if (entry.commands & Command_Bit(parsed->options.command)) return true;
  parsed->error = Shown(entry) + " does not apply to " + Command_Name(parsed->options.command);
  return false;
}

}  // namespace

bool Parse_Size(const std::string& text, uint64_t* bytes) {
  if (text == "none" || text == "unlimited") {
    *bytes = 0;
    return true;
  }
  char* end = nullptr;
  errno = 0;
  double number = strtod(text.c_str(), &end);
  if (text.empty() || end == text.c_str() || errno != 0 || !(number >= 0) || !std::isfinite(number)) return false;
  std::string unit = end;
  if (unit.size() == 3 && (unit.compare(1, 2, "iB") == 0)) unit.resize(1);
  if (unit.size() == 2 && unit[1] == 'B') unit.resize(1);
  double scale = 1;
  if (unit.empty() || unit == "B") {
    scale = 1;
  } else if (unit == "K" || unit == "k") {
    scale = 1024.0;
  } else if (unit == "M" || unit == "m") {
    scale = 1024.0 * 1024;
  } else if (unit == "G" || unit == "g") {
    scale = 1024.0 * 1024 * 1024;
  } else if (unit == "T" || unit == "t") {
    scale = 1024.0 * 1024 * 1024 * 1024;
  } else {
    return false;
  }
  double value = std::floor(number * scale);
  if (value > 1.8e19) return false;
  *bytes = static_cast<uint64_t>(value);
  return true;
}

bool Parse_Seconds(const std::string& text, double* seconds) {
  std::string number = text;
  if (!number.empty() && number.back() == 's') number.pop_back();
  char* end = nullptr;
  errno = 0;
  double value = strtod(number.c_str(), &end);
  if (number.empty() || *end != '\0' || errno != 0 || !(value >= 0) || value > 1e7) return false;
  *seconds = value;
  return true;
}

Parsed_Arguments Parse_Arguments(const std::vector<std::string>& arguments) {
  Parsed_Arguments parsed;
  if (arguments.empty()) {
    parsed.error = "no command given";
    return parsed;
  }
  const std::string& first = arguments[0];
  if (first == "--help" || first == "-h" || first == "help") {
    parsed.outcome = Parse_Outcome::Help;
    return parsed;
  }
  if (first == "--version") {
    parsed.outcome = Parse_Outcome::Version;
    return parsed;
  }
  if (first == "--manual-troff") {
    parsed.outcome = Parse_Outcome::Manual_Troff;
    return parsed;
  }
  if (first == "check") {
    parsed.options.command = Command::Check;
  } else if (first == "extract") {
    parsed.options.command = Command::Extract;
  } else if (first == "inspect") {
    parsed.options.command = Command::Inspect;
  } else if (first == "serve") {
    parsed.options.command = Command::Serve;
  } else {
    parsed.error = "unknown command \"" + first + "\" (commands: check, extract, inspect, serve)";
    return parsed;
  }

  bool help = false;
  bool only_paths = false;
  for (size_t i = 1; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    if (only_paths || argument == "-" || argument.empty() || argument[0] != '-') {
      parsed.options.paths.push_back(argument);
      continue;
    }
    if (argument == "--") {
      only_paths = true;
      continue;
    }
    if (argument.compare(0, 2, "--") == 0) {
      size_t equals = argument.find('=');
      std::string name = argument.substr(2, equals == std::string::npos ? std::string::npos : equals - 2);
      const Option_Entry* entry = Find_Long(name);
      if (entry == nullptr) {
        parsed.error = "unknown option --" + name;
        return parsed;
      }
      if (!Allowed(*entry, &parsed)) return parsed;
      std::string value;
      if (entry->takes_value) {
        if (equals != std::string::npos) {
          value = argument.substr(equals + 1);
        } else if (i + 1 < arguments.size()) {
          value = arguments[++i];
        } else {
          parsed.error = Shown(*entry) + " needs a value";
          return parsed;
        }
      } else if (equals != std::string::npos) {
        parsed.error = Shown(*entry) + " takes no value";
        return parsed;
      }
      if (!Apply(*entry, value, &parsed, &help)) return parsed;
      continue;
    }
    // A cluster of short options; one that takes a value ends it.
    for (size_t at = 1; at < argument.size(); ++at) {
      const Option_Entry* entry = Find_Short(argument[at]);
      if (entry == nullptr) {
        parsed.error = std::string("unknown option -") + argument[at];
        return parsed;
      }
      if (!Allowed(*entry, &parsed)) return parsed;
      std::string value;
      if (entry->takes_value) {
        if (at + 1 < argument.size()) {
          value = argument.substr(at + 1);
        } else if (i + 1 < arguments.size()) {
          value = arguments[++i];
        } else {
          parsed.error = Shown(*entry) + " needs a value";
          return parsed;
        }
        if (!Apply(*entry, value, &parsed, &help)) return parsed;
        break;
      }
      if (!Apply(*entry, value, &parsed, &help)) return parsed;
    }
  }

  if (help) {
    parsed.outcome = Parse_Outcome::Help;
    return parsed;
  }
  Options& options = parsed.options;
  if (options.command == Command::Serve) {
    if (!options.paths.empty()) {
      parsed.error = "serve takes no PATH; files come in HTTP requests";
      return parsed;
    }
    parsed.outcome = Parse_Outcome::Run;
    return parsed;
  }
  if (options.command == Command::Extract && options.output_dir.empty()) {
    parsed.error = "extract needs --output-dir DIR";
    return parsed;
  }
  if (options.paths.empty()) {
    parsed.error =
        std::string(Command_Name(options.command)) + " needs at least one PATH (a file, a folder, or - for a list)";
    return parsed;
  }
  size_t lists = 0;
  for (const std::string& path : options.paths) lists += path == "-" ? 1 : 0;
  if (lists > 1) {
    parsed.error = "standard input can be read as a list only once";
    return parsed;
  }
  parsed.outcome = Parse_Outcome::Run;
  return parsed;
}

}  // namespace tool
