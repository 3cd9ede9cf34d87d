#include "help.h"

#include <sstream>
#include <vector>

#include "invoice_extract.h"

namespace tool {

namespace {

// The manual, in the markup that Manual_Text and Manual_Troff read.
const char kManual[] = R"MANUAL(# NAME
invoice-extract - check, inspect and extract ZUGFeRD invoices in PDF files, one or thousands at a time

# SYNOPSIS
$ invoice-extract check [OPTION]... PATH...
$ invoice-extract extract --output-dir DIR [OPTION]... PATH...
$ invoice-extract inspect [OPTION]... PATH...
$ invoice-extract serve [--listen HOST:PORT] [OPTION]...
$ invoice-extract --help | --version

# DESCRIPTION
invoice-extract runs the invoice_extract library over PDF files from anywhere: single files, folders, and lists of paths on standard input. It is meant for invoice pipelines that receive PDFs from strangers, and for a person at a terminal who wants to know why a file is or isn't an invoice.

The verdict on each file is exactly what the library's exported calls return for it: check and inspect call ZUGF_Check_Zugferd, extract calls ZUGF_Extract_Zugferd. A file is a ZUGFeRD 1.0 invoice when it is a PDF/A part 3 document whose XMP metadata says DocumentType INVOICE and DocumentFileName ZUGFeRD-invoice.xml under the ZUGFeRD 1.0 schema, and which embeds a file of that name.

Each PATH is a file, a folder, or - for a list of paths read from standard input, one a line (a carriage return before the line end is dropped), or separated by NUL bytes with -0. A folder is searched recursively for files whose names end in .pdf in any case, in sorted order; symbolic links to files are taken, links to folders are not followed. Entries of a list may be folders too. A file named on the command line or in a list is processed whatever its name; one that does not exist gets the library's verdict on it (-10).

Files are processed in worker processes, several at a time, and the results come out in the order of the input.

# COMMANDS
* check
Tells for each file whether it is a ZUGFeRD 1.0 invoice.
* extract
Checks each file like check and writes the embedded invoice XML of every invoice to DIR/NAME.xml, where NAME is the file's name without its .pdf ending. The XML goes to a temporary file in DIR first (.NAME.xml. followed by six random characters), which is renamed to its final name once complete: no partial file ever stands under a final name, not even when a worker is killed half way, and temporary files are removed. An existing file is never replaced unless --force is given; such a file is reported with status error and is not processed. When two files of one run would get the same output name, the later one is refused the same way. DIR is created if it does not exist.
* inspect
Shows everything that bears on the verdict: the PDF/A part and conformance, whether the file is encrypted, the invoice schema that the XMP metadata carries (ZUGFeRD 1.0 under either spelling of its namespace, ZUGFeRD 2, Factur-X) with its DocumentType, DocumentFileName, Version and ConformanceLevel, the names and decoded sizes of all embedded files, the library's ZUGFeRD 1.0 verdict with the first check that failed, and for a ZUGFeRD 1.0 invoice the guideline, document identifier and issue date read from its XML.
* serve
Runs an HTTP service over the same worker processes, for programs that cannot load a C library and for people with a browser. The first line on standard output is "listening on http://HOST:PORT/". POST /v1/check, /v1/inspect and /v1/extract take the PDF as the request body (application/pdf or application/octet-stream) or as the field "file" of multipart/form-data; ?any-flavour=1 and ?explain=1 do what --any-flavour and --explain do. check and inspect answer 200 with one JSON object, the members of the --json line of that command (file is the upload's file name, or -). extract answers 200 with the XML (application/xml) when the file is accepted and 422 with the JSON object otherwise. A file that hangs, crashes or runs out of memory is answered 200 with its status. GET / is a web page to check a file by hand, GET /healthz answers 200, GET /metrics gives counters in the Prometheus text format. Errors have a JSON body {"error": "..."}: 400 (empty body, broken multipart), 401 (with --token-file, a missing or wrong "Authorization: Bearer" token), 404, 405, 413 (larger than --max-size, refused before the body is read), 503 with Retry-After (the queue is full). Uploads go to a private folder (mode 0700) under names the service makes and are removed after each request. Each request gets one JSON line on standard error (time, method, path, status, bytes of the answer, seconds, result). SIGTERM or SIGINT stops accepting connections, lets the requests under way finish, and exits with status 0. The service speaks plain HTTP: put a reverse proxy in front for TLS.

# OPTIONS
* -o, --output-dir DIR
Where extract writes the XML files. Required by extract.
* -f, --force
Let extract replace existing files in DIR (each one atomically, by renaming the complete new file over it).
* -a, --any-flavour, --any-flavor
Accept e-invoices of the other flavours too: ZUGFeRD 2 and Factur-X, including the XRechnung profile. Such a file must be PDF/A part 3, carry DocumentType INVOICE under its schema, and embed the file that its DocumentFileName names. The library refuses these files with -2 by design; with this option they count as invoices for the exit status, and extract writes the file that DocumentFileName names. The verdict in result stays the library's.
* -e, --explain
With check and extract: after the verdict of a refused file, name the first check that failed, for example "PDF/A part 2, not 3", "Factur-X invoice (EN 16931): not ZUGFeRD 1.0" or "ZUGFeRD-invoice.xml is not embedded (embedded: factur-x.xml)". inspect always does this.
* --json
Write one JSON object a line instead of the human lines (see OUTPUT).
* -0, --null
Entries of the list on standard input are separated by NUL bytes, as find -print0 writes them.
* -j, --jobs N
Run N worker processes at a time (1 to 1024). Default: the number of processors this process may use. Workers are reused from file to file.
* -t, --timeout SECONDS
Give each file at most SECONDS of wall-clock time (decimals allowed; 0 for no limit). A worker that takes longer is killed and replaced, and the file is reported with status timeout. Default: 30.
* -m, --memory-limit SIZE
Let each worker map at most SIZE bytes of memory beyond what it has mapped when it starts (suffixes K, M, G and T, binary; 0 or none for no limit). An allocation that fails under the limit makes the file's status out-of-memory, and the worker is replaced. Default: 1G.
* --listen HOST:PORT
serve: where to listen. Default: 127.0.0.1:8080. Port 0 picks a free port; an IPv6 address goes in brackets ([::1]:8080).
* --max-size SIZE
serve: the largest upload (suffixes as for --memory-limit). Default: 64M.
* --token-file FILE
serve: ask every request to /v1/ for "Authorization: Bearer TOKEN", where TOKEN is the first line of FILE.
* --queue N
serve: how many requests may wait for a worker beyond those being processed; more are answered 503. Default: 64.
* --progress, --no-progress
Show or hide the progress bar on standard error. By default it is shown when standard error is a terminal.
* -q, --quiet
Leave out the progress bar and the summary line.
* -h, --help
Show this manual.
* --version
Show the version of the tool and of the library.

# OUTPUT
By default each file gets one line on standard output, in the order of the input: the path, a colon, and the verdict in words, for example "in/a.pdf: ZUGFeRD invoice" or "in/b.pdf: PDF/A-3, but no ZUGFeRD invoice metadata". With --explain the first check that failed follows after a colon. extract adds where the XML went. inspect writes a block of lines for each file instead.

With --json each file gets one JSON object on one line, with at least these members: file (the path), result (the exported call's code, or null when there was no answer), verdict (its words, or null), status ("ok", "timeout", "crashed", "out-of-memory" or "error"), accepted (whether the file counts as an invoice), and seconds (the wall-clock time spent on it). Depending on the case there are also: reason (why the status is not ok), explanation (the first check that failed), flavour (with --any-flavour, for an e-invoice of another flavour), and for extract output (the XML file written, or null) and embedded_file (the embedded file that was written). inspect adds open_error, open_result, encrypted, metadata ("absent", "undecodable", "rejected", "read", or null when not read), pdfa (part and conformance as written), schema (standard, namespace, DocumentType, DocumentFileName, Version, ConformanceLevel), other_schema (the namespace of an unknown schema that has a DocumentType), attachments (name, size, note), attachments_note (what cut the walk of the embedded-file tree short, such as a cycle) and invoice_xml (result, guideline, document_id, issue_date, issue_date_format). Texts are UTF-8; bytes of a path that are not UTF-8 are shown as U+FFFD.

At the end a summary line on standard error counts the files by verdict and status. While files are processed, a progress bar on standard error shows how many are done, when standard error is a terminal.

# CONTAINMENT
The library bounds every call itself on hostile input (a cross-reference chain is read once, nesting and a stream's decoded size have limits, no exception leaves a call), so a hostile file gets a plain verdict. As a defence in depth every file is still processed in a worker process, with the time limit of --timeout and the memory limit of --memory-limit, and nothing that one file does can stop the others:
* timeout
The file took longer than --timeout. The worker is killed and replaced.
* crashed
The worker died (for example by SIGSEGV), or the exported call threw instead of returning; the worker catches an exception, reports it, and is replaced, so that nothing of that call outlives it. The reason names the signal or the exception.
* out-of-memory
An allocation failed under --memory-limit, whether the library then returned -12, carried on with another code, or the worker died. The worker is replaced.
* error
The tool could not do its part: the output file exists, or the temporary file could not be made or written.
.
Whatever a worker found before it died is kept in the report (inspect shows what it had read before the verdict was asked for). Crashed workers leave no core file.

# EXIT STATUS
* 0
Every file is a ZUGFeRD 1.0 invoice (with --any-flavour, an e-invoice of any flavour); for extract, its XML was written. Also when no file was found.
* 1
Some file is not.
* 2
Usage error: unknown command or option, a bad value, no PATH, extract without --output-dir, or an output folder that cannot be made.
* 3
Some file could not be processed (status timeout, crashed, out-of-memory or error), a folder could not be read, or the run was interrupted. This takes precedence over 1.

# EXAMPLES
Check one file, and say why it is refused:
$ invoice-extract check --explain invoice.pdf
Check a whole inbox with four workers and a 10 second limit per file:
$ invoice-extract check --jobs 4 --timeout 10 ~/inbox
Extract the XML of every PDF below mail/, as find lists them, into xml/:
$ find mail -name '*.pdf' -print0 | invoice-extract extract -0 -o xml -
Extract ZUGFeRD 2, Factur-X and XRechnung files too, as JSON lines:
$ invoice-extract extract --any-flavour --json --output-dir xml inbox |
$     jq -r 'select(.output) | .output'
See what a file carries:
$ invoice-extract inspect suspicious.pdf
Serve on port 8080 of this machine, and check a file through it:
$ invoice-extract serve --jobs 4 &
$ curl -F file=@invoice.pdf http://127.0.0.1:8080/v1/check

# SEE ALSO
The library's header invoice_extract.h, which explains each result code and the limits on hostile input.
)MANUAL";

// Words of text filled into lines of at most width columns after indent.
void Fill(const std::string& text, size_t indent, size_t width, std::string* out) {
  std::istringstream words(text);
  std::string word;
  std::string line;
  while (words >> word) {
    if (!line.empty() && indent + line.size() + 1 + word.size() > width) {
      *out += std::string(indent, ' ') + line + "\n";
      line.clear();
    }
    line += (line.empty() ? "" : " ") + word;
  }
  if (!line.empty()) *out += std::string(indent, ' ') + line + "\n";
}

std::string Troff_Escape(const std::string& text) {
  std::string escaped;
  for (char c : text) {
    if (c == '\\') {
      escaped += "\\e";
    } else if (c == '-') {
      escaped += "\\-";
    } else {
      escaped += c;
    }
  }
  if (!escaped.empty() && (escaped[0] == '.' || escaped[0] == '\'')) escaped = "\\&" + escaped;
  return escaped;
}

bool Starts_With(const std::string& line, const char* prefix) { return line.compare(0, 2, prefix) == 0; }

}  // namespace

// Each line of the markup is one block: "# " a section title, "* " the tag of
// an item whose paragraphs follow, "." the end of a list of items, "$ " a
// line shown as it stands; any other line is a paragraph.
std::string Manual_Text() {
  const size_t width = 80;
  std::string out;
  bool in_item = false;
  bool gap = false;  // a blank line is due before the next block
  bool verbatim = false;
  std::istringstream lines(kManual);
  std::string line;
  while (std::getline(lines, line)) {
    if (line.empty()) continue;
    const size_t indent = in_item ? 14 : 7;
    if (Starts_With(line, "# ")) {
      if (!out.empty()) out += "\n";
      out += line.substr(2) + "\n";
      in_item = gap = verbatim = false;
    } else if (Starts_With(line, "* ")) {
      if (gap) out += "\n";
      out += "       " + line.substr(2) + "\n";
      in_item = true;
      gap = verbatim = false;
    } else if (line == ".") {
      in_item = false;
    } else if (Starts_With(line, "$ ")) {
      if (gap && !verbatim) out += "\n";
      out += std::string(indent + 4, ' ') + line.substr(2) + "\n";
      gap = verbatim = true;
    } else {
      if (gap) out += "\n";
      Fill(line, indent, width, &out);
      gap = true;
      verbatim = false;
    }
  }
  return out;
}

std::string Manual_Troff() {
  std::string out =
      ".TH INVOICE\\-EXTRACT 1 \"\" \"invoice_extract " INVOICE_EXTRACT_VERSION_STRING "\" \"User Commands\"\n";
  bool in_item = false;
  bool item_has_text = false;
  bool verbatim = false;
  std::istringstream lines(kManual);
  std::string line;
  while (std::getline(lines, line)) {
    if (line.empty()) continue;
    const bool is_verbatim = Starts_With(line, "$ ");
    if (verbatim && !is_verbatim) out += ".fi\n.RE\n";
    if (Starts_With(line, "# ")) {
      out += ".SH " + Troff_Escape(line.substr(2)) + "\n";
      in_item = false;
    } else if (Starts_With(line, "* ")) {
      out += ".TP\n.B " + Troff_Escape(line.substr(2)) + "\n";
      in_item = true;
      item_has_text = false;
    } else if (line == ".") {
      in_item = false;
      out += ".PP\n";
    } else if (is_verbatim) {
      if (!verbatim) out += ".RS\n.nf\n";
      out += Troff_Escape(line.substr(2)) + "\n";
    } else {
      if (in_item) {
        if (item_has_text) out += ".IP\n";
        item_has_text = true;
      } else {
        out += ".PP\n";
      }
      out += Troff_Escape(line) + "\n";
    }
    verbatim = is_verbatim;
  }
  if (verbatim) out += ".fi\n.RE\n";
  return out;
}

std::string Usage_Text() {
  return "usage: invoice-extract check [OPTION]... PATH...\n"
         "       invoice-extract extract --output-dir DIR [OPTION]... PATH...\n"
         "       invoice-extract inspect [OPTION]... PATH...\n"
         "       invoice-extract serve [--listen HOST:PORT] [OPTION]...\n"
         "Try 'invoice-extract --help' for the manual.\n";
}

}  // namespace tool
