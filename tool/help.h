// The manual, written once and printed two ways: as text for --help, and as
// a man page (troff), which the build makes from the tool itself.
#ifndef INVOICE_EXTRACT_TOOL_HELP_H
#define INVOICE_EXTRACT_TOOL_HELP_H

#include <string>

namespace tool {

std::string Manual_Text();
std::string Manual_Troff();

// The short reminder that follows a usage error.
std::string Usage_Text();

}  // namespace tool

#endif
