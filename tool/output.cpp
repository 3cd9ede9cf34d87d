#include "output.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <vector>

#include "explain.h"
#include "invoice_extract.h"

namespace tool {

namespace {

double Now_Seconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

std::string Status_Words(Status status) {
  switch (status) {
    case Status::Ok:
      return "ok";
    case Status::Timeout:
      return "timeout";
    case Status::Crashed:
      return "crashed";
    case Status::Out_Of_Memory:
      return "out of memory";
    case Status::Error:
      return "error";
  }
  return "error";
}

bool Shows_Explanation(const Options& options) { return options.explain || options.command == Command::Inspect; }

// Length of the UTF-8 sequence at text[at], or 0 when it is not one.
size_t Utf8_Sequence(const std::string& text, size_t at) {
  const unsigned char lead = static_cast<unsigned char>(text[at]);
  size_t length = 0;
  uint32_t code = 0;
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
    code = lead & 0x1F;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    code = lead & 0x0F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    code = lead & 0x07;
  } else {
    return 0;
  }
  if (text.size() - at < length) return 0;
  for (size_t i = 1; i < length; ++i) {
    const unsigned char next = static_cast<unsigned char>(text[at + i]);
    if ((next & 0xC0) != 0x80) return 0;
    code = (code << 6) | (next & 0x3F);
  }
  const uint32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
  if (code < smallest[length] || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return 0;
  return length;
}

class Json_Object {
 public:
  void Text(const char* key, const std::string& value) { Raw(key, Json_String(value)); }
  void Number(const char* key, int64_t value) { Raw(key, std::to_string(value)); }
  void Boolean(const char* key, bool value) { Raw(key, value ? "true" : "false"); }
  void Null(const char* key) { Raw(key, "null"); }
  void Optional(const char* key, const Optional_Text& value) {
    if (value.present) {
      Text(key, value.value);
    } else {
      Null(key);
    }
  }
  void Raw(const char* key, const std::string& json) {
    body_ += (body_.empty() ? "" : ",") + Json_String(key) + ":" + json;
  }
  std::string Close() const { return "{" + body_ + "}"; }

 private:
  std::string body_;
};

const char* Metadata_Word(Metadata_State state) {
  switch (state) {
    case Metadata_State::Not_Read:
      return nullptr;
    case Metadata_State::Absent:
      return "absent";
    case Metadata_State::Undecodable:
      return "undecodable";
    case Metadata_State::Rejected:
      return "rejected";
    case Metadata_State::Read:
      return "read";
  }
  return nullptr;
}

void Add_Inspection(const Inspection& in, Json_Object* json) {
  if (!in.open_error.empty()) json->Text("open_error", in.open_error);
  if (in.open_result != 0) json->Number("open_result", in.open_result);
  json->Boolean("encrypted", in.encrypted);
  const char* metadata = Metadata_Word(in.metadata);
  if (metadata != nullptr) {
    json->Text("metadata", metadata);
  } else {
    json->Null("metadata");
  }
  if (in.pdfa_part.present || in.pdfa_conformance.present) {
    Json_Object pdfa;
    pdfa.Optional("part", in.pdfa_part);
    pdfa.Optional("conformance", in.pdfa_conformance);
    json->Raw("pdfa", pdfa.Close());
  } else {
    json->Null("pdfa");
  }
  if (in.schema != Schema::None) {
    Json_Object schema;
    schema.Text("standard", Schema_Name(in.schema));
    schema.Text("namespace", in.schema_namespace);
    schema.Optional("DocumentType", in.document_type);
    schema.Optional("DocumentFileName", in.document_file_name);
    schema.Optional("Version", in.version);
    schema.Optional("ConformanceLevel", in.conformance_level);
    json->Raw("schema", schema.Close());
  } else {
    json->Null("schema");
  }
  if (!in.other_schema_namespace.empty()) json->Text("other_schema", in.other_schema_namespace);
  if (in.attachments_read) {
    std::string list;
    for (const Attachment& attachment : in.attachments) {
      Json_Object item;
      item.Text("name", attachment.name);
      if (attachment.size >= 0) {
        item.Number("size", attachment.size);
      } else {
        item.Null("size");
      }
      if (!attachment.note.empty()) item.Text("note", attachment.note);
      list += (list.empty() ? "" : ",") + item.Close();
    }
    json->Raw("attachments", "[" + list + "]");
    if (!in.attachments_note.empty()) json->Text("attachments_note", in.attachments_note);
  } else {
    json->Null("attachments");
  }
  if (in.invoice_xml.read) {
    Json_Object xml;
    xml.Number("result", in.invoice_xml.code);
    xml.Text("guideline", in.invoice_xml.guideline_id);
    xml.Text("document_id", in.invoice_xml.document_id);
    xml.Text("issue_date", in.invoice_xml.issue_date);
    xml.Number("issue_date_format", in.invoice_xml.issue_date_format);
    json->Raw("invoice_xml", xml.Close());
  } else {
    json->Null("invoice_xml");
  }
}

std::string Optional_Shown(const Optional_Text& text) { return text.present ? Printable(text.value) : "-"; }

}  // namespace

std::string Printable(const std::string& text) {
  std::string out;
  for (char c : text) {
    const unsigned char byte = static_cast<unsigned char>(c);
    if (c == '\n') {
      out += "\\n";
    } else if (c == '\t') {
      out += "\\t";
    } else if (c == '\\') {
      out += "\\\\";
    } else if (byte < 0x20 || byte == 0x7F) {
      char escaped[8];
      snprintf(escaped, sizeof(escaped), "\\x%02X", byte);
      out += escaped;
    } else {
      out += c;
    }
  }
  return out;
}

std::string Json_String(const std::string& text) {
  std::string out = "\"";
  for (size_t at = 0; at < text.size();) {
    const unsigned char byte = static_cast<unsigned char>(text[at]);
    size_t length = Utf8_Sequence(text, at);
    if (length == 0) {
      out += "\xEF\xBF\xBD";
      ++at;
      continue;
    }
    if (length > 1) {
      out.append(text, at, length);
      at += length;
      continue;
    }
    switch (byte) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      case '\b':
        out += "\\b";
        break;
      case '\f':
        out += "\\f";
        break;
      default:
        if (byte < 0x20 || byte == 0x7F) {
          char escaped[8];
          snprintf(escaped, sizeof(escaped), "\\u%04x", byte);
          out += escaped;
        } else {
          out += static_cast<char>(byte);
        }
    }
    ++at;
  }
  return out + "\"";
}

bool Accepted(const File_Result& result, const Options& options) {
  const File_Report& report = result.report;
  if (report.status != Status::Ok || !report.has_result) return false;
  const bool invoice = report.result == ZUGF_RESULT_INVOICE || (options.any_flavour && !report.other_flavour.empty());
  if (options.command == Command::Extract) return invoice && result.output_written;
  return invoice;
}

std::string Human_Line(const File_Result& result, const Options& options) {
  const File_Report& report = result.report;
  std::string line = Printable(result.path) + ": ";
  if (report.status != Status::Ok) {
    line += Status_Words(report.status) + " (" + Printable(report.reason) + ")";
    if (report.has_result && report.result != ZUGF_RESULT_OUT_OF_MEMORY) {
      line += "; the library had answered: " + std::string(ZUGF_Describe_Result(report.result));
    }
    return line + "\n";
  }
  const bool other = options.any_flavour && !report.other_flavour.empty();
  if (other) {
    line += Printable(report.other_flavour) + ", not ZUGFeRD 1.0";
  } else {
    line += ZUGF_Describe_Result(report.result);
    if (Shows_Explanation(options) && !report.explanation.empty()) line += ": " + Printable(report.explanation);
  }
  if (options.command == Command::Extract && result.output_written) {
    line += other ? "; " + Printable(report.written_member) + " written to " : "; XML written to ";
    line += Printable(result.output_path);
  }
  return line + "\n";
}

std::string Inspect_Block(const File_Result& result) {
  const File_Report& report = result.report;
  const Inspection& in = report.inspection;
  std::string out = Printable(result.path) + "\n";
  auto field = [&out](const std::string& name, const std::string& value) {
    std::string key = name.empty() ? "" : name + ":";
    key.resize(key.size() < 20 ? 20 : key.size() + 1, ' ');
    out += "  " + key + value + "\n";
  };
  if (report.has_result) {
    field("verdict", std::to_string(report.result) + ", " + ZUGF_Describe_Result(report.result));
  }
  if (!report.explanation.empty()) field("why", Printable(report.explanation));
  if (report.status != Status::Ok) field("status", Status_Words(report.status) + " (" + Printable(report.reason) + ")");
  if (!report.has_inspection || in.open_result != 0 || !in.open_error.empty()) return out;
  field("encrypted", in.encrypted ? "yes (contents not read: no password is taken)" : "no");
  if (in.encrypted) return out;
  switch (in.metadata) {
    case Metadata_State::Not_Read:
      break;
    case Metadata_State::Absent:
      field("XMP metadata", "none");
      break;
    case Metadata_State::Undecodable:
      field("XMP metadata", "cannot be decoded");
      break;
    case Metadata_State::Rejected:
      field("XMP metadata", "not well-formed");
      break;
    case Metadata_State::Read:
      if (in.pdfa_part.present || in.pdfa_conformance.present) {
        field("PDF/A", "part " + Optional_Shown(in.pdfa_part) + ", conformance " +
                           (in.pdfa_conformance.present && in.pdfa_conformance.value.empty()
                                ? std::string("(empty)")
                                : Optional_Shown(in.pdfa_conformance)));
      } else {
        field("PDF/A", "no identification");
      }
      if (in.schema != Schema::None) {
        field("invoice schema", std::string(Schema_Name(in.schema)) + " (" + Printable(in.schema_namespace) + ")");
        field("  DocumentType", Optional_Shown(in.document_type));
        field("  DocumentFileName", Optional_Shown(in.document_file_name));
        field("  Version", Optional_Shown(in.version));
        field("  ConformanceLevel", Optional_Shown(in.conformance_level));
      } else if (!in.other_schema_namespace.empty()) {
        field("invoice schema", "unknown (" + Printable(in.other_schema_namespace) + ")");
      } else {
        field("invoice schema", "none");
      }
      break;
  }
  if (in.attachments_read) {
    if (in.attachments.empty() && in.attachments_note.empty()) field("embedded files", "none");
    for (size_t i = 0; i < in.attachments.size(); ++i) {
      const Attachment& attachment = in.attachments[i];
      std::string size = attachment.size >= 0 ? std::to_string(attachment.size) + " bytes" : Printable(attachment.note);
      field(i == 0 ? "embedded files" : "", Printable(attachment.name) + " (" + size + ")");
    }
    if (!in.attachments_note.empty())
      field(in.attachments.empty() ? "embedded files" : "", Printable(in.attachments_note));
  }
  if (in.invoice_xml.read) {
    const Invoice_Xml_Info& xml = in.invoice_xml;
    std::string value = "guideline " + Printable(xml.guideline_id) + ", document " + Printable(xml.document_id) +
                        ", issued " + Printable(xml.issue_date) + " (format " + std::to_string(xml.issue_date_format) +
                        ")";
    if (xml.code != 0) value += "; reading stopped with library code " + std::to_string(xml.code);
    field("invoice XML", value);
  }
  return out;
}

std::string Json_Line(const File_Result& result, const Options& options) {
  const File_Report& report = result.report;
  Json_Object json;
  json.Text("file", result.path);
  if (report.has_result) {
    json.Number("result", report.result);
    json.Text("verdict", ZUGF_Describe_Result(report.result));
  } else {
    json.Null("result");
    json.Null("verdict");
  }
  json.Text("status", Status_Name(report.status));
  if (report.status != Status::Ok) json.Text("reason", report.reason);
  json.Boolean("accepted", Accepted(result, options));
  char seconds[32];
  snprintf(seconds, sizeof(seconds), "%.6f", result.seconds);
  json.Raw("seconds", seconds);
  if (Shows_Explanation(options) && !report.explanation.empty()) json.Text("explanation", report.explanation);
  if (options.any_flavour && !report.other_flavour.empty()) json.Text("flavour", report.other_flavour);
  if (options.command == Command::Extract) {
    if (result.output_written) {
      json.Text("output", result.output_path);
    } else {
      json.Null("output");
    }
    if (result.output_written && !report.written_member.empty()) json.Text("embedded_file", report.written_member);
  }
  if (options.command == Command::Inspect && report.has_inspection) Add_Inspection(report.inspection, &json);
  return json.Close() + "\n";
}

void Summary::Add(const File_Result& result, bool accepted_other_flavour) {
  ++files_;
  const File_Report& report = result.report;
  if (report.status != Status::Ok) {
    ++statuses_[report.status];
  } else if (accepted_other_flavour) {
    ++other_flavours_;
  } else if (report.has_result) {
    ++verdicts_[report.result];
  }
}

std::string Summary::Line(double seconds) const {
  char head[96];
  snprintf(head, sizeof(head), "%zu file%s in %.2f s", files_, files_ == 1 ? "" : "s", seconds);
  std::string line = head;
  std::vector<std::string> parts;
  // Verdicts in the order of the header's list: 0, -1, -2, ... then the rest.
  for (auto it = verdicts_.rbegin(); it != verdicts_.rend(); ++it) {
    if (it->first <= 0) parts.push_back(std::to_string(it->second) + " " + ZUGF_Describe_Result(it->first));
  }
  for (const auto& verdict : verdicts_) {
    if (verdict.first > 0) parts.push_back(std::to_string(verdict.second) + " " + ZUGF_Describe_Result(verdict.first));
  }
  if (other_flavours_ > 0) parts.push_back(std::to_string(other_flavours_) + " e-invoice of another flavour");
  for (const auto& status : statuses_)
    parts.push_back(std::to_string(status.second) + " " + Status_Words(status.first));
  for (size_t i = 0; i < parts.size(); ++i) line += (i == 0 ? ": " : "; ") + parts[i];
  return line;
}

Progress_Bar::Progress_Bar(size_t total, bool enabled) : total_(total), enabled_(enabled), started_(Now_Seconds()) {}

void Progress_Bar::Update(size_t done, bool force) {
  done_ = done;
  if (!enabled_) return;
  const double now = Now_Seconds();
  if (!force && drawn_ >= 0 && now - drawn_ < 0.1) return;
  drawn_ = now;
  winsize size;
  size_t columns = 80;
  if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 20) columns = size.ws_col;
  const double elapsed = now - started_;
  const double rate = elapsed > 0 ? done_ / elapsed : 0;
  char tail[96];
  if (rate > 0 && done_ < total_) {
    long left = std::lround((total_ - done_) / rate);
    snprintf(tail, sizeof(tail), " %zu/%zu  %.1f files/s  %ld:%02ld left", done_, total_, rate, left / 60, left % 60);
  } else {
    snprintf(tail, sizeof(tail), " %zu/%zu  %.1f files/s", done_, total_, rate);
  }
  std::string tail_text = tail;
  size_t bar_width = columns > tail_text.size() + 12 ? columns - tail_text.size() - 3 : 10;
  if (bar_width > 50) bar_width = 50;
  size_t filled = total_ > 0 ? bar_width * done_ / total_ : bar_width;
  std::string bar =
      "\r[" + std::string(filled, '#') + std::string(bar_width - filled, '.') + "]" + tail_text + "\x1b[K";
  fputs(bar.c_str(), stderr);
  fflush(stderr);
  shown_ = true;
}

void Progress_Bar::Clear() {
  if (!enabled_ || !shown_) return;
  fputs("\r\x1b[K", stderr);
  fflush(stderr);
  shown_ = false;
}

}  // namespace tool
