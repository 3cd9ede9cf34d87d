// Runs a program as a child process with given standard input, and collects
// its standard output, standard error and exit status.
#ifndef INVOICE_EXTRACT_PROGRAM_RUNNER_H
#define INVOICE_EXTRACT_PROGRAM_RUNNER_H

#include <string>
#include <vector>

struct Program_Run {
  int exit_status = -1;  // the exit status, or 128 + signal number
  std::string out;
  std::string err;
};

// Runs program with arguments (argv[0] is the program path), feeding input
// on its standard input, in the current working directory. environment
// holds "NAME=value" entries that are added to this process's environment
// (replacing an entry of the same name).
Program_Run Run_Program(const std::string& program, const std::vector<std::string>& arguments,
                        const std::string& input = "", const std::vector<std::string>& environment = {});

// A new empty folder below the temporary folder; removed (with everything
// in it) by Remove_Tree.
std::string Make_Temp_Folder(const std::string& name);
void Remove_Tree(const std::string& path);

// The names in a folder, sorted, without "." and "..".
std::vector<std::string> Folder_Names(const std::string& path);

#endif
