// Speed and memory of the whole extraction, printed in one run:
//
//   1. the shared corpus invoices: ms per invoice and files per second through
//      ZUGF_Extract_Zugferd, and, when built with libqpdf, the same job done by
//      libqpdf + Exempi in the same process over the same files for the same
//      number of rounds, and the ratio of the two;
//   2. a scale series of generated invoices (1,000 to 64,000 page objects, one
//      file with a classic cross-reference table and one with object streams
//      and a cross-reference stream per size): time per call and the peak
//      resident size of a process that runs one call, for both jobs;
//   3. Flate and LZW decoding speed, and a compression bomb for each;
//   4. the goals, each figure against its bound.
//
// Not a test: it reports numbers. Other work on the machine disturbs single
// runs, so every figure is the median of several rounds.
//
// Usage: invoice_bench [--rounds N] [--scale-rounds N] [--max-pages N]
//                      [--corpus FOLDER] [--output FOLDER] [--no-scale] [--no-decode]
//        invoice_bench --job library|reference PDF XML   (one call, for a look with perf or time)
//        invoice_bench --make PAGES classic|streams PDF  (writes one generated invoice)
#include <dirent.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "filters/pdf_flate.h"
#include "filters/pdf_lzw.h"
#include "invoice_extract.h"
#include "runtime/pdf_memory.h"
#include "support/hazard_pdfs.h"
#include "support/invoice_builder.h"
#include "support/lzw_encoder.h"
#include "support/pdf_builder.h"
#include "support/pdf_xref_stream_builder.h"

#ifdef INVOICE_BENCH_WITH_QPDF
#include <exempi/xmp.h>
#include <qpdf/Buffer.hh>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>
#endif

namespace {

// Times are the processor time of this process: other work on a shared
// machine stretches wall-clock times of both jobs by chance, while the
// processor time each job spends stays its own.
struct Clock {
  typedef double time_point;  // milliseconds
  static time_point now() {
    timespec now;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return now.tv_sec * 1000.0 + now.tv_nsec / 1e6;
  }
};

double Milliseconds_Since(Clock::time_point start) { return Clock::now() - start; }

double Median(std::vector<double> values) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  size_t middle = values.size() / 2;
  return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

// ---------------------------------------------------------------------------
// The two jobs. Each takes a PDF and writes the embedded invoice XML to a file;
// 0 means the XML was written.

int32_t Library_Job(const std::string& pdf, const std::string& xml) {
  return ZUGF_Extract_Zugferd(pdf.c_str(), xml.c_str());
}

#ifdef INVOICE_BENCH_WITH_QPDF

const char* const kPdfaId = "http://www.aiim.org/pdfa/ns/id/";
// The two spellings of the invoice schema, tried in this order.
const char* const kInvoiceSchemas[] = {"urn:ferd:pdfa:CrossIndustryDocument:invoice:1p0#",
                                       "urn:ferd:pdfa:crossindustrydocument:invoice:1p0#"};
const char* const kInvoiceName = "ZUGFeRD-invoice.xml";

bool Xmp_Property(XmpPtr xmp, const char* schema, const char* name, std::string* value) {
  XmpStringPtr text = xmp_string_new();
  bool found = xmp_get_property(xmp, schema, name, text, nullptr);
  if (found) *value = xmp_string_cstr(text);
  xmp_string_free(text);
  return found;
}

// The file specification in an EmbeddedFiles name tree whose F is the name.
QPDFObjectHandle Find_Filespec(QPDFObjectHandle node, const std::string& name, int depth) {
  if (depth > 32 || !node.isDictionary()) return QPDFObjectHandle::newNull();
  QPDFObjectHandle names = node.getKey("/Names");
  if (names.isArray()) {
    for (int i = 1; i < names.getArrayNItems(); i += 2) {
      QPDFObjectHandle spec = names.getArrayItem(i);
      if (!spec.isDictionary()) continue;
      QPDFObjectHandle f = spec.getKey("/F");
      if (f.isString() && f.getStringValue() == name) return spec;
    }
  }
  QPDFObjectHandle kids = node.getKey("/Kids");
  if (kids.isArray()) {
    for (int i = 0; i < kids.getArrayNItems(); ++i) {
      QPDFObjectHandle found = Find_Filespec(kids.getArrayItem(i), name, depth + 1);
      if (!found.isNull()) return found;
    }
  }
  return QPDFObjectHandle::newNull();
}

// The same decision and extraction with a general PDF library and Exempi:
// the PDF/A level, DocumentType and DocumentFileName under either spelling,
// the attachment by its F entry, decoded and written. Exempi must be
// initialised by the caller.
int32_t Reference_Job(const std::string& pdf, const std::string& xml) {
  try {
    QPDF document;
    document.setSuppressWarnings(true);
    document.processFile(pdf.c_str());
    QPDFObjectHandle root = document.getRoot();
    QPDFObjectHandle metadata = root.getKey("/Metadata");
    if (!metadata.isStream()) return -1;
    std::shared_ptr<Buffer> packet = metadata.getStreamData(qpdf_dl_generalized);
    XmpPtr xmp = xmp_new(reinterpret_cast<const char*>(packet->getBuffer()), packet->getSize());
    if (xmp == nullptr) return -1;
    std::string part, conformance, type, file_name;
    bool pdfa3 = Xmp_Property(xmp, kPdfaId, "part", &part) && Xmp_Property(xmp, kPdfaId, "conformance", &conformance) &&
                 part == "3";
    const char* schema = nullptr;
    for (const char* candidate : kInvoiceSchemas) {
      if (Xmp_Property(xmp, candidate, "DocumentType", &type) && type == "INVOICE") {
        schema = candidate;
        break;
      }
    }
    bool named =
        schema != nullptr && Xmp_Property(xmp, schema, "DocumentFileName", &file_name) && file_name == kInvoiceName;
    xmp_free(xmp);
    if (!pdfa3) return -1;
    if (!named) return -2;

    QPDFObjectHandle tree = root.getKey("/Names").getKey("/EmbeddedFiles");
    QPDFObjectHandle spec = Find_Filespec(tree, kInvoiceName, 0);
    if (spec.isNull()) return -3;
    QPDFObjectHandle files = spec.getKey("/EF");
    QPDFObjectHandle stream;
    for (const char* key : {"/UF", "/F", "/DOS", "/Mac", "/Unix"}) {
      if (files.isDictionary() && files.hasKey(key)) {
        stream = files.getKey(key);
        break;
      }
    }
    if (!stream.isStream()) return -3;
    std::shared_ptr<Buffer> data = stream.getStreamData(qpdf_dl_generalized);
    FILE* out = fopen(xml.c_str(), "wb");
    if (out == nullptr) return -11;
    bool written = fwrite(data->getBuffer(), 1, data->getSize(), out) == data->getSize();
    if (fclose(out) != 0 || !written) return -11;
    return 0;
  } catch (std::exception&) {
    return -10;
  }
}

bool Reference_Begin() { return xmp_init(); }
void Reference_End() { xmp_terminate(); }
const bool kHaveReference = true;

// Milliseconds per invoice for Exempi's parse of the metadata packets alone
// (xmp_new and xmp_free, packets taken out beforehand): the part of both jobs
// that neither PDF reader can make faster. Median of the rounds.
double Packet_Parse_Ms(const std::vector<std::string>& files, int rounds) {
  std::vector<std::string> packets;
  for (const std::string& file : files) {
    QPDF document;
    document.setSuppressWarnings(true);
    document.processFile(file.c_str());
    std::shared_ptr<Buffer> packet = document.getRoot().getKey("/Metadata").getStreamData(qpdf_dl_generalized);
    packets.emplace_back(reinterpret_cast<const char*>(packet->getBuffer()), packet->getSize());
  }
  std::vector<double> per_invoice;
  xmp_init();
  for (int round = 0; round < rounds; ++round) {
    Clock::time_point start = Clock::now();
    for (const std::string& packet : packets) {
      XmpPtr xmp = xmp_new(packet.data(), packet.size());
      if (xmp != nullptr) xmp_free(xmp);
    }
    per_invoice.push_back(Milliseconds_Since(start) / packets.size());
  }
  xmp_terminate();
  return Median(per_invoice);
}

#else

int32_t Reference_Job(const std::string&, const std::string&) { return -10; }
double Packet_Parse_Ms(const std::vector<std::string>&, int) { return 0; }
bool Reference_Begin() { return false; }
void Reference_End() {}
const bool kHaveReference = false;

#endif

// ---------------------------------------------------------------------------
// The goals the figures are held against, gathered by the sections and
// printed at the end: per invoice at most a third of the reference's time;
// 64,000 objects in both shapes at most half of it, with the cost growing at
// most 4.5 times from 16,000 to 64,000; peak memory of a one-call process at
// most the reference's, on the corpus and at scale.

struct Goals {
  double invoice_ratio = 0;  // library / reference ms per invoice, 0 unmeasured
  double invoice_files_per_second = 0;
  double reference_files_per_second = 0;
  double scale_ratio[2] = {0, 0};  // at 64,000 pages, by shape
  double growth[2] = {0, 0};       // library 64,000 / 16,000 time, by shape
  double reference_growth[2] = {0, 0};
  double corpus_peak_ratio = 0;  // the largest library / reference peak over the corpus files
  double scale_peak_ratio = 0;   // the same over the scale series
};

Goals g_goals;

// ---------------------------------------------------------------------------
// One call in a process of its own, for its peak resident size. A forked
// child counts the pages it shares with its parent, and Linux keeps that
// figure across exec, so the children come from a launcher that is forked
// at start-up, before the benchmark has built or loaded anything.

struct Job_Outcome {
  int32_t result;  // 0 when the job's process reported success
  long peak_kib;   // ru_maxrss of that process
};

int Job_Main(const std::string& kind, const std::string& pdf, const std::string& xml) {
  int32_t result = -10;
  if (kind == "library") {
    result = Library_Job(pdf, xml);
  } else if (kind == "reference" && Reference_Begin()) {
    result = Reference_Job(pdf, xml);
    Reference_End();
  }
  return result == 0 ? 0 : 1;
}

struct Launcher {
  FILE* requests;  // to the launcher: "kind pdf xml" lines
  FILE* answers;   // from it: "status peak" lines
};

Launcher g_launcher = {nullptr, nullptr};

void Launcher_Loop(FILE* requests, FILE* answers) {
  char kind[32], pdf[4096], xml[4096];
  while (fscanf(requests, "%31s %4095s %4095s", kind, pdf, xml) == 3) {
    pid_t child = fork();
    if (child == 0) _exit(Job_Main(kind, pdf, xml));
    int status = 0;
    struct rusage usage;
    memset(&usage, 0, sizeof(usage));
    bool waited = child > 0 && wait4(child, &status, 0, &usage) == child;
    int result = waited && WIFEXITED(status) && WEXITSTATUS(status) == 0 ? 0 : -1;
    fprintf(answers, "%d %ld\n", result, waited ? usage.ru_maxrss : 0L);
    fflush(answers);
  }
}

bool Launcher_Start() {
  int to_launcher[2], from_launcher[2];
  if (pipe(to_launcher) != 0 || pipe(from_launcher) != 0) return false;
  pid_t launcher = fork();
  if (launcher < 0) return false;
  if (launcher == 0) {
    close(to_launcher[1]);
    close(from_launcher[0]);
    Launcher_Loop(fdopen(to_launcher[0], "r"), fdopen(from_launcher[1], "w"));
    _exit(0);
  }
  close(to_launcher[0]);
  close(from_launcher[1]);
  g_launcher.requests = fdopen(to_launcher[1], "w");
  g_launcher.answers = fdopen(from_launcher[0], "r");
  return g_launcher.requests != nullptr && g_launcher.answers != nullptr;
}

Job_Outcome Run_In_Child(const char* kind, const std::string& pdf, const std::string& xml) {
  Job_Outcome outcome = {-1, 0};
  if (g_launcher.requests == nullptr) return outcome;
  fprintf(g_launcher.requests, "%s %s %s\n", kind, pdf.c_str(), xml.c_str());
  fflush(g_launcher.requests);
  if (fscanf(g_launcher.answers, "%d %ld", &outcome.result, &outcome.peak_kib) != 2) outcome.result = -1;
  return outcome;
}

// ---------------------------------------------------------------------------
// Generated invoices of any size, made with the test builders: the catalog,
// the XMP packet, the embedded invoice and its file specification as in the
// builders' invoice, and a two-level page tree of `pages` pages under nodes
// of 100 kids each.

enum Shape { kClassic, kStreams };

struct Scale_File {
  std::string bytes;
  uint32_t objects;
};

Scale_File Build_Scale_File(uint32_t pages, Shape shape) {
  const uint32_t per_node = 100;
  const uint32_t nodes = (pages + per_node - 1) / per_node;
  const uint32_t first_node = 6;
  const uint32_t first_page = first_node + nodes;
  const uint32_t last = first_page + pages;  // one past the last page

  Pdf_Builder builder;
  Pdf_Builder_Header(&builder, "1.7");
  Pdf_Builder_Object(&builder, 1,
                     "<< /Type /Catalog /Pages 2 0 R /Metadata 3 0 R /Names << /EmbeddedFiles << /Names "
                     "[(ZUGFeRD-invoice.xml) 5 0 R] >> >> /AF [5 0 R] >>");
  std::string kids;
  for (uint32_t node = 0; node < nodes; ++node) kids += std::to_string(first_node + node) + " 0 R ";
  Pdf_Builder_Object(&builder, 2, "<< /Type /Pages /Kids [" + kids + "] /Count " + std::to_string(pages) + " >>");
  Pdf_Builder_Stream(&builder, 3, "/Type /Metadata /Subtype /XML", Invoice_Xmp_Packet(Invoice_Options()));
  std::string xml = Invoice_Sample_Xml();
  Pdf_Builder_Stream(&builder, 4,
                     "/Type /EmbeddedFile /Subtype /text#2Fxml /Params << /Size " + std::to_string(xml.size()) + " >>",
                     xml);
  Pdf_Builder_Object(&builder, 5,
                     "<< /Type /Filespec /F (ZUGFeRD-invoice.xml) /UF (ZUGFeRD-invoice.xml) /EF << /F 4 0 R >> "
                     "/AFRelationship /Alternative >>");

  // Bodies of the page-tree nodes and pages, by object number.
  std::vector<std::pair<uint32_t, std::string>> bodies;
  for (uint32_t node = 0; node < nodes; ++node) {
    uint32_t begin = first_page + node * per_node;
    uint32_t end = std::min(begin + per_node, last);
    std::string node_kids;
    for (uint32_t page = begin; page < end; ++page) node_kids += std::to_string(page) + " 0 R ";
    bodies.push_back({first_node + node, "<< /Type /Pages /Parent 2 0 R /Kids [" + node_kids + "] /Count " +
                                             std::to_string(end - begin) + " >>"});
  }
  for (uint32_t page = first_page; page < last; ++page) {
    uint32_t parent = first_node + (page - first_page) / per_node;
    bodies.push_back({page, "<< /Type /Page /Parent " + std::to_string(parent) +
                                " 0 R /MediaBox [0 0 595 842] /Resources << /ProcSet [/PDF /Text] >> /Rotate 0 >>"});
  }

  if (shape == kClassic) {
    for (const auto& body : bodies) Pdf_Builder_Object(&builder, body.first, body.second);
    Pdf_Builder_Finish(&builder, "/Root 1 0 R");
    return {builder.bytes, last};
  }
  // Objects packed 100 to a stream, streams numbered after the pages, then
  // the cross-reference stream.
  Pdf_Packed_Objects packed;
  uint32_t container = last;
  for (size_t at = 0; at < bodies.size(); at += per_node) {
    size_t end = std::min(at + per_node, bodies.size());
    Pdf_Object_List objects(bodies.begin() + at, bodies.begin() + end);
    Pdf_Builder_Object_Stream(&builder, &packed, container, objects, true);
    container += 1;
  }
  const uint32_t size = container + 1;
  Pdf_Xref_Stream_Options options;
  options.widths = {1, 4, 2};
  options.flate = true;
  options.extra_entries = "/Root 1 0 R";
  Pdf_Builder_Xref_Stream(&builder, container, Pdf_Xref_Stream_Rows(builder, packed, size), size, options);
  return {builder.bytes, size};
}

// ---------------------------------------------------------------------------
// Decoding speed of Flate and LZW over one large stream each, and the cost
// of a compression bomb for each.

struct Decode_Counter {
  uint64_t requests;
  uint64_t live_bytes;
  uint64_t peak_bytes;
};

// Each block carries its size in front, so that release can keep the count
// of live bytes.
void* Decode_Alloc(uint64_t size, void* data) {
  Decode_Counter* counter = static_cast<Decode_Counter*>(data);
  counter->requests += 1;
  uint64_t* block = static_cast<uint64_t*>(malloc(size + 16));
  if (block == nullptr) return nullptr;
  block[0] = size;
  counter->live_bytes += size;
  counter->peak_bytes = std::max(counter->peak_bytes, counter->live_bytes);
  return block + 2;
}

int32_t Decode_Free(void* block, void* data) {
  if (block == nullptr) return -8;
  uint64_t* start = static_cast<uint64_t*>(block) - 2;
  static_cast<Decode_Counter*>(data)->live_bytes -= start[0];
  free(start);
  return 0;
}

// Text shaped like invoice lines: words and numbers, compressing about as
// well as page content and XML do.
std::string Decode_Data(size_t size) {
  static const char* const words[] = {"<ram:LineTotalAmount>",
                                      "</ram:LineTotalAmount>",
                                      "Rechnung ",
                                      "Position ",
                                      "Stueck ",
                                      "EUR ",
                                      "net ",
                                      "VAT ",
                                      "BT ",
                                      "ET ",
                                      "Tf ",
                                      "Td ",
                                      "\n"};
  std::mt19937 generator(12345);
  std::string data;
  data.reserve(size + 64);
  char number[32];
  while (data.size() < size) {
    data += words[generator() % 13];
    if (generator() % 3 == 0) {
      snprintf(number, sizeof(number), "%u.%02u ", static_cast<unsigned>(generator() % 10000),
               static_cast<unsigned>(generator() % 100));
      data += number;
    }
  }
  data.resize(size);
  return data;
}

typedef PDF_Result (*Decoder)(PDF_Memory*, const uint8_t*, uint64_t, uint8_t**, uint64_t*);

// MB/s of decoded output: the median of several timed decodes, after one
// checked decode.
bool Decode_Run(const char* name, Decoder decoder, const std::string& encoded, const std::string& original,
                int rounds) {
  Decode_Counter counter = {0, 0, 0};
  PDF_Memory memory = {Decode_Alloc, &counter, Decode_Free, &counter, 0, nullptr};
  const uint8_t* input = reinterpret_cast<const uint8_t*>(encoded.data());
  uint8_t* buffer = nullptr;
  uint64_t length = 0;
  PDF_Result result = decoder(&memory, input, encoded.size(), &buffer, &length);
  bool same =
      result == 0 && length == original.size() && memcmp(buffer, original.data(), static_cast<size_t>(length)) == 0;
  PDF_Memory_Free(&memory, &buffer);
  if (!same) {
    printf("| %s | decoding failed (result %d) | | | | |\n", name, result);
    return false;
  }
  uint64_t allocations = counter.requests;
  uint64_t peak = counter.peak_bytes;
  std::vector<double> speeds;
  for (int round = 0; round < rounds; ++round) {
    Clock::time_point start = Clock::now();
    decoder(&memory, input, encoded.size(), &buffer, &length);
    double ms = Milliseconds_Since(start);
    PDF_Memory_Free(&memory, &buffer);
    speeds.push_back(static_cast<double>(original.size()) / (1024.0 * 1024.0) / (ms / 1000.0));
  }
  printf("| %s | %zu | %zu | %llu | %.1f | %.1f |\n", name, encoded.size(), original.size(),
         static_cast<unsigned long long>(allocations), static_cast<double>(peak) / (1024.0 * 1024.0), Median(speeds));
  return true;
}

// A compression bomb: the result, the peak of memory held and the time of a
// decode that the ceiling stops.
bool Bomb_Run(const char* name, Decoder decoder, const std::string& encoded, uint64_t decoded, int rounds) {
  Decode_Counter counter = {0, 0, 0};
  PDF_Memory memory = {Decode_Alloc, &counter, Decode_Free, &counter, 0, nullptr};
  const uint8_t* input = reinterpret_cast<const uint8_t*>(encoded.data());
  uint8_t* buffer = nullptr;
  uint64_t length = 0;
  std::vector<double> times;
  PDF_Result result = 0;
  for (int round = 0; round < rounds; ++round) {
    Clock::time_point start = Clock::now();
    result = decoder(&memory, input, encoded.size(), &buffer, &length);
    times.push_back(Milliseconds_Since(start));
    if (buffer != nullptr) PDF_Memory_Free(&memory, &buffer);
  }
  printf("| %s | %zu | %llu | %d | %llu | %.1f | %.1f |\n", name, encoded.size(),
         static_cast<unsigned long long>(decoded), result,
         static_cast<unsigned long long>(counter.requests / static_cast<uint64_t>(rounds)),
         static_cast<double>(counter.peak_bytes) / (1024.0 * 1024.0), Median(times));
  return result == PDF_RESULT_BAD_COMPRESSED_DATA && counter.live_bytes == 0;
}

bool Decode_Section(int rounds) {
  std::string original = Decode_Data(16 * 1024 * 1024);
  uLongf flate_size = compressBound(static_cast<uLong>(original.size()));
  std::string flate(flate_size, '\0');
  if (compress2(reinterpret_cast<Bytef*>(&flate[0]), &flate_size, reinterpret_cast<const Bytef*>(original.data()),
                static_cast<uLong>(original.size()), Z_DEFAULT_COMPRESSION) != Z_OK) {
    printf("zlib could not compress the data\n");
    return false;
  }
  flate.resize(flate_size);
  std::string lzw = Test_LZW_Encode(original);
  printf("\n### Decoders (16 MiB of invoice-like text, median of %d decodes)\n\n", rounds);
  printf("| Filter | encoded bytes | decoded bytes | allocations per decode | peak MiB held | MB/s |\n");
  printf("|---|---|---|---|---|---|\n");
  bool ok = Decode_Run("FlateDecode", PDF_Flate_Decode, flate, original, rounds);
  ok = Decode_Run("LZWDecode", PDF_LZW_Decode, lzw, original, rounds) && ok;

  // Zeros, about a thousandth of the size or less: each decode ends at the
  // ceiling on a stream's decoded size with -300.
  printf("\n### Compression bombs (zeros; median of %d decodes)\n\n", rounds);
  printf("| Filter | encoded bytes | zeros encoded | result | allocations per decode | peak MiB held | ms |\n");
  printf("|---|---|---|---|---|---|---|\n");
  const uint64_t flate_zeros = uint64_t{1} << 30;
  ok = Bomb_Run("FlateDecode", PDF_Flate_Decode, Hazard_Flate_Zeros(flate_zeros), flate_zeros, rounds) && ok;
  const uint64_t lzw_zeros = uint64_t{1400} << 20;
  return Bomb_Run("LZWDecode", PDF_LZW_Decode, Test_LZW_Zeros(lzw_zeros, 4095), lzw_zeros, rounds) && ok;
}

// ---------------------------------------------------------------------------

// Where the jobs write. Both jobs write every XML they extract; on a disk file
// system, truncating and rewriting the same file each round can make the
// kernel flush it at once, which would time the disk and not the jobs, so a
// memory file system is used where there is one.
std::string g_output_folder;

std::string Output_Path(const std::string& name) {
  if (g_output_folder.empty()) return Test_Temp_Path(name);
  return g_output_folder + "/invoice_bench_" + std::to_string(getpid()) + "_" + name;
}

std::vector<std::string> Corpus_Invoices(const std::string& folder) {
  std::vector<std::string> files;
  DIR* directory = opendir(folder.c_str());
  if (directory == nullptr) return files;
  while (dirent* entry = readdir(directory)) {
    std::string name = entry->d_name;
    if (name.size() > 4 && name.compare(name.size() - 4, 4, ".pdf") == 0) files.push_back(folder + "/" + name);
  }
  closedir(directory);
  std::sort(files.begin(), files.end());
  return files;
}

bool Same_File(const std::string& a, const std::string& b) {
  std::string first, second;
  return Test_Read_File(a, &first) && Test_Read_File(b, &second) && first == second;
}

std::string Base_Name(const std::string& path) {
  size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

// Runs job over the files once and gives the elapsed milliseconds; *failures
// counts results other than 0.
double Time_Round(const std::function<int32_t(const std::string&, const std::string&)>& job,
                  const std::vector<std::string>& files, const std::string& xml, int* failures) {
  Clock::time_point start = Clock::now();
  for (const std::string& file : files) {
    if (job(file, xml) != 0) *failures += 1;
  }
  return Milliseconds_Since(start);
}

bool Corpus_Section(const std::string& folder, int rounds) {
  std::vector<std::string> files = Corpus_Invoices(folder);
  printf("### Corpus invoices (%zu files, %d rounds, medians)\n\n", files.size(), rounds);
  if (files.empty()) {
    printf("no invoices found\n");
    return false;
  }
  const std::string library_xml = Output_Path("bench_library.xml");
  const std::string reference_xml = Output_Path("bench_reference.xml");

  // One checked pass: both jobs succeed and write the same bytes.
  bool ok = true;
  for (const std::string& file : files) {
    int32_t library = Library_Job(file, library_xml);
    if (library != 0) {
      printf("library: %s gives %d\n", Base_Name(file).c_str(), library);
      ok = false;
    }
    if (kHaveReference && Reference_Begin()) {
      int32_t reference = Reference_Job(file, reference_xml);
      Reference_End();
      if (reference != 0) printf("reference: %s gives %d\n", Base_Name(file).c_str(), reference);
      if (library == 0 && reference == 0 && !Same_File(library_xml, reference_xml)) {
        printf("%s: the two jobs wrote different XML\n", Base_Name(file).c_str());
        ok = false;
      }
    }
  }

  // Rounds alternate between the two jobs. The reference initialises Exempi
  // once per round and terminates it at the round's end, so that the
  // library's own calls never find the toolkit held open by the benchmark.
  std::vector<double> library_ms, reference_ms;
  int failures = 0;
  for (int round = 0; round < rounds; ++round) {
    library_ms.push_back(Time_Round(Library_Job, files, library_xml, &failures) / files.size());
    if (kHaveReference) {
      Clock::time_point start = Clock::now();
      Reference_Begin();
      Time_Round(Reference_Job, files, reference_xml, &failures);
      Reference_End();
      reference_ms.push_back(Milliseconds_Since(start) / files.size());
    }
  }
  double library = Median(library_ms);
  printf("| Job | ms per invoice | files per second |\n|---|---|---|\n");
  printf("| invoice_extract (ZUGF_Extract_Zugferd) | %.3f | %.0f |\n", library, 1000.0 / library);
  g_goals.invoice_files_per_second = 1000.0 / library;
  if (kHaveReference) {
    double reference = Median(reference_ms);
    printf("| libqpdf + Exempi reference | %.3f | %.0f |\n", reference, 1000.0 / reference);
    printf("\nRatio library / reference: %.2f\n", library / reference);
    g_goals.invoice_ratio = library / reference;
    g_goals.reference_files_per_second = 1000.0 / reference;
    double packet = Packet_Parse_Ms(files, rounds);
    printf("Exempi's parse of the metadata packets alone: %.3f ms per invoice, %.2f of the reference job\n", packet,
           packet / reference);
  } else {
    printf("\n(reference job not built: libqpdf-dev was not found)\n");
  }
  if (failures != 0) {
    printf("%d calls failed during the timed rounds\n", failures);
    ok = false;
  }

  // Peak memory of a process that runs one call, file by file.
  printf("\n| File | KiB | library peak KiB | reference peak KiB |\n|---|---|---|---|\n");
  for (const std::string& file : files) {
    std::string bytes;
    Test_Read_File(file, &bytes);
    Job_Outcome library_peak = Run_In_Child("library", file, library_xml);
    Job_Outcome reference_peak = {0, 0};
    if (kHaveReference) reference_peak = Run_In_Child("reference", file, reference_xml);
    printf("| %s | %zu | %ld | %ld |\n", Base_Name(file).c_str(), bytes.size() / 1024, library_peak.peak_kib,
           reference_peak.peak_kib);
    if (library_peak.result != 0 || reference_peak.result != 0) ok = false;
    if (reference_peak.peak_kib > 0) {
      g_goals.corpus_peak_ratio =
          std::max(g_goals.corpus_peak_ratio, static_cast<double>(library_peak.peak_kib) / reference_peak.peak_kib);
    }
  }
  remove(library_xml.c_str());
  remove(reference_xml.c_str());
  return ok;
}

bool Scale_Section(uint32_t max_pages, int rounds) {
  printf(
      "\n### Scale series (generated invoices; time: median of %d in-process calls; peak: max resident size of "
      "a process that runs one call)\n\n",
      rounds);
  if (kHaveReference) {
    printf(
        "| Shape | pages | objects | file KiB | library ms | reference ms | ratio | library peak KiB | "
        "reference peak KiB |\n|---|---|---|---|---|---|---|---|---|\n");
  } else {
    printf("| Shape | pages | objects | file KiB | library ms | library peak KiB |\n|---|---|---|---|---|---|\n");
  }
  const std::string pdf = Output_Path("bench_scale.pdf");
  const std::string library_xml = Output_Path("bench_scale_library.xml");
  const std::string reference_xml = Output_Path("bench_scale_reference.xml");
  bool ok = true;
  for (Shape shape : {kClassic, kStreams}) {
    double time_16000 = 0;
    double reference_16000 = 0;
    for (uint32_t pages = 1000; pages <= max_pages; pages *= 2) {
      Scale_File file = Build_Scale_File(pages, shape);
      if (!Test_Write_File(pdf, file.bytes)) {
        printf("cannot write %s\n", pdf.c_str());
        return false;
      }
      size_t file_kib = file.bytes.size() / 1024;
      file.bytes = std::string();  // children inherit no copy of the file

      Job_Outcome library_peak = Run_In_Child("library", pdf, library_xml);
      Job_Outcome reference_peak = {0, 0};
      if (kHaveReference) reference_peak = Run_In_Child("reference", pdf, reference_xml);
      std::vector<double> library_ms, reference_ms;
      int failures = library_peak.result != 0 || reference_peak.result != 0 ? 1 : 0;
      for (int round = 0; round < rounds; ++round) {
        library_ms.push_back(Time_Round(Library_Job, {pdf}, library_xml, &failures));
        if (kHaveReference) {
          Reference_Begin();
          reference_ms.push_back(Time_Round(Reference_Job, {pdf}, reference_xml, &failures));
          Reference_End();
        }
      }
      if (kHaveReference && !Same_File(library_xml, reference_xml)) failures += 1;
      double library = Median(library_ms);
      double reference = Median(reference_ms);
      const char* name = shape == kClassic ? "classic table" : "object streams";
      if (kHaveReference) {
        printf("| %s | %u | %u | %zu | %.1f | %.1f | %.2f | %ld | %ld |\n", name, pages, file.objects, file_kib,
               library, reference, library / reference, library_peak.peak_kib, reference_peak.peak_kib);
      } else {
        printf("| %s | %u | %u | %zu | %.1f | %ld |\n", name, pages, file.objects, file_kib, library,
               library_peak.peak_kib);
      }
      if (reference_peak.peak_kib > 0) {
        g_goals.scale_peak_ratio =
            std::max(g_goals.scale_peak_ratio, static_cast<double>(library_peak.peak_kib) / reference_peak.peak_kib);
      }
      if (pages == 16000) {
        time_16000 = library;
        reference_16000 = reference;
      }
      if (pages == 64000 && time_16000 > 0) {
        g_goals.growth[shape] = library / time_16000;
        if (kHaveReference) {
          g_goals.scale_ratio[shape] = library / reference;
          g_goals.reference_growth[shape] = reference / reference_16000;
          printf("| %s | 64000 / 16000 time | | | %.2f | %.2f | | | |\n", name, library / time_16000,
                 reference / reference_16000);
        } else {
          printf("| %s | 64000 / 16000 time | | | %.2f | |\n", name, library / time_16000);
        }
      }
      if (failures != 0) {
        printf("%s, %u pages: %d failed or differing calls\n", name, pages, failures);
        ok = false;
      }
      fflush(stdout);
    }
  }
  remove(pdf.c_str());
  remove(library_xml.c_str());
  remove(reference_xml.c_str());
  return ok;
}

// One line a goal: the figure, the bound and whether it holds; "not
// measured" where a section did not run or the reference is missing.
void Goal_Line(const char* goal, double value, double bound) {
  if (value <= 0) {
    printf("| %s | not measured | %.2f | |\n", goal, bound);
  } else {
    printf("| %s | %.2f | %.2f | %s |\n", goal, value, bound, value <= bound ? "met" : "not met");
  }
}

void Goals_Section() {
  printf("\n### Goals\n\n| Goal | measured | at most | |\n|---|---|---|---|\n");
  Goal_Line("per invoice, library / reference time", g_goals.invoice_ratio, 1.0 / 3);
  Goal_Line("classic table, 64000 pages, library / reference time", g_goals.scale_ratio[kClassic], 0.5);
  Goal_Line("object streams, 64000 pages, library / reference time", g_goals.scale_ratio[kStreams], 0.5);
  Goal_Line("classic table, library 64000 / 16000 time", g_goals.growth[kClassic], 4.5);
  Goal_Line("object streams, library 64000 / 16000 time", g_goals.growth[kStreams], 4.5);
  Goal_Line("corpus, largest library / reference peak memory", g_goals.corpus_peak_ratio, 1.0);
  Goal_Line("scale series, largest library / reference peak memory", g_goals.scale_peak_ratio, 1.0);
  printf(
      "\nFiles per second: library %.0f, reference %.0f. Reference 64000 / 16000 time: classic %.2f, object "
      "streams %.2f.\n",
      g_goals.invoice_files_per_second, g_goals.reference_files_per_second, g_goals.reference_growth[kClassic],
      g_goals.reference_growth[kStreams]);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 5 && strcmp(argv[1], "--job") == 0) return Job_Main(argv[2], argv[3], argv[4]);
  if (argc == 5 && strcmp(argv[1], "--make") == 0) {
    Scale_File file = Build_Scale_File(static_cast<uint32_t>(strtoul(argv[2], nullptr, 10)),
                                       strcmp(argv[3], "streams") == 0 ? kStreams : kClassic);
    return Test_Write_File(argv[4], file.bytes) ? 0 : 1;
  }
  if (!Launcher_Start()) fprintf(stderr, "no launcher: peak memory is not measured\n");

  int rounds = 31;
  int scale_rounds = 9;
  uint32_t max_pages = 64000;
  bool scale = true;
  bool decode = true;
  std::string corpus = std::string(INVOICE_EXTRACT_SOURCE_DIR) + "/../shared/corpus/invoices";
  for (int i = 1; i < argc; ++i) {
    std::string argument = argv[i];
    bool has_value = i + 1 < argc;
    if (argument == "--rounds" && has_value) {
      rounds = std::max(1, atoi(argv[++i]));
    } else if (argument == "--scale-rounds" && has_value) {
      scale_rounds = std::max(1, atoi(argv[++i]));
    } else if (argument == "--max-pages" && has_value) {
      max_pages = static_cast<uint32_t>(strtoul(argv[++i], nullptr, 10));
    } else if (argument == "--corpus" && has_value) {
      corpus = argv[++i];
    } else if (argument == "--output" && has_value) {
      g_output_folder = argv[++i];
    } else if (argument == "--no-scale") {
      scale = false;
    } else if (argument == "--no-decode") {
      decode = false;
    } else {
      fprintf(stderr,
              "usage: %s [--rounds N] [--scale-rounds N] [--max-pages N] [--corpus FOLDER] [--output FOLDER] "
              "[--no-scale] [--no-decode]\n",
              argv[0]);
      return 2;
    }
  }
  if (g_output_folder.empty() && access("/dev/shm", W_OK) == 0) g_output_folder = "/dev/shm";
  printf("Outputs go to %s.\n\n", g_output_folder.empty() ? "the temporary folder" : g_output_folder.c_str());
  bool ok = Corpus_Section(corpus, rounds);
  if (scale) ok = Scale_Section(max_pages, scale_rounds) && ok;
  if (decode) ok = Decode_Section(rounds < 5 ? 5 : rounds / 2) && ok;
  Goals_Section();
  return ok ? 0 : 1;
}
