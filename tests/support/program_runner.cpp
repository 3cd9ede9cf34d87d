#include "support/program_runner.h"

#include <dirent.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "support/pdf_builder.h"

extern char** environ;

namespace {

// This process's environment with the given "NAME=value" entries added or
// replacing those of the same name.
std::vector<std::string> Environment_With(const std::vector<std::string>& entries) {
  std::vector<std::string> result;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string text = *entry;
    const std::string name = text.substr(0, text.find('='));
    bool replaced = false;
    for (const std::string& added : entries) replaced = replaced || added.compare(0, name.size() + 1, name + "=") == 0;
    if (!replaced) result.push_back(text);
  }
  result.insert(result.end(), entries.begin(), entries.end());
  return result;
}

}  // namespace

// Standard input, output and error are files in a folder of the run's own,
// so that no side of a pipe can wait for the other.
Program_Run Run_Program(const std::string& program, const std::vector<std::string>& arguments, const std::string& input,
                        const std::vector<std::string>& environment) {
  Program_Run run;
  const std::string folder = Make_Temp_Folder("run");
  if (folder.empty() || !Test_Write_File(folder + "/in", input)) return run;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, (folder + "/in").c_str(), O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, (folder + "/out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_addopen(&actions, 2, (folder + "/err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  std::vector<char*> argv = {const_cast<char*>(program.c_str())};
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  const std::vector<std::string> variables = Environment_With(environment);
  std::vector<char*> envp;
  for (const std::string& variable : variables) envp.push_back(const_cast<char*>(variable.c_str()));
  envp.push_back(nullptr);
  pid_t pid = 0;
  const bool started = posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), envp.data()) == 0;
  posix_spawn_file_actions_destroy(&actions);
  int status = 0;
  while (started && waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  if (started) run.exit_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  Test_Read_File(folder + "/out", &run.out);
  Test_Read_File(folder + "/err", &run.err);
  Remove_Tree(folder);
  return run;
}

std::string Make_Temp_Folder(const std::string& name) {
  const char* base = getenv("TMPDIR");
  std::string pattern =
      std::string(base != nullptr && base[0] != '\0' ? base : "/tmp") + "/invoice_extract_" + name + "_XXXXXX";
  std::vector<char> buffer(pattern.begin(), pattern.end());
  buffer.push_back('\0');
  if (mkdtemp(buffer.data()) == nullptr) return "";
  return buffer.data();
}

void Remove_Tree(const std::string& path) {
  struct stat status;
  if (lstat(path.c_str(), &status) != 0) return;
  if (S_ISDIR(status.st_mode)) {
    for (const std::string& name : Folder_Names(path)) Remove_Tree(path + "/" + name);
    rmdir(path.c_str());
  } else {
    unlink(path.c_str());
  }
}

std::vector<std::string> Folder_Names(const std::string& path) {
  std::vector<std::string> names;
  DIR* folder = opendir(path.c_str());
  if (folder == nullptr) return names;
  while (dirent* entry = readdir(folder)) {
    std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  closedir(folder);
  std::sort(names.begin(), names.end());
  return names;
}
