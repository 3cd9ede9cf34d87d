// invoice-extract serve: an HTTP service over the worker pool, with a web
// page, for programs that cannot load a C library and for people with a
// browser.
#ifndef INVOICE_EXTRACT_TOOL_SERVE_H
#define INVOICE_EXTRACT_TOOL_SERVE_H

#include "options.h"

namespace tool {

// Runs the service until SIGTERM or SIGINT; returns the exit status.
int Serve(const Options& options, unsigned workers);

// The web page served at "/": one self-contained HTML document.
const char* Serve_Page();

}  // namespace tool

#endif
