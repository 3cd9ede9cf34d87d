// What the tool learns about one PDF: the library's verdict, how processing
// ended, and for inspection what the file carries. Workers send these records
// to the parent over a pipe, so each has a byte encoding of its own.
#ifndef INVOICE_EXTRACT_TOOL_REPORT_H
#define INVOICE_EXTRACT_TOOL_REPORT_H

#include <cstdint>
#include <string>
#include <vector>

namespace tool {

// How processing of one file ended. Anything but Ok means the file could not
// be processed and the run ends with exit status 3.
enum class Status : uint8_t {
  Ok = 0,
  Timeout = 1,        // no answer within --timeout; the worker was killed
  Crashed = 2,        // the worker died, or the library threw through its entry point
  Out_Of_Memory = 3,  // an allocation failed under --memory-limit
  Error = 4,          // the tool could not do its part (output exists, cannot write)
};

// The word of a status in JSON ("ok", "timeout", "crashed", "out-of-memory",
// "error").
const char* Status_Name(Status status);

// A value that may be absent, as against present and empty.
struct Optional_Text {
  bool present = false;
  std::string value;
};

struct Attachment {
  std::string name;   // F (which the library compares), else UF, else the tree's key; UTF-8
  int64_t size = -1;  // decoded length; -1 when the data cannot be decoded
  std::string note;   // why the size is unknown
};

// Invoice schemas that the tool recognises in the XMP metadata.
enum class Schema : uint8_t {
  None = 0,
  Zugferd_1 = 1,  // either spelling of the 1.0 namespace
  Zugferd_2 = 2,
  Factur_X = 3,
};

// "ZUGFeRD 1.0", "ZUGFeRD 2", "Factur-X", or "" for None.
const char* Schema_Name(Schema schema);

// What the metadata stream gave.
enum class Metadata_State : uint8_t {
  Not_Read = 0,     // the document did not open, or is encrypted
  Absent = 1,       // no Metadata stream in the catalog
  Undecodable = 2,  // the stream's filters failed
  Rejected = 3,     // the XMP toolkit rejected the packet
  Read = 4,
};

struct Invoice_Xml_Info {
  bool read = false;  // the handlers ran over the embedded XML
  int32_t code = 0;   // their result (0, or the library's code of the failure)
  std::string guideline_id;
  std::string document_id;
  std::string issue_date;
  int32_t issue_date_format = 0;
};

struct Inspection {
  int32_t open_result = 0;  // library code of the open sequence; 0 when it opened
  std::string open_error;   // why the file could not be opened at all (errno text)
  bool encrypted = false;
  Metadata_State metadata = Metadata_State::Not_Read;
  Optional_Text pdfa_part;         // pdfaid:part as written
  Optional_Text pdfa_conformance;  // pdfaid:conformance as written
  Schema schema = Schema::None;
  std::string schema_namespace;
  Optional_Text document_type;
  Optional_Text document_file_name;
  Optional_Text version;
  Optional_Text conformance_level;
  // With no known schema: the namespace of another one that carries a
  // DocumentType (a draft or a later version).
  std::string other_schema_namespace;
  bool attachments_read = false;
  std::vector<Attachment> attachments;
  // What stopped the walk of the embedded-file tree short, e.g. a cycle.
  std::string attachments_note;
  Invoice_Xml_Info invoice_xml;
};

struct File_Report {
  bool has_result = false;
  int32_t result = 0;  // what the exported call returned
  Status status = Status::Ok;
  std::string reason;       // for a status other than Ok
  std::string explanation;  // the first check that failed, when asked for
  // An e-invoice of another flavour than ZUGFeRD 1.0 (--any-flavour), e.g.
  // "Factur-X invoice (EN 16931)"; empty otherwise.
  std::string other_flavour;
  bool written = false;        // extract: the XML is in the temporary file
  std::string written_member;  // extract: the embedded file that was written
  bool has_inspection = false;
  Inspection inspection;
};

// Byte encodings for the pipe between worker and parent. Decoding fails on
// anything that an encoding did not produce.
std::string Encode_Report(const File_Report& report);
bool Decode_Report(const std::string& bytes, File_Report* report);

// Writing and reading of the fields of an encoding.
class Wire_Writer {
 public:
  void Put_U8(uint8_t value) { bytes_.push_back(static_cast<char>(value)); }
  void Put_U32(uint32_t value);
  void Put_I64(int64_t value);
  void Put_Text(const std::string& text);
  void Put_Optional(const Optional_Text& text);
  const std::string& Bytes() const { return bytes_; }

 private:
  std::string bytes_;
};

class Wire_Reader {
 public:
  explicit Wire_Reader(const std::string& bytes) : bytes_(bytes) {}
  bool Get_U8(uint8_t* value);
  bool Get_U32(uint32_t* value);
  bool Get_I64(int64_t* value);
  bool Get_Text(std::string* text);
  bool Get_Optional(Optional_Text* text);
  bool Get_Bool(bool* value);
  bool At_End() const { return position_ == bytes_.size(); }

 private:
  const std::string& bytes_;
  size_t position_ = 0;
};

}  // namespace tool

#endif
