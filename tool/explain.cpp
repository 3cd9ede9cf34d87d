#include "explain.h"

#include "examine.h"
#include "invoice_extract.h"
#include "runtime/pdf_result.h"

namespace tool {

namespace {

const char kInvoice_File_Name[] = "ZUGFeRD-invoice.xml";

std::string Quoted(const std::string& text) { return "\"" + text + "\""; }

bool All_Digits(const std::string& text) {
  if (text.empty()) return false;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
  }
  return true;
}

// Why the open sequence refused the file.
std::string Open_Failure(int32_t code) {
  switch (code) {
    case PDF_RESULT_UNREADABLE:
      return "not a PDF, or cut short: no startxref found";
    case PDF_RESULT_BAD_TRAILER:
      return "damaged: the trailer or its Prev chain cannot be read";
    case PDF_RESULT_MALFORMED_XREF:
      return "damaged: malformed cross-reference section";
    case PDF_RESULT_MISSING_ROOT_OR_SIZE:
      return "damaged: the trailer has no Root or Size";
    case PDF_RESULT_NO_CATALOG:
      return "damaged: no catalog";
    case PDF_RESULT_OBJECT_MISSING:
      return "damaged: a referenced object does not exist";
    case PDF_RESULT_OBJECT_UNREADABLE:
      return "damaged: an object cannot be read";
    case PDF_RESULT_BAD_HEADER_LEVEL:
      return "unsupported PDF header version";
    case PDF_RESULT_BAD_ENCRYPTION:
      return "encrypted in a way the library does not understand";
    case PDF_RESULT_UNSUPPORTED_REVISION:
      return "encrypted with RC4 revision 2 (V 2, R 2), which the library refuses";
    case PDF_RESULT_OUT_OF_MEMORY:
      return "out of memory while opening";
    default:
      return "the PDF cannot be read (library code " + std::to_string(code) + ")";
  }
}

std::string Explain_Not_Pdfa3(const Inspection& in) {
  if (in.encrypted) return "encrypted: the library takes no password";
  switch (in.metadata) {
    case Metadata_State::Not_Read:
      return "";
    case Metadata_State::Absent:
      return "no XMP metadata";
    case Metadata_State::Undecodable:
      return "the XMP metadata stream cannot be decoded";
    case Metadata_State::Rejected:
      return "the XMP metadata is not well-formed";
    case Metadata_State::Read:
      break;
  }
  if (!in.pdfa_part.present || !in.pdfa_conformance.present) return "no PDF/A identification in the XMP metadata";
  const std::string& part = in.pdfa_part.value;
  const std::string& conformance = in.pdfa_conformance.value;
  if (part != "3") return "PDF/A part " + (All_Digits(part) ? part : Quoted(part)) + ", not 3";
  if (conformance.empty()) return "empty PDF/A conformance";
  if (!Is_Pdfa3(in)) return "unknown PDF/A conformance " + Quoted(conformance) + " for part 3";
  return "";
}

std::string Explain_Not_Invoice(const Inspection& in) {
  switch (in.schema) {
    case Schema::Zugferd_2:
    case Schema::Factur_X:
      return Flavour_Label(in) + ": not ZUGFeRD 1.0";
    case Schema::Zugferd_1:
      if (in.document_type.value != "INVOICE") {
        return "ZUGFeRD 1.0 DocumentType is " + Quoted(in.document_type.value) + ", not \"INVOICE\"";
      }
      if (!in.document_file_name.present) return "ZUGFeRD 1.0 metadata without DocumentFileName";
      if (in.document_file_name.value != kInvoice_File_Name) {
        return "ZUGFeRD 1.0 DocumentFileName is " + Quoted(in.document_file_name.value) + ", not \"" +
               kInvoice_File_Name + "\"";
      }
      return "";
    case Schema::None:
      break;
  }
  if (!in.other_schema_namespace.empty()) return "invoice schema " + in.other_schema_namespace + " is not ZUGFeRD 1.0";
  if (in.metadata == Metadata_State::Read) return "no invoice schema in the XMP metadata";
  return "";
}

std::string Explain_Missing_File(const Inspection& in) {
  if (!in.attachments_read) return "";
  std::string names;
  for (const Attachment& attachment : in.attachments) {
    if (attachment.name == kInvoice_File_Name) return "";
    names += (names.empty() ? "" : ", ") + attachment.name;
  }
  return std::string(kInvoice_File_Name) + " is not embedded" +
         (names.empty() ? " (no embedded files)" : " (embedded: " + names + ")");
}

std::string Explain_Undecodable(const Inspection& in) {
  for (const Attachment& attachment : in.attachments) {
    if (attachment.name == kInvoice_File_Name && !attachment.note.empty()) {
      return std::string(kInvoice_File_Name) + ": " + attachment.note;
    }
  }
  return "";
}

}  // namespace

bool Is_Pdfa3(const Inspection& in) {
  const std::string& conformance = in.pdfa_conformance.value;
  return in.pdfa_part.present && in.pdfa_part.value == "3" && in.pdfa_conformance.present &&
         (conformance == "A" || conformance == "U" || conformance == "B");
}

std::string Flavour_Label(const Inspection& in) {
  if (in.schema == Schema::None) return "";
  std::string label = Schema_Name(in.schema);
  if (in.document_type.value == "INVOICE") {
    label += " invoice";
  } else {
    label += " document of type " + Quoted(in.document_type.value);
  }
  if (in.conformance_level.present && !in.conformance_level.value.empty()) {
    label += " (" + in.conformance_level.value + ")";
  }
  return label;
}

std::string Other_Flavour_Invoice(const Inspection& in) {
  if (in.schema != Schema::Zugferd_2 && in.schema != Schema::Factur_X) return "";
  if (!Is_Pdfa3(in) || in.document_type.value != "INVOICE") return "";
  const Attachment* invoice = Named_Invoice_File(in);
  if (invoice == nullptr || invoice->size < 0) return "";
  return Flavour_Label(in);
}

std::string Explain_Verdict(int32_t result, const Inspection& in) {
  switch (result) {
    case ZUGF_RESULT_BAD_INPUT:
      if (!in.open_error.empty()) return "cannot be opened: " + in.open_error;
      return in.open_result != PDF_RESULT_OK ? Open_Failure(in.open_result) : "";
    case ZUGF_RESULT_NOT_PDFA3:
      return Explain_Not_Pdfa3(in);
    case ZUGF_RESULT_NOT_INVOICE:
      return Explain_Not_Invoice(in);
    case ZUGF_RESULT_NO_INVOICE_FILE:
      return Explain_Missing_File(in);
    case ZUGF_RESULT_CANNOT_DECODE:
    case ZUGF_RESULT_EXTRACT_FAILED:
      return Explain_Undecodable(in);
    default:
      return "";
  }
}

}  // namespace tool
