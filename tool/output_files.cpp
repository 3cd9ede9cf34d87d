#include "output_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace tool {

namespace {

mode_t File_Mode() {
  static const mode_t mode = [] {
    mode_t mask = umask(0);
    umask(mask);
    return static_cast<mode_t>(0666 & ~mask);
  }();
  return mode;
}

}  // namespace

std::string Make_Folder(const std::string& path) {
  struct stat status;
  if (stat(path.c_str(), &status) == 0) {
    return S_ISDIR(status.st_mode) ? "" : path + ": " + strerror(ENOTDIR);
  }
  for (size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
    const std::string prefix = path.substr(0, slash);
    if (!prefix.empty() && mkdir(prefix.c_str(), 0777) != 0 && errno != EEXIST) {
      return prefix + ": " + strerror(errno);
    }
    if (slash == std::string::npos) break;
  }
  if (stat(path.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) return path + ": cannot be made a folder";
  return "";
}

std::string Make_Temp_File(const std::string& final_path, std::string* temp_path) {
  size_t slash = final_path.rfind('/');
  const std::string folder = slash == std::string::npos ? "" : final_path.substr(0, slash + 1);
  const std::string name = slash == std::string::npos ? final_path : final_path.substr(slash + 1);
  std::string pattern = folder + "." + name + ".XXXXXX";
  std::vector<char> buffer(pattern.begin(), pattern.end());
  buffer.push_back('\0');
  int descriptor = mkostemp(buffer.data(), O_CLOEXEC);
  if (descriptor < 0)
    return "cannot create a temporary file in " + (folder.empty() ? "." : folder) + ": " + strerror(errno);
  fchmod(descriptor, File_Mode());
  close(descriptor);
  *temp_path = buffer.data();
  return "";
}

std::string Commit_File(const std::string& temp_path, const std::string& final_path, bool replace) {
  std::string error;
  if (replace) {
    if (rename(temp_path.c_str(), final_path.c_str()) != 0) error = strerror(errno);
  } else if (renameat2(AT_FDCWD, temp_path.c_str(), AT_FDCWD, final_path.c_str(), RENAME_NOREPLACE) != 0) {
    if (errno == EEXIST) {
      error = "exists";
    } else if (errno == EINVAL || errno == ENOSYS) {
      // A file system without the no-replace rename: a hard link fails on an
      // existing name just the same.
      if (link(temp_path.c_str(), final_path.c_str()) != 0) error = errno == EEXIST ? "exists" : strerror(errno);
    } else {
      error = strerror(errno);
    }
  }
  unlink(temp_path.c_str());
  if (error == "exists") return final_path + " exists; --force replaces it";
  if (!error.empty()) return "cannot rename to " + final_path + ": " + error;
  return "";
}

}  // namespace tool
