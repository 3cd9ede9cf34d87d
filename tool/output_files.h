// The files that extract writes: a temporary file beside the final name, and
// its rename into place once complete, never over an existing file unless
// asked to.
#ifndef INVOICE_EXTRACT_TOOL_OUTPUT_FILES_H
#define INVOICE_EXTRACT_TOOL_OUTPUT_FILES_H

#include <string>

namespace tool {

// Creates the folder and any missing parents. "" on success, else the reason.
std::string Make_Folder(const std::string& path);

// Creates an empty, new temporary file in the folder of final_path, named
// "." + its name + "." + six random characters, with the permissions an
// ordinary new file gets. "" on success (the name in *temp_path), else the
// reason.
std::string Make_Temp_File(const std::string& final_path, std::string* temp_path);

// Renames temp_path to final_path; without replace, fails when final_path
// exists. The temporary file is gone afterwards either way. "" on success,
// else the reason.
std::string Commit_File(const std::string& temp_path, const std::string& final_path, bool replace);

}  // namespace tool

#endif
