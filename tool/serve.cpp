#include "serve.h"

#include <dirent.h>
#include <microhttpd.h>
#include <netdb.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <functional>
#include <map>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>

#include "output.h"
#include "pool.h"

namespace tool {

namespace {

typedef std::chrono::steady_clock Clock;

const char* const kEndpoints[] = {"check", "inspect", "extract"};

// Upper bounds of the latency histogram, in seconds.
const std::array<double, 12> kBuckets = {0.005, 0.01, 0.025, 0.05, 0.1, 0.25, 0.5, 1, 2.5, 5, 10, 30};

std::string Error_Body(const std::string& message) { return "{\"error\":" + Json_String(message) + "}\n"; }

std::string Endpoint_Of(const std::string& path) {
  for (const char* endpoint : kEndpoints) {
    if (path == std::string("/v1/") + endpoint) return endpoint;
  }
  if (path == "/") return "page";
  if (path == "/healthz") return "healthz";
  if (path == "/metrics") return "metrics";
  return "other";
}

class Metrics {
 public:
  void Count(const std::string& endpoint, const std::string& verdict, double seconds) {
    std::lock_guard<std::mutex> lock(mutex_);
    ++requests_[{endpoint, verdict.empty() ? "none" : verdict}];
    if (endpoint == "check" || endpoint == "inspect" || endpoint == "extract") {
      for (size_t i = 0; i < kBuckets.size(); ++i) {
        if (seconds <= kBuckets[i]) ++buckets_[i];
      }
      ++count_;
      sum_ += seconds;
    }
  }

  std::string Text(size_t restarts, size_t waiting, size_t in_flight) {
    std::lock_guard<std::mutex> lock(mutex_);
    std::ostringstream out;
    out << "# HELP invoice_extract_requests_total HTTP requests answered, by endpoint and verdict (the result code, "
           "or the status of a file that could not be processed; none for requests without a file).\n"
           "# TYPE invoice_extract_requests_total counter\n";
    for (const auto& entry : requests_) {
      out << "invoice_extract_requests_total{endpoint=\"" << entry.first.first << "\",verdict=\"" << entry.first.second
          << "\"} " << entry.second << "\n";
    }
    out << "# HELP invoice_extract_request_duration_seconds Time to answer a request to /v1/.\n"
           "# TYPE invoice_extract_request_duration_seconds histogram\n";
    for (size_t i = 0; i < kBuckets.size(); ++i) {
      out << "invoice_extract_request_duration_seconds_bucket{le=\"" << kBuckets[i] << "\"} " << buckets_[i] << "\n";
    }
    out << "invoice_extract_request_duration_seconds_bucket{le=\"+Inf\"} " << count_ << "\n"
        << "invoice_extract_request_duration_seconds_sum " << sum_ << "\n"
        << "invoice_extract_request_duration_seconds_count " << count_ << "\n"
        << "# HELP invoice_extract_worker_restarts_total Worker processes that ended (retired, died or were killed) "
           "and are replaced.\n"
           "# TYPE invoice_extract_worker_restarts_total counter\n"
        << "invoice_extract_worker_restarts_total " << restarts << "\n"
        << "# HELP invoice_extract_queue_length Requests waiting for a worker.\n"
           "# TYPE invoice_extract_queue_length gauge\n"
        << "invoice_extract_queue_length " << waiting << "\n"
        << "# HELP invoice_extract_requests_in_flight Requests with a file being processed or waiting.\n"
           "# TYPE invoice_extract_requests_in_flight gauge\n"
        << "invoice_extract_requests_in_flight " << in_flight << "\n";
    return out.str();
  }

 private:
  std::mutex mutex_;
  std::map<std::pair<std::string, std::string>, uint64_t> requests_;
  std::array<uint64_t, kBuckets.size()> buckets_ = {};
  uint64_t count_ = 0;
  double sum_ = 0;
};

std::string Now_Text() {
  const auto now = std::chrono::system_clock::now();
  const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
  const long millis =
      static_cast<long>(std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000);
  std::tm parts;
  gmtime_r(&seconds, &parts);
  char text[96];
  snprintf(text, sizeof(text), "%04d-%02d-%02dT%02d:%02d:%02d.%03ldZ", parts.tm_year + 1900, parts.tm_mon + 1,
           parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec, millis);
  return text;
}

// A file in the upload folder, made by the service and removed with this.
struct Temporary_File {
  std::string path;
  int descriptor = -1;
  bool Make(const std::string& folder, const char* stem) {
    std::string pattern = folder + "/" + stem + "-XXXXXX";
    descriptor = mkstemp(&pattern[0]);
    if (descriptor < 0) return false;
    path = pattern;
    return true;
  }
  // The body arrives in pieces of a few KiB; they are gathered here and
  // written in large ones, which saves most of the system calls of an upload.
  std::string pending;
  static constexpr size_t kGather = 256 * 1024;
  bool Append(const char* data, size_t size) {
    if (pending.size() + size > kGather && !Flush()) return false;
    if (size >= kGather) return Write(data, size);
    pending.append(data, size);
    return true;
  }
  bool Flush() {
    const bool written = Write(pending.data(), pending.size());
    pending.clear();
    return written;
  }
  bool Write(const char* data, size_t size) {
    while (size > 0) {
      const ssize_t written = write(descriptor, data, size);
      if (written < 0 && errno == EINTR) continue;
      if (written <= 0) return false;
      data += written;
      size -= static_cast<size_t>(written);
    }
    return true;
  }
  void Remove() {
    if (descriptor >= 0) close(descriptor);
    if (!path.empty()) unlink(path.c_str());
    descriptor = -1;
    path.clear();
  }
  ~Temporary_File() { Remove(); }
};

bool Read_Whole(const std::string& path, std::string* bytes) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::ostringstream content;
  content << in.rdbuf();
  *bytes = content.str();
  return true;
}

// Compares without stopping at the first difference.
bool Same_Secret(const std::string& given, const std::string& expected) {
  unsigned char difference = given.size() == expected.size() ? 0 : 1;
  for (size_t i = 0; i < given.size(); ++i) {
    difference |= static_cast<unsigned char>(given[i] ^ expected[i % (expected.empty() ? 1 : expected.size())]);
  }
  return difference == 0;
}

// One request, from the first call of the handler (its head has arrived) to
// the end of its answer; each runs on its connection's own thread.
class Service;

struct Request {
  Service* service = nullptr;
  Clock::time_point started = Clock::now();
  std::string method;
  std::string path;
  std::string result;  // the verdict code or the status word, for log and metrics; empty: none
  unsigned status = 0;
  size_t bytes = 0;  // of the answer's body
  bool answered = false;
  uint64_t length = 0;           // the Content-Length, 0 without one
  bool body_announced = false;   // a Content-Length above 0, or chunks
  bool answered_unread = false;  // answered while body bytes may still come
  // An answer that needs no upload, given once the request has come whole
  // (an answer given with the head would close the connection).
  std::function<void(MHD_Connection*, Request*)> reply;
  // A file to check: its upload, as it arrives.
  Job job;
  Temporary_File upload;
  uint64_t received = 0;
  bool too_large = false;
  bool write_failed = false;
  bool multipart_body = false;
  MHD_PostProcessor* multipart = nullptr;
  bool multipart_failed = false;
  bool has_file_field = false;
  std::string name = "-";
};

class Service {
 public:
  Service(const Options& options, unsigned workers, const std::string& folder, const std::string& token)
      : options_(options), workers_(workers), folder_(folder), token_(token), jobs_(Settings(options, workers)) {}

  static MHD_Result Handle(void* self, MHD_Connection* connection, const char* url, const char* method, const char*,
                           const char* data, size_t* size, void** state) {
    Service* service = static_cast<Service*>(self);
    if (*state == nullptr) {
      Request* request = new Request;
      request->service = service;
      request->method = method;
      request->path = url;
      *state = request;
      ++service->active_;
      request->length = strtoull(Header(connection, "Content-Length").c_str(), nullptr, 10);
      request->body_announced = request->length > 0 || MHD_lookup_connection_value(connection, MHD_HEADER_KIND,
                                                                                   "Transfer-Encoding") != nullptr;
      service->Begin(connection, request);
      request->answered_unread = request->answered && request->body_announced;
      return MHD_YES;
    }
    Request* request = static_cast<Request*>(*state);
    if (*size > 0) {
      if (!request->answered && !request->reply) service->Receive(connection, request, data, *size);
      *size = 0;  // taken, or dropped once answered
      return MHD_YES;
    }
    if (request->reply) {
      request->reply(connection, request);
    } else if (!request->answered) {
      service->Answer(connection, request);
    }
    return MHD_YES;
  }

  static void Completed(void* self, MHD_Connection* connection, void** state, MHD_RequestTerminationCode) {
    Service* service = static_cast<Service*>(self);
    Request* request = static_cast<Request*>(*state);
    if (request == nullptr) return;
    service->Log(*request);
    if (request->answered_unread) Linger(connection);
    if (request->multipart != nullptr) MHD_destroy_post_processor(request->multipart);
    delete request;
    *state = nullptr;
    --service->active_;
  }

  // A refusal goes out before the body it refuses, and the connection then
  // closes. Closed with bytes still unread, the socket would reset the
  // connection, and a client still sending would lose the answer; so what
  // still comes is read and dropped first, for two seconds at most.
  static void Linger(MHD_Connection* connection) {
    const MHD_ConnectionInfo* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
    if (info == nullptr) return;
    const int socket = info->connect_fd;
    shutdown(socket, SHUT_WR);
    const auto until = Clock::now() + std::chrono::seconds(2);
    char dropped[16384];
    for (;;) {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(until - Clock::now()).count();
      pollfd readable = {socket, POLLIN, 0};
      if (left <= 0 || poll(&readable, 1, static_cast<int>(left)) <= 0) break;
      if (recv(socket, dropped, sizeof(dropped), 0) <= 0) break;
    }
  }

  // Requests begun and not yet ended.
  size_t Active() const { return active_; }

 private:
  static Pool_Settings Settings(const Options& options, unsigned workers) {
    Pool_Settings settings;
    settings.workers = workers;
    settings.timeout_seconds = options.timeout_seconds;
    settings.memory_limit = options.memory_limit;
    // A second job waits in a worker's pipe only when every worker has one
    // (so that no worker waits for the parent between two files); such a job
    // can wait behind a file that hangs until its deadline.
    settings.jobs_ahead = 2;
    return settings;
  }

  typedef std::vector<std::pair<const char*, std::string>> Headers;

  static void Send(MHD_Connection* connection, Request* request, unsigned status, const std::string& body,
                   const char* type, const Headers& headers = Headers()) {
    MHD_Response* response =
        MHD_create_response_from_buffer(body.size(), const_cast<char*>(body.data()), MHD_RESPMEM_MUST_COPY);
    if (response == nullptr) return;
    MHD_add_response_header(response, "Content-Type", type);
    // The upload goes before the answer: a client that has its answer finds
    // nothing of its file left.
    request->upload.Remove();
    for (const auto& header : headers) MHD_add_response_header(response, header.first, header.second.c_str());
    if (MHD_queue_response(connection, status, response) == MHD_YES) {
      request->answered = true;
      request->status = status;
      request->bytes = body.size();
    }
    MHD_destroy_response(response);
  }

  static void Fail(MHD_Connection* connection, Request* request, unsigned status, const std::string& message,
                   const Headers& headers = Headers()) {
    Send(connection, request, status, Error_Body(message), "application/json", headers);
  }

  static std::string Header(MHD_Connection* connection, const char* name) {
    const char* value = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, name);
    return value != nullptr ? value : "";
  }

  // The head has arrived: answer at once what needs no body, or get ready
  // for the upload.
  void Begin(MHD_Connection* connection, Request* request) {
    const std::string& path = request->path;
    const std::string& method = request->method;
    const bool page = path == "/" || path == "/healthz" || path == "/metrics";
    const std::string endpoint = path.compare(0, 4, "/v1/") == 0 ? path.substr(4) : "";
    const bool file = endpoint == "check" || endpoint == "inspect" || endpoint == "extract";
    if (!page && !file) {
      request->reply = [](MHD_Connection* c, Request* r) { Fail(c, r, 404, "no such path"); };
    } else if (page && method != "GET" && method != "HEAD") {
      request->reply = [](MHD_Connection* c, Request* r) {
        Fail(c, r, 405, "method not allowed; use GET, HEAD", {{"Allow", "GET, HEAD"}});
      };
    } else if (file && method != "POST") {
      request->reply = [](MHD_Connection* c, Request* r) {
        Fail(c, r, 405, "method not allowed; use POST", {{"Allow", "POST"}});
      };
    } else if (path == "/") {
      request->reply = [](MHD_Connection* c, Request* r) {
        Send(c, r, 200, Serve_Page(), "text/html; charset=utf-8",
             {{"Content-Security-Policy",
               "default-src 'none'; script-src 'unsafe-inline'; style-src 'unsafe-inline'; connect-src 'self'; "
               "img-src 'self' data: blob:; form-action 'none'; frame-ancestors 'none'"}});
      };
    } else if (path == "/healthz") {
      request->reply = [](MHD_Connection* c, Request* r) { Send(c, r, 200, "ok\n", "text/plain"); };
    } else if (path == "/metrics") {
      request->reply = [this](MHD_Connection* c, Request* r) {
        const size_t in_flight = jobs_.In_Flight();
        Send(c, r, 200, metrics_.Text(jobs_.Worker_Ends(), in_flight > workers_ ? in_flight - workers_ : 0, in_flight),
             "text/plain; version=0.0.4; charset=utf-8");
      };
    } else if (!Refuse_Early(connection, request)) {
      Job& job = request->job;
      job.command = endpoint == "check" ? Command::Check : endpoint == "extract" ? Command::Extract : Command::Inspect;
      // ?any-flavour=1 and ?explain=1 do what the tool's options do (inspect
      // always explains).
      auto flag = [connection](const char* name) {
        const char* value = MHD_lookup_connection_value(connection, MHD_GET_ARGUMENT_KIND, name);
        const std::string text = value != nullptr ? value : "";
        return text == "1" || text == "true" || text == "yes";
      };
      job.any_flavour = flag("any-flavour");
      job.explain = flag("explain");
      if (!request->upload.Make(folder_, "upload")) {
        Fail(connection, request, 500, std::string("cannot store the upload: ") + strerror(errno));
        return;
      }
      request->upload.pending.reserve(std::min<uint64_t>(request->length, Temporary_File::kGather));
      request->multipart_body = Header(connection, "Content-Type").compare(0, 19, "multipart/form-data") == 0;
      if (request->multipart_body) {
        request->multipart = MHD_create_post_processor(connection, 64 * 1024, &Service::Field, request);
        if (request->multipart == nullptr) Fail(connection, request, 400, "broken multipart body");
      }
    }
  }

  // The refusals that need no body: a token, the size, a full queue.
  bool Refuse_Early(MHD_Connection* connection, Request* request) {
    if (!token_.empty()) {
      const std::string given = Header(connection, "Authorization");
      const std::string prefix = "Bearer ";
      if (given.compare(0, prefix.size(), prefix) != 0 || !Same_Secret(given.substr(prefix.size()), token_)) {
        Fail(connection, request, 401, given.empty() ? "an Authorization: Bearer token is required" : "wrong token",
             {{"WWW-Authenticate", "Bearer"}});
        return true;
      }
    }
    if (request->length > options_.max_size) {
      Too_Large(connection, request);
      return true;
    }
    if (jobs_.In_Flight() >= workers_ + options_.queue) {
      Busy(connection, request);
      return true;
    }
    return false;
  }

  void Too_Large(MHD_Connection* connection, Request* request) {
    Fail(connection, request, 413, "the upload is larger than " + std::to_string(options_.max_size) + " bytes",
         {{"Connection", "close"}});
  }

  static void Busy(MHD_Connection* connection, Request* request) {
    Fail(connection, request, 503, "every worker is busy and the queue is full; try again", {{"Retry-After", "1"}});
  }

  bool Keep(Request* request, const char* data, size_t size) {
    request->received += size;
    if (request->received > options_.max_size) {
      request->too_large = true;
      return false;
    }
    if (!request->upload.Append(data, size)) {
      request->write_failed = true;
      return false;
    }
    return true;
  }

  void Receive(MHD_Connection* connection, Request* request, const char* data, size_t size) {
    if (request->too_large || request->write_failed || request->multipart_failed) return;
    if (request->multipart != nullptr) {
      if (MHD_post_process(request->multipart, data, size) != MHD_YES) request->multipart_failed = true;
    } else {
      Keep(request, data, size);
    }
    // Chunks that pass the size are refused while they still come.
    if (request->too_large) {
      Too_Large(connection, request);
      request->answered_unread = request->answered;
    }
  }

  // One piece of a multipart body; only the field named file is kept.
  static MHD_Result Field(void* state, MHD_ValueKind, const char* key, const char* filename, const char*, const char*,
                          const char* data, uint64_t offset, size_t size) {
    Request* request = static_cast<Request*>(state);
    if (key == nullptr || strcmp(key, "file") != 0) return MHD_YES;
    if (offset == 0) {
      if (request->has_file_field) return MHD_NO;  // one file a request
      request->has_file_field = true;
      if (filename != nullptr && filename[0] != '\0') request->name = filename;
    }
    Service* service = request->service;
    return size == 0 || service->Keep(request, data, size) ? MHD_YES : MHD_NO;
  }

  // The whole body has arrived.
  void Answer(MHD_Connection* connection, Request* request) {
    if (request->multipart != nullptr) {
      if (MHD_destroy_post_processor(request->multipart) != MHD_YES) request->multipart_failed = true;
      request->multipart = nullptr;
    }
    if (!request->too_large && !request->write_failed && !request->upload.Flush()) request->write_failed = true;
    if (request->too_large) {
      Too_Large(connection, request);
      return;
    }
    if (request->write_failed) {
      Fail(connection, request, 500, std::string("cannot store the upload: ") + strerror(errno));
      return;
    }
    if (request->multipart_failed) {
      Fail(connection, request, 400, "broken multipart body");
      return;
    }
    if (request->multipart_body && !request->has_file_field) {
      Fail(connection, request, 400, "the multipart body has no field named file");
      return;
    }
    if (request->received == 0) {
      Fail(connection, request, 400, "empty body: send the PDF as the body or as the multipart field file");
      return;
    }
    Temporary_File& upload = request->upload;
    close(upload.descriptor);
    upload.descriptor = -1;
    Job& job = request->job;
    job.path = upload.path;

    Temporary_File output;
    if (job.command == Command::Extract) {
      if (!output.Make(folder_, "xml")) {
        Fail(connection, request, 500, std::string("cannot make the output file: ") + strerror(errno));
        return;
      }
      job.temp_output = output.path;
    }

    File_Result result;
    result.path = request->name;
    if (!jobs_.Run(job, options_.queue, &result.report, &result.seconds)) {
      Busy(connection, request);
      return;
    }
    const File_Report& report = result.report;
    request->result = report.status != Status::Ok ? Status_Name(report.status) : std::to_string(report.result);
    Options shown;
    shown.command = job.command;
    shown.explain = job.explain;
    shown.any_flavour = job.any_flavour;
    if (job.command == Command::Extract) {
      result.output_written = report.status == Status::Ok && report.written;
      std::string xml;
      if (Accepted(result, shown) && Read_Whole(output.path, &xml)) {
        Send(connection, request, 200, xml, "application/xml");
        return;
      }
      result.output_written = false;
      Send(connection, request, 422, Json_Line(result, shown), "application/json");
      return;
    }
    Send(connection, request, 200, Json_Line(result, shown), "application/json");
  }

  void Log(const Request& request) {
    const double seconds = std::chrono::duration<double>(Clock::now() - request.started).count();
    metrics_.Count(Endpoint_Of(request.path), request.result, seconds);
    char number[32];
    snprintf(number, sizeof(number), "%.6f", seconds);
    const std::string line = "{\"time\":\"" + Now_Text() + "\",\"method\":" + Json_String(request.method) +
                             ",\"path\":" + Json_String(request.path) +
                             ",\"status\":" + std::to_string(request.status) +
                             ",\"bytes\":" + std::to_string(request.bytes) + ",\"seconds\":" + number +
                             ",\"result\":" + (request.result.empty() ? "null" : Json_String(request.result)) + "}\n";
    fwrite(line.data(), 1, line.size(), stderr);
  }

  const Options& options_;
  const unsigned workers_;
  const std::string folder_;
  const std::string token_;
  Job_Service jobs_;
  Metrics metrics_;
  std::atomic<size_t> active_{0};
};

// HOST:PORT with the host in brackets for IPv6.
bool Split_Listen(const std::string& listen, std::string* host, int* port) {
  const size_t colon = listen.rfind(':');
  if (colon == std::string::npos) return false;
  *host = listen.substr(0, colon);
  *port = atoi(listen.c_str() + colon + 1);
  if (host->size() >= 2 && host->front() == '[' && host->back() == ']') *host = host->substr(1, host->size() - 2);
  return !host->empty();
}

bool Read_Token(const std::string& path, std::string* token, std::string* error) {
  std::ifstream in(path);
  if (!in) {
    *error = "cannot read the token file " + path + ": " + strerror(errno);
    return false;
  }
  std::getline(in, *token);
  while (!token->empty() && (token->back() == '\r' || token->back() == ' ' || token->back() == '\t')) {
    token->pop_back();
  }
  if (token->empty()) {
    *error = "the token file " + path + " has no token on its first line";
    return false;
  }
  return true;
}

void Remove_Folder(const std::string& folder) {
  if (DIR* listing = opendir(folder.c_str())) {
    while (dirent* entry = readdir(listing)) {
      if (strcmp(entry->d_name, ".") != 0 && strcmp(entry->d_name, "..") != 0) {
        unlink((folder + "/" + entry->d_name).c_str());
      }
    }
    closedir(listing);
  }
  rmdir(folder.c_str());
}

// The server: a thread for each connection, which may wait for a worker; a
// read buffer of 256 KiB, so that an upload comes in a few large pieces.
MHD_Daemon* Start_Daemon(Service* service, const std::string& host, int port) {
  addrinfo hints = {};
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_PASSIVE;
  addrinfo* found = nullptr;
  if (getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found) != 0 || found == nullptr) {
    return nullptr;
  }
  unsigned flags = MHD_USE_THREAD_PER_CONNECTION | MHD_USE_POLL_INTERNAL_THREAD | MHD_USE_ITC;
  if (found->ai_family == AF_INET6) flags |= MHD_USE_IPv6;
  MHD_Daemon* daemon = MHD_start_daemon(
      flags, static_cast<uint16_t>(port), nullptr, nullptr, &Service::Handle, service, MHD_OPTION_SOCK_ADDR,
      found->ai_addr, MHD_OPTION_NOTIFY_COMPLETED, &Service::Completed, service, MHD_OPTION_LISTENING_ADDRESS_REUSE, 1u,
      MHD_OPTION_LISTEN_BACKLOG_SIZE, static_cast<unsigned>(SOMAXCONN), MHD_OPTION_CONNECTION_MEMORY_LIMIT,
      static_cast<size_t>(256 * 1024), MHD_OPTION_CONNECTION_TIMEOUT, 5u, MHD_OPTION_END);
  freeaddrinfo(found);
  return daemon;
}

}  // namespace

int Serve(const Options& options, unsigned workers) {
  std::string host;
  int port = 0;
  if (!Split_Listen(options.listen, &host, &port)) {
    fprintf(stderr, "invoice-extract: --listen wants HOST:PORT, not %s\n", options.listen.c_str());
    return 2;
  }
  std::string token;
  if (!options.token_file.empty()) {
    std::string error;
    if (!Read_Token(options.token_file, &token, &error)) {
      fprintf(stderr, "invoice-extract: %s\n", error.c_str());
      return 2;
    }
  }

  // SIGTERM and SIGINT are awaited by this thread; every thread made from
  // here on inherits the mask, and workers unblock them.
  sigset_t stop_signals;
  sigemptyset(&stop_signals);
  sigaddset(&stop_signals, SIGTERM);
  sigaddset(&stop_signals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &stop_signals, nullptr);
  signal(SIGPIPE, SIG_IGN);

  const char* temporary = getenv("TMPDIR");
  std::string pattern =
      std::string(temporary != nullptr && temporary[0] != '\0' ? temporary : "/tmp") + "/invoice-extract-serve-XXXXXX";
  if (mkdtemp(&pattern[0]) == nullptr) {  // mode 0700
    fprintf(stderr, "invoice-extract: cannot make the upload folder %s: %s\n", pattern.c_str(), strerror(errno));
    return 3;
  }
  const std::string folder = pattern;

  int status = 0;
  {
    Service service(options, workers, folder, token);
    MHD_Daemon* daemon = Start_Daemon(&service, host, port);
    if (daemon == nullptr) {
      fprintf(stderr, "invoice-extract: cannot listen on %s\n", options.listen.c_str());
      status = 3;
    } else {
      const MHD_DaemonInfo* bound = MHD_get_daemon_info(daemon, MHD_DAEMON_INFO_BIND_PORT);
      const std::string shown = host.find(':') != std::string::npos ? "[" + host + "]" : host;
      printf("listening on http://%s:%d/\n", shown.c_str(), bound != nullptr ? bound->port : port);
      fflush(stdout);
      int number = 0;
      sigwait(&stop_signals, &number);
      // No new connections; the requests under way are answered, then the
      // connections close.
      const MHD_socket listening = MHD_quiesce_daemon(daemon);
      if (listening != MHD_INVALID_SOCKET) close(listening);
      while (service.Active() > 0) std::this_thread::sleep_for(std::chrono::milliseconds(10));
      MHD_stop_daemon(daemon);
    }
  }
  Remove_Folder(folder);
  return status;
}

}  // namespace tool
