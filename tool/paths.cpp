#include "paths.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace tool {

namespace {

void Walk_Folder(const std::string& folder, Gathered* out) {
  DIR* listing = opendir(folder.c_str());
  if (listing == nullptr) {
    out->problems.push_back(folder + ": " + strerror(errno));
    return;
  }
  std::vector<std::string> names;
  errno = 0;
  while (dirent* entry = readdir(listing)) {
    std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  if (errno != 0) out->problems.push_back(folder + ": " + strerror(errno));
  closedir(listing);
  std::sort(names.begin(), names.end());
  for (const std::string& name : names) {
    const std::string path = Join_Path(folder, name);
    struct stat link_status;
    if (lstat(path.c_str(), &link_status) != 0) continue;
    if (S_ISDIR(link_status.st_mode)) {
      Walk_Folder(path, out);
      continue;
    }
    if (!Has_Pdf_Suffix(name)) continue;
    // A link is taken when it leads to a file, never into a folder.
    struct stat target_status;
    if (S_ISLNK(link_status.st_mode) && (stat(path.c_str(), &target_status) != 0 || !S_ISREG(target_status.st_mode))) {
      continue;
    }
    if (S_ISREG(link_status.st_mode) || S_ISLNK(link_status.st_mode)) out->files.push_back(path);
  }
}

void Expand(const std::string& path, Gathered* out) {
  struct stat status;
  if (stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
    Walk_Folder(path, out);
  } else {
    out->files.push_back(path);
  }
}

std::string Read_All(FILE* input) {
  std::string text;
  char buffer[65536];
  size_t got = 0;
  while ((got = fread(buffer, 1, sizeof(buffer), input)) > 0) text.append(buffer, got);
  return text;
}

}  // namespace

std::vector<std::string> Split_List(const std::string& text, bool null_separated) {
  std::vector<std::string> entries;
  const char separator = null_separated ? '\0' : '\n';
  size_t start = 0;
  while (start <= text.size()) {
    size_t end = text.find(separator, start);
    if (end == std::string::npos) end = text.size();
    std::string entry = text.substr(start, end - start);
    if (!null_separated && !entry.empty() && entry.back() == '\r') entry.pop_back();
    if (!entry.empty()) entries.push_back(entry);
    start = end + 1;
  }
  return entries;
}

Gathered Gather_Files(const std::vector<std::string>& arguments, bool null_separated, FILE* list_input) {
  Gathered out;
  for (const std::string& argument : arguments) {
    if (argument != "-") {
      Expand(argument, &out);
      continue;
    }
    for (const std::string& entry : Split_List(Read_All(list_input), null_separated)) Expand(entry, &out);
  }
  return out;
}

bool Has_Pdf_Suffix(const std::string& name) {
  if (name.size() < 4) return false;
  std::string suffix = name.substr(name.size() - 4);
  for (char& c : suffix) c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
  return suffix == ".pdf";
}

std::string Output_File_Name(const std::string& pdf_path) {
  std::string name = pdf_path;
  while (name.size() > 1 && name.back() == '/') name.pop_back();
  size_t slash = name.rfind('/');
  if (slash != std::string::npos) name = name.substr(slash + 1);
  if (Has_Pdf_Suffix(name) && name.size() > 4) name.resize(name.size() - 4);
  return name + ".xml";
}

std::string Join_Path(const std::string& dir, const std::string& name) {
  if (dir.empty()) return name;
  if (dir.back() == '/') return dir + name;
  return dir + "/" + name;
}

}  // namespace tool
