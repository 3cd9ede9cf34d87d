// The files of a run: named on the command line, found in folders, or listed
// on standard input; and the names of their output files.
#ifndef INVOICE_EXTRACT_TOOL_PATHS_H
#define INVOICE_EXTRACT_TOOL_PATHS_H

#include <cstdio>
#include <string>
#include <vector>

namespace tool {

struct Gathered {
  std::vector<std::string> files;     // in the order given; folders in sorted order
  std::vector<std::string> problems;  // folders that could not be read, with the reason
};

// Expands each argument: "-" stands for the list read from list_input (lines,
// or NUL-separated entries with null_separated), a folder for the files below
// it whose names end in ".pdf" in any case (sorted, symbolic links to folders
// not followed), anything else for itself, whether it exists or not.
// Entries of the list are expanded the same way. Empty entries and a "\r"
// before a line end are dropped.
Gathered Gather_Files(const std::vector<std::string>& arguments, bool null_separated, FILE* list_input);

// Splits a list into its entries.
std::vector<std::string> Split_List(const std::string& text, bool null_separated);

// Whether a file name ends in ".pdf", in any case.
bool Has_Pdf_Suffix(const std::string& name);

// The output file's name for a PDF: its last component without ".pdf" (in any
// case), followed by ".xml".
std::string Output_File_Name(const std::string& pdf_path);

// dir and name joined with one "/".
std::string Join_Path(const std::string& dir, const std::string& name);

}  // namespace tool

#endif
