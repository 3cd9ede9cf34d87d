#include "report.h"

#include <cstring>

namespace tool {

const char* Status_Name(Status status) {
  switch (status) {
    case Status::Ok:
      return "ok";
    case Status::Timeout:
      return "timeout";
    case Status::Crashed:
      return "crashed";
    case Status::Out_Of_Memory:
      return "out-of-memory";
    case Status::Error:
      return "error";
  }
  return "error";
}

const char* Schema_Name(Schema schema) {
  switch (schema) {
    case Schema::None:
      return "";
    case Schema::Zugferd_1:
      return "ZUGFeRD 1.0";
    case Schema::Zugferd_2:
      return "ZUGFeRD 2";
    case Schema::Factur_X:
      return "Factur-X";
  }
  return "";
}

void Wire_Writer::Put_U32(uint32_t value) {
  char raw[sizeof(value)];
  memcpy(raw, &value, sizeof(value));
  bytes_.append(raw, sizeof(raw));
}

void Wire_Writer::Put_I64(int64_t value) {
  char raw[sizeof(value)];
  memcpy(raw, &value, sizeof(value));
  bytes_.append(raw, sizeof(raw));
}

void Wire_Writer::Put_Text(const std::string& text) {
  Put_U32(static_cast<uint32_t>(text.size()));
  bytes_.append(text);
}

void Wire_Writer::Put_Optional(const Optional_Text& text) {
  Put_U8(text.present ? 1 : 0);
  Put_Text(text.value);
}

bool Wire_Reader::Get_U8(uint8_t* value) {
  if (bytes_.size() - position_ < 1) return false;
  *value = static_cast<uint8_t>(bytes_[position_++]);
  return true;
}

bool Wire_Reader::Get_U32(uint32_t* value) {
  if (bytes_.size() - position_ < sizeof(*value)) return false;
  memcpy(value, bytes_.data() + position_, sizeof(*value));
  position_ += sizeof(*value);
  return true;
}

bool Wire_Reader::Get_I64(int64_t* value) {
  if (bytes_.size() - position_ < sizeof(*value)) return false;
  memcpy(value, bytes_.data() + position_, sizeof(*value));
  position_ += sizeof(*value);
  return true;
}

bool Wire_Reader::Get_Text(std::string* text) {
  uint32_t length = 0;
  if (!Get_U32(&length) || bytes_.size() - position_ < length) return false;
  text->assign(bytes_, position_, length);
  position_ += length;
  return true;
}

bool Wire_Reader::Get_Optional(Optional_Text* text) {
  bool present = false;
  if (!Get_Bool(&present) || !Get_Text(&text->value)) return false;
  text->present = present;
  return true;
}

bool Wire_Reader::Get_Bool(bool* value) {
  uint8_t byte = 0;
  if (!Get_U8(&byte) || byte > 1) return false;
  *value = byte == 1;
  return true;
}

namespace {

void Put_Inspection(Wire_Writer* out, const Inspection& in) {
  out->Put_I64(in.open_result);
  out->Put_Text(in.open_error);
  out->Put_U8(in.encrypted ? 1 : 0);
  out->Put_U8(static_cast<uint8_t>(in.metadata));
  out->Put_Optional(in.pdfa_part);
  out->Put_Optional(in.pdfa_conformance);
  out->Put_U8(static_cast<uint8_t>(in.schema));
  out->Put_Text(in.schema_namespace);
  out->Put_Optional(in.document_type);
  out->Put_Optional(in.document_file_name);
  out->Put_Optional(in.version);
  out->Put_Optional(in.conformance_level);
  out->Put_Text(in.other_schema_namespace);
  out->Put_U8(in.attachments_read ? 1 : 0);
  out->Put_Text(in.attachments_note);
  out->Put_U32(static_cast<uint32_t>(in.attachments.size()));
  for (const Attachment& attachment : in.attachments) {
    out->Put_Text(attachment.name);
    out->Put_I64(attachment.size);
    out->Put_Text(attachment.note);
  }
  const Invoice_Xml_Info& xml = in.invoice_xml;
  out->Put_U8(xml.read ? 1 : 0);
  out->Put_I64(xml.code);
  out->Put_Text(xml.guideline_id);
  out->Put_Text(xml.document_id);
  out->Put_Text(xml.issue_date);
  out->Put_I64(xml.issue_date_format);
}

bool Get_I32(Wire_Reader* in, int32_t* value) {
  int64_t wide = 0;
  if (!in->Get_I64(&wide) || wide < INT32_MIN || wide > INT32_MAX) return false;
  *value = static_cast<int32_t>(wide);
  return true;
}

template <typename Enum>
bool Get_Enum(Wire_Reader* in, Enum* value, uint8_t last) {
  uint8_t raw = 0;
  if (!in->Get_U8(&raw) || raw > last) return false;
  *value = static_cast<Enum>(raw);
  return true;
}

bool Get_Inspection(Wire_Reader* in, Inspection* out) {
  uint32_t count = 0;
  if (!Get_I32(in, &out->open_result) || !in->Get_Text(&out->open_error) || !in->Get_Bool(&out->encrypted) ||
      !Get_Enum(in, &out->metadata, static_cast<uint8_t>(Metadata_State::Read)) || !in->Get_Optional(&out->pdfa_part) ||
      !in->Get_Optional(&out->pdfa_conformance) ||
      !Get_Enum(in, &out->schema, static_cast<uint8_t>(Schema::Factur_X)) || !in->Get_Text(&out->schema_namespace) ||
      !in->Get_Optional(&out->document_type) || !in->Get_Optional(&out->document_file_name) ||
      !in->Get_Optional(&out->version) || !in->Get_Optional(&out->conformance_level) ||
      !in->Get_Text(&out->other_schema_namespace) || !in->Get_Bool(&out->attachments_read) ||
      !in->Get_Text(&out->attachments_note) || !in->Get_U32(&count)) {
    return false;
  }
  out->attachments.clear();
  for (uint32_t i = 0; i < count; ++i) {
    Attachment attachment;
    if (!in->Get_Text(&attachment.name) || !in->Get_I64(&attachment.size) || !in->Get_Text(&attachment.note)) {
      return false;
    }
    out->attachments.push_back(std::move(attachment));
  }
  Invoice_Xml_Info& xml = out->invoice_xml;
  return in->Get_Bool(&xml.read) && Get_I32(in, &xml.code) && in->Get_Text(&xml.guideline_id) &&
         in->Get_Text(&xml.document_id) && in->Get_Text(&xml.issue_date) && Get_I32(in, &xml.issue_date_format);
}

}  // namespace

std::string Encode_Report(const File_Report& report) {
  Wire_Writer out;
  out.Put_U8(report.has_result ? 1 : 0);
  out.Put_I64(report.result);
  out.Put_U8(static_cast<uint8_t>(report.status));
  out.Put_Text(report.reason);
  out.Put_Text(report.explanation);
  out.Put_Text(report.other_flavour);
  out.Put_U8(report.written ? 1 : 0);
  out.Put_Text(report.written_member);
  out.Put_U8(report.has_inspection ? 1 : 0);
  if (report.has_inspection) Put_Inspection(&out, report.inspection);
  return out.Bytes();
}

bool Decode_Report(const std::string& bytes, File_Report* report) {
  Wire_Reader in(bytes);
  File_Report decoded;
  if (!in.Get_Bool(&decoded.has_result) || !Get_I32(&in, &decoded.result) ||
      !Get_Enum(&in, &decoded.status, static_cast<uint8_t>(Status::Error)) || !in.Get_Text(&decoded.reason) ||
      !in.Get_Text(&decoded.explanation) || !in.Get_Text(&decoded.other_flavour) || !in.Get_Bool(&decoded.written) ||
      !in.Get_Text(&decoded.written_member) || !in.Get_Bool(&decoded.has_inspection)) {
    return false;
  }
  if (decoded.has_inspection && !Get_Inspection(&in, &decoded.inspection)) return false;
  if (!in.At_End()) return false;
  *report = std::move(decoded);
  return true;
}

}  // namespace tool
