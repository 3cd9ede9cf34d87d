#include "serve.h"

#include <dirent.h>
#include <httplib.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
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

void Fail(httplib::Response& res, int status, const std::string& message) {
  res.status = status;
  res.set_content(Error_Body(message), "application/json");
}

std::string Endpoint_Of(const std::string& path) {
  for (const char* endpoint : kEndpoints) {
    if (path == std::string("/v1/") + endpoint) return endpoint;
  }
  if (path == "/") return "page";
  if (path == "/healthz") return "healthz";
  if (path == "/metrics") return "metrics";
  return "other";
}

// What one request did, for the log line and the metrics; each request runs
// on one thread from start to log.
struct Request_Note {
  Clock::time_point started;
  bool timed = false;
  std::string result;  // the verdict code or the status word; empty: none
};
thread_local Request_Note note;

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
  ~Temporary_File() {
    if (descriptor >= 0) close(descriptor);
    if (!path.empty()) unlink(path.c_str());
  }
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

class Service {
 public:
  Service(const Options& options, unsigned workers, const std::string& folder, const std::string& token)
      : options_(options), workers_(workers), folder_(folder), token_(token), jobs_(Settings(options, workers)) {}

  void Install(httplib::Server* server) {
    server->set_payload_max_length(options_.max_size);
    server->set_keep_alive_max_count(100000);
    server->set_keep_alive_timeout(5);
    // Every request that may wait for a worker needs a thread, and a few
    // more answer the page, the health check and the refusals meanwhile.
    const size_t threads = workers_ + options_.queue + 8;
    server->new_task_queue = [threads] { return new httplib::ThreadPool(threads); };

    server->set_pre_routing_handler([](const httplib::Request&, httplib::Response&) {
      note = Request_Note();
      note.started = Clock::now();
      note.timed = true;
      return httplib::Server::HandlerResponse::Unhandled;
    });
    // A client that announces its body can be refused before sending it.
    server->set_expect_100_continue_handler([this](const httplib::Request& req, httplib::Response& res) {
      if (Refuse_Early(req, res)) return res.status;
      return 100;
    });
    server->Get("/", [](const httplib::Request&, httplib::Response& res) {
      res.set_content(Serve_Page(), "text/html; charset=utf-8");
      res.set_header("Content-Security-Policy",
                     "default-src 'none'; script-src 'unsafe-inline'; style-src 'unsafe-inline'; "
                     "connect-src 'self'; img-src 'self' data: blob:; form-action 'none'; frame-ancestors 'none'");
    });
    server->Get("/healthz",
                [](const httplib::Request&, httplib::Response& res) { res.set_content("ok\n", "text/plain"); });
    server->Get("/metrics", [this](const httplib::Request&, httplib::Response& res) {
      const size_t in_flight = jobs_.In_Flight();
      res.set_content(metrics_.Text(jobs_.Worker_Ends(), in_flight > workers_ ? in_flight - workers_ : 0, in_flight),
                      "text/plain; version=0.0.4; charset=utf-8");
    });
    server->Post("/v1/(check|inspect|extract)",
                 [this](const httplib::Request& req, httplib::Response& res, const httplib::ContentReader& reader) {
                   Answer(req, res, reader);
                 });

    // Known paths with the wrong method.
    auto not_allowed = [](const char* allowed) {
      return [allowed](const httplib::Request&, httplib::Response& res) {
        res.set_header("Allow", allowed);
        Fail(res, 405, std::string("method not allowed; use ") + allowed);
      };
    };
    const char* pages = "/|/healthz|/metrics";
    const char* files = "/v1/(check|inspect|extract)";
    server->Get(files, not_allowed("POST"));
    server->Post(pages, not_allowed("GET, HEAD"));
    for (const char* pattern : {pages, files}) {
      const char* allowed = pattern == pages ? "GET, HEAD" : "POST";
      server->Put(pattern, not_allowed(allowed));
      server->Patch(pattern, not_allowed(allowed));
      server->Delete(pattern, not_allowed(allowed));
      server->Options(pattern, not_allowed(allowed));
    }

    // Errors that the library answers by itself (no route, a request it
    // cannot parse) get a JSON body too.
    server->set_error_handler(httplib::Server::HandlerWithResponse(
        [](const httplib::Request&, httplib::Response& res) -> httplib::Server::HandlerResponse {
          if (!res.body.empty()) return httplib::Server::HandlerResponse::Unhandled;
          std::string message = "the request could not be served (HTTP " + std::to_string(res.status) + ")";
          if (res.status == 400) message = "bad request";
          if (res.status == 404) message = "no such path";
          if (res.status == 413) message = "the upload is larger than the service accepts";
          res.set_content(Error_Body(message), "application/json");
          return httplib::Server::HandlerResponse::Handled;
        }));
    server->set_logger([this](const httplib::Request& req, const httplib::Response& res) { Log(req, res); });
  }

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

  // The refusals that need no body: a token, the size, a full queue.
  bool Refuse_Early(const httplib::Request& req, httplib::Response& res) {
    if (req.path.compare(0, 4, "/v1/") != 0) return false;
    if (!token_.empty()) {
      const std::string given = req.get_header_value("Authorization");
      const std::string prefix = "Bearer ";
      if (given.compare(0, prefix.size(), prefix) != 0 || !Same_Secret(given.substr(prefix.size()), token_)) {
        res.set_header("WWW-Authenticate", "Bearer");
        Fail(res, 401, given.empty() ? "an Authorization: Bearer token is required" : "wrong token");
        return true;
      }
    }
    if (req.has_header("Content-Length") &&
        strtoull(req.get_header_value("Content-Length").c_str(), nullptr, 10) > options_.max_size) {
      Fail(res, 413, "the upload is larger than " + std::to_string(options_.max_size) + " bytes");
      res.set_header("Connection", "close");
      return true;
    }
    if (jobs_.In_Flight() >= workers_ + options_.queue) {
      Busy(res);
      return true;
    }
    return false;
  }

  static void Busy(httplib::Response& res) {
    res.set_header("Retry-After", "1");
    Fail(res, 503, "every worker is busy and the queue is full; try again");
  }

  void Answer(const httplib::Request& req, httplib::Response& res, const httplib::ContentReader& reader) {
    if (Refuse_Early(req, res)) return;
    const std::string endpoint = req.path.substr(4);
    Job job;
    job.command = endpoint == "check" ? Command::Check : endpoint == "extract" ? Command::Extract : Command::Inspect;
    // ?any-flavour=1 and ?explain=1 do what the tool's options do (inspect
    // always explains).
    auto flag = [&req](const char* name) {
      const std::string value = req.get_param_value(name);
      return value == "1" || value == "true" || value == "yes";
    };
    job.any_flavour = flag("any-flavour");
    job.explain = flag("explain");

    Temporary_File upload;
    if (!upload.Make(folder_, "upload")) {
      Fail(res, 500, std::string("cannot store the upload: ") + strerror(errno));
      return;
    }
    if (req.has_header("Content-Length")) {
      upload.pending.reserve(std::min<uint64_t>(strtoull(req.get_header_value("Content-Length").c_str(), nullptr, 10),
                                                Temporary_File::kGather));
    }
    uint64_t received = 0;
    bool too_large = false;
    bool write_failed = false;
    auto keep = [&](const char* data, size_t size) {
      received += size;
      if (received > options_.max_size) {
        too_large = true;
        return false;
      }
      if (!upload.Append(data, size)) {
        write_failed = true;
        return false;
      }
      return true;
    };
    std::string name = "-";
    bool read = false;
    // With neither a length nor chunks there is no body to wait for.
    const bool has_body = req.has_header("Content-Length") || req.has_header("Transfer-Encoding");
    bool has_file_field = false;
    if (!has_body) {
      read = true;
    } else if (req.is_multipart_form_data()) {
      std::string field;
      read = reader(
          [&](const httplib::MultipartFormData& part) {
            field = part.name;
            if (field == "file") {
              if (has_file_field) return false;  // one file a request
              has_file_field = true;
              if (!part.filename.empty()) name = part.filename;
            }
            return true;
          },
          [&](const char* data, size_t size) { return field != "file" || keep(data, size); });
      if (read && !has_file_field) {
        Fail(res, 400, "the multipart body has no field named file");
        return;
      }
    } else {
      read = reader([&](const char* data, size_t size) { return keep(data, size); });
    }
    if (too_large) {
      res.set_header("Connection", "close");
      Fail(res, 413, "the upload is larger than " + std::to_string(options_.max_size) + " bytes");
      return;
    }
    if (!too_large && !write_failed && !upload.Flush()) write_failed = true;
    if (write_failed) {
      Fail(res, 500, std::string("cannot store the upload: ") + strerror(errno));
      return;
    }
    if (!read) {
      Fail(res, 400, req.is_multipart_form_data() ? "broken multipart body" : "the body could not be read");
      return;
    }
    if (received == 0) {
      Fail(res, 400, "empty body: send the PDF as the body or as the multipart field file");
      return;
    }
    close(upload.descriptor);
    upload.descriptor = -1;
    job.path = upload.path;

    Temporary_File output;
    if (job.command == Command::Extract) {
      if (!output.Make(folder_, "xml")) {
        Fail(res, 500, std::string("cannot make the output file: ") + strerror(errno));
        return;
      }
      job.temp_output = output.path;
    }

    File_Result result;
    result.path = name;
    if (!jobs_.Run(job, options_.queue, &result.report, &result.seconds)) {
      Busy(res);
      return;
    }
    const File_Report& report = result.report;
    note.result = report.status != Status::Ok ? Status_Name(report.status) : std::to_string(report.result);
    Options shown;
    shown.command = job.command;
    shown.explain = job.explain;
    shown.any_flavour = job.any_flavour;
    if (job.command == Command::Extract) {
      result.output_written = report.status == Status::Ok && report.written;
      std::string xml;
      if (Accepted(result, shown) && Read_Whole(output.path, &xml)) {
        res.set_content(xml, "application/xml");
        return;
      }
      result.output_written = false;
      res.status = 422;
      res.set_content(Json_Line(result, shown), "application/json");
      return;
    }
    res.set_content(Json_Line(result, shown), "application/json");
  }

  void Log(const httplib::Request& req, const httplib::Response& res) {
    const double seconds = note.timed ? std::chrono::duration<double>(Clock::now() - note.started).count() : 0;
    const std::string endpoint = Endpoint_Of(req.path);
    metrics_.Count(endpoint, note.result, seconds);
    char number[32];
    snprintf(number, sizeof(number), "%.6f", seconds);
    const std::string line = "{\"time\":\"" + Now_Text() + "\",\"method\":" + Json_String(req.method) +
                             ",\"path\":" + Json_String(req.path) + ",\"status\":" + std::to_string(res.status) +
                             ",\"bytes\":" + std::to_string(res.body.size()) + ",\"seconds\":" + number +
                             ",\"result\":" + (note.result.empty() ? "null" : Json_String(note.result)) + "}\n";
    fwrite(line.data(), 1, line.size(), stderr);
    note = Request_Note();
  }

  const Options& options_;
  const unsigned workers_;
  const std::string folder_;
  const std::string token_;
  Job_Service jobs_;
  Metrics metrics_;
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

  // SIGTERM and SIGINT are taken by one thread of their own (every thread
  // made from here on inherits the mask); workers unblock them.
  sigset_t stop_signals;
  sigemptyset(&stop_signals);
  sigaddset(&stop_signals, SIGTERM);
  sigaddset(&stop_signals, SIGINT);
  sigaddset(&stop_signals, SIGUSR1);  // wakes that thread when the server ends on its own
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
    httplib::Server server;
    service.Install(&server);
    int listening = -1;
    server.set_socket_options([&listening](int socket) {
      int yes = 1;
      setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
      // Accepted connections inherit it: the head and the body of an answer
      // go out at once instead of waiting for the client's delayed ACK.
      setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof(yes));
      listening = socket;
    });
    const int bound = port == 0 ? server.bind_to_any_port(host) : (server.bind_to_port(host, port) ? port : -1);
    // The library listens with a backlog of 5, which drops connections when
    // many clients connect at once; listening again only raises it.
    if (bound >= 0 && listening >= 0) ::listen(listening, SOMAXCONN);
    if (bound < 0) {
      fprintf(stderr, "invoice-extract: cannot listen on %s\n", options.listen.c_str());
      status = 3;
    } else {
      const std::string shown = host.find(':') != std::string::npos ? "[" + host + "]" : host;
      printf("listening on http://%s:%d/\n", shown.c_str(), bound);
      fflush(stdout);
      std::atomic<bool> done(false);
      std::atomic<bool> signalled(false);
      std::thread stopper([&] {
        int number = 0;
        do {
          sigwait(&stop_signals, &number);
        } while (number == SIGUSR1 && !done);
        signalled = !done;
        // The server may not be listening yet: ask until it has stopped.
        while (!done) {
          server.stop();
          std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
      });
      // Returns once stopped, after the requests under way are answered.
      if (!server.listen_after_bind() && !signalled) status = 3;
      done = true;
      pthread_kill(stopper.native_handle(), SIGUSR1);
      stopper.join();
    }
  }
  Remove_Folder(folder);
  return status;
}

}  // namespace tool
