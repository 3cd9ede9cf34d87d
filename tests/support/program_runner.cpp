#include "support/program_runner.h"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

extern char** environ;

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

Program_Run Run_Program(const std::string& program, const std::vector<std::string>& arguments, const std::string& input,
                        const std::vector<std::string>& environment) {
  Program_Run run;
  int in_pipe[2], out_pipe[2], err_pipe[2];
  if (pipe2(in_pipe, O_CLOEXEC) != 0) return run;
  if (pipe2(out_pipe, O_CLOEXEC) != 0 || pipe2(err_pipe, O_CLOEXEC) != 0) return run;

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, in_pipe[0], 0);
  posix_spawn_file_actions_adddup2(&actions, out_pipe[1], 1);
  posix_spawn_file_actions_adddup2(&actions, err_pipe[1], 2);
  std::vector<char*> argv;
  argv.push_back(const_cast<char*>(program.c_str()));
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  const std::vector<std::string> variables = Environment_With(environment);
  std::vector<char*> envp;
  for (const std::string& variable : variables) envp.push_back(const_cast<char*>(variable.c_str()));
  envp.push_back(nullptr);
  pid_t pid = 0;
  int spawned = posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), envp.data());
  posix_spawn_file_actions_destroy(&actions);
  close(in_pipe[0]);
  close(out_pipe[1]);
  close(err_pipe[1]);
  if (spawned != 0) {
    close(in_pipe[1]);
    close(out_pipe[0]);
    close(err_pipe[0]);
    return run;
  }
  run.started = true;

  // Standard input is written while both outputs are read, so that no side
  // waits for the other.
  signal(SIGPIPE, SIG_IGN);
  int input_fd = in_pipe[1];
  size_t written = 0;
  if (input.empty()) {
    close(input_fd);
    input_fd = -1;
  } else {
    fcntl(input_fd, F_SETFL, fcntl(input_fd, F_GETFL) | O_NONBLOCK);
  }
  int output_fds[2] = {out_pipe[0], err_pipe[0]};
  std::string* sinks[2] = {&run.out, &run.err};
  while (output_fds[0] >= 0 || output_fds[1] >= 0) {
    pollfd watched[3];
    int count = 0;
    int owners[3];
    for (int i = 0; i < 2; ++i) {
      if (output_fds[i] < 0) continue;
      watched[count] = pollfd{output_fds[i], POLLIN, 0};
      owners[count++] = i;
    }
    if (input_fd >= 0) {
      watched[count] = pollfd{input_fd, POLLOUT, 0};
      owners[count++] = 2;
    }
    if (poll(watched, count, -1) < 0) {
      if (errno == EINTR) continue;
      break;
    }
    for (int k = 0; k < count; ++k) {
      if (watched[k].revents == 0) continue;
      if (owners[k] == 2) {
        ssize_t n = write(input_fd, input.data() + written, input.size() - written);
        if (n > 0) written += static_cast<size_t>(n);
        if (n < 0 && errno != EAGAIN && errno != EINTR) written = input.size();
        if (written == input.size()) {
          close(input_fd);
          input_fd = -1;
        }
        continue;
      }
      char buffer[65536];
      ssize_t n = read(output_fds[owners[k]], buffer, sizeof(buffer));
      if (n > 0) {
        sinks[owners[k]]->append(buffer, static_cast<size_t>(n));
      } else if (n == 0 || (errno != EINTR && errno != EAGAIN)) {
        close(output_fds[owners[k]]);
        output_fds[owners[k]] = -1;
      }
    }
  }
  if (input_fd >= 0) close(input_fd);
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  run.exit_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
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
