#include "examine.h"

#include <exempi/xmp.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>
#include <type_traits>
#include <vector>

#include "document/pdf_catalog.h"
#include "document/pdf_document.h"
#include "document/pdf_embedded_file.h"
#include "front/zugf_identify.h"
#include "front/zugf_xml.h"
#include "objects/pdf_array.h"
#include "objects/pdf_data_object.h"
#include "objects/pdf_dictionary.h"
#include "objects/pdf_filter.h"
#include "objects/pdf_name.h"
#include "objects/pdf_object.h"
#include "objects/pdf_stream.h"
#include "objects/pdf_stream_decode.h"
#include "objects/pdf_string.h"
#include "reader/pdf_file.h"
#include "text/pdf_text.h"
#include "xmp/pdf_xmp.h"

namespace tool {

namespace {

// --- The document, opened with the tool's own callbacks ----------------------

void* Alloc_Block(uint64_t size, void*) { return malloc(size); }

int32_t Free_Block(void* block, void*) {
  if (block == nullptr) return PDF_RESULT_NOTHING_TO_FREE;
  free(block);
  return PDF_RESULT_OK;
}

// Positional reads from a file descriptor; the library reads nothing else
// than absolute positions.
uint64_t Read_Block(void* buffer, uint32_t mode, uint64_t position, uint64_t count, const char*, void* context) {
  if (mode != PDF_READ_MODE_ABSOLUTE || buffer == nullptr) return 0;
  int descriptor = *static_cast<int*>(context);
  uint64_t done = 0;
  while (done < count) {
    ssize_t got =
        pread(descriptor, static_cast<char*>(buffer) + done, count - done, static_cast<off_t>(position + done));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    done += static_cast<uint64_t>(got);
  }
  return done;
}

struct Open_Document {
  int descriptor = -1;
  PDF_Document* document = nullptr;
  ~Open_Document() {
    if (document != nullptr) PDF_Document_Release(&document);
    if (descriptor >= 0) close(descriptor);
  }
};

// --- Text ---------------------------------------------------------------------

void Append_Utf8(uint32_t code, std::string* out) {
  if (code < 0x80) {
    out->push_back(static_cast<char>(code));
  } else if (code < 0x800) {
    out->push_back(static_cast<char>(0xC0 | (code >> 6)));
    out->push_back(static_cast<char>(0x80 | (code & 0x3F)));
  } else if (code < 0x10000) {
    out->push_back(static_cast<char>(0xE0 | (code >> 12)));
    out->push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (code & 0x3F)));
  } else {
    out->push_back(static_cast<char>(0xF0 | (code >> 18)));
    out->push_back(static_cast<char>(0x80 | ((code >> 12) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (code & 0x3F)));
  }
}

// UTF-16 behind its byte order mark; unpaired surrogates become U+FFFD.
std::string Utf16_To_Utf8(const std::vector<uint8_t>& bytes, bool little_endian) {
  std::string out;
  auto unit_at = [&](size_t at) -> uint32_t {
    return little_endian ? (bytes[at + 1] << 8) | bytes[at] : (bytes[at] << 8) | bytes[at + 1];
  };
  for (size_t at = 2; at + 1 < bytes.size(); at += 2) {
    uint32_t unit = unit_at(at);
    if (unit >= 0xD800 && unit <= 0xDBFF && at + 3 < bytes.size()) {
      uint32_t low = unit_at(at + 2);
      if (low >= 0xDC00 && low <= 0xDFFF) {
        Append_Utf8(0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00), &out);
        at += 2;
        continue;
      }
    }
    Append_Utf8(unit >= 0xD800 && unit <= 0xDFFF ? 0xFFFD : unit, &out);
  }
  return out;
}

// A PDF text string (PDFDocEncoding or UTF-16 with its mark) as UTF-8.
std::string Pdf_Text(PDF_Memory* memory, const PDF_String* string) {
  if (string == nullptr || string->bytes == nullptr) return "";
  std::vector<uint8_t> bytes(string->bytes, string->bytes + string->length);
  uint64_t length = bytes.size();
  PDF_Result decoded = PDF_RESULT_OK;
  if (string->kind == PDF_STRING_KIND_LITERAL) {
    decoded = PDF_String_Decode_Literal(bytes.data(), bytes.size(), &length, false);
  } else if (string->kind == PDF_STRING_KIND_HEX) {
    decoded = PDF_String_Decode_Hex(bytes.data(), bytes.size(), &length, false);
  }
  if (decoded != PDF_RESULT_OK) return "";
  bytes.resize(length);
  if (bytes.size() >= 2 && bytes[0] == 0xFE && bytes[1] == 0xFF) return Utf16_To_Utf8(bytes, false);
  if (bytes.size() >= 2 && bytes[0] == 0xFF && bytes[1] == 0xFE) return Utf16_To_Utf8(bytes, true);
  if (bytes.size() >= 3 && bytes[0] == 0xEF && bytes[1] == 0xBB && bytes[2] == 0xBF) {
    return std::string(bytes.begin() + 3, bytes.end());
  }
  char* text = nullptr;
  uint64_t text_length = 0;
  if (PDF_Text_To_UTF8(memory, bytes.data(), bytes.size(), PDF_TEXT_PDF_DOC, &text, &text_length, false) !=
      PDF_RESULT_OK) {
    return "";
  }
  std::string result(text, text_length);
  PDF_Memory_Free(memory, &text);
  return result;
}

// --- XMP ----------------------------------------------------------------------

typedef std::unique_ptr<std::remove_pointer<XmpPtr>::type, bool (*)(XmpPtr)> Xmp_Holder;
typedef std::unique_ptr<std::remove_pointer<XmpStringPtr>::type, void (*)(XmpStringPtr)> Xmp_String_Holder;
typedef std::unique_ptr<std::remove_pointer<XmpIteratorPtr>::type, bool (*)(XmpIteratorPtr)> Xmp_Iterator_Holder;

// The toolkit's option bit of a schema node; Exempi's header names it only in
// a macro.
const uint32_t kXmp_Schema_Node = 0x80000000u;

Xmp_String_Holder New_String() { return Xmp_String_Holder(xmp_string_new(), xmp_string_free); }

// One property as the library reads it: a simple value as it stands, an
// alternative-text array as its "x-default" item, any other array or struct
// as its leaf values joined with ", ".
Optional_Text Xmp_Text(XmpPtr xmp, const char* name_space, const char* name) {
  Optional_Text text;
  Xmp_String_Holder value = New_String();
  // A namespace that no packet has used is unknown to the toolkit, which
  // would complain about it on standard error.
  if (!xmp_namespace_prefix(name_space, value.get())) return text;
  uint32_t options = 0;
  if (!xmp_get_property(xmp, name_space, name, value.get(), &options)) return text;
  text.present = true;
  if ((options & XMP_PROP_VALUE_IS_ARRAY) && (options & XMP_PROP_ARRAY_IS_ALTTEXT)) {
    Xmp_String_Holder language = New_String();
    if (xmp_get_localized_text(xmp, name_space, name, nullptr, "x-default", language.get(), value.get(), nullptr)) {
      text.value = xmp_string_cstr(value.get());
    }
    return text;
  }
  if ((options & (XMP_PROP_VALUE_IS_ARRAY | XMP_PROP_VALUE_IS_STRUCT)) == 0) {
    text.value = xmp_string_cstr(value.get());
    return text;
  }
  Xmp_Iterator_Holder items(xmp_iterator_new(xmp, name_space, name, XMP_ITER_OMITQUALIFIERS), xmp_iterator_free);
  if (!items) return text;
  Xmp_String_Holder item = New_String();
  uint32_t item_options = 0;
  while (xmp_iterator_next(items.get(), nullptr, nullptr, item.get(), &item_options)) {
    if ((item_options & kXmp_Schema_Node) || (item_options & XMP_PROP_COMPOSITE_MASK)) continue;
    if (!text.value.empty()) text.value += ", ";
    text.value += xmp_string_cstr(item.get());
  }
  return text;
}

struct Known_Schema {
  Schema schema;
  const char* name_space;
};

// In the order of trial; ZUGFeRD 1.0 in the library's own order of spellings.
const Known_Schema known_schemas[] = {
    {Schema::Zugferd_1, ZUGF_Namespace_Table[0]},
    {Schema::Zugferd_1, ZUGF_Namespace_Table[1]},
    {Schema::Zugferd_2, "urn:zugferd:pdfa:CrossIndustryDocument:invoice:2p0#"},
    {Schema::Factur_X, "urn:factur-x:pdfa:CrossIndustryDocument:invoice:1p0#"},
};

bool Is_Known_Namespace(const std::string& name_space) {
  for (const Known_Schema& known : known_schemas) {
    if (name_space == known.name_space) return true;
  }
  return false;
}

// The namespace of the first property named DocumentType under a schema the
// tool doesn't know, or "".
std::string Other_Schema_With_Document_Type(XmpPtr xmp) {
  Xmp_Iterator_Holder items(xmp_iterator_new(xmp, nullptr, nullptr, XMP_ITER_PROPERTIES), xmp_iterator_free);
  if (!items) return "";
  Xmp_String_Holder schema = New_String();
  Xmp_String_Holder path = New_String();
  static const std::string suffix = ":DocumentType";
  while (xmp_iterator_next(items.get(), schema.get(), path.get(), nullptr, nullptr)) {
    std::string name = xmp_string_cstr(path.get());
    if (name.size() > suffix.size() && name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0 &&
        name.find('/') == std::string::npos && !Is_Known_Namespace(xmp_string_cstr(schema.get()))) {
      return xmp_string_cstr(schema.get());
    }
  }
  return "";
}

void Read_Xmp(XmpPtr xmp, Inspection* out) {
  out->pdfa_part = Xmp_Text(xmp, PDF_XMP_NS_PDFA_ID, "part");
  out->pdfa_conformance = Xmp_Text(xmp, PDF_XMP_NS_PDFA_ID, "conformance");

  // The schema whose DocumentType is "INVOICE", else the first that has one.
  const Known_Schema* chosen = nullptr;
  for (const Known_Schema& known : known_schemas) {
    Optional_Text type = Xmp_Text(xmp, known.name_space, "DocumentType");
    if (!type.present) continue;
    if (type.value == "INVOICE") {
      chosen = &known;
      break;
    }
    if (chosen == nullptr) chosen = &known;
  }
  if (chosen == nullptr) {
    out->other_schema_namespace = Other_Schema_With_Document_Type(xmp);
    return;
  }
  out->schema = chosen->schema;
  out->schema_namespace = chosen->name_space;
  out->document_type = Xmp_Text(xmp, chosen->name_space, "DocumentType");
  out->document_file_name = Xmp_Text(xmp, chosen->name_space, "DocumentFileName");
  out->version = Xmp_Text(xmp, chosen->name_space, "Version");
  out->conformance_level = Xmp_Text(xmp, chosen->name_space, "ConformanceLevel");
}

void Inspect_Metadata(PDF_File* file, Inspection* out) {
  PDF_Object* metadata = PDF_Catalog_Get_Metadata(PDF_File_Get_Catalog(file), file);
  PDF_Stream* stream =
      static_cast<PDF_Stream*>(PDF_Data_Object_Get_Typed_Value(PDF_Object_Get_Value(metadata), PDF_Data_Type_Stream));
  if (stream == nullptr) {
    out->metadata = Metadata_State::Absent;
    return;
  }
  const uint8_t* bytes = PDF_Stream_Get_Data(stream);
  uint64_t length = PDF_Stream_Get_Length(stream);
  if (bytes == nullptr) {
    out->metadata = Metadata_State::Undecodable;
    return;
  }
  // The toolkit counts its initialisations; this one is closed below.
  xmp_init();
  {
    Xmp_Holder xmp(xmp_new(reinterpret_cast<const char*>(bytes), static_cast<uint32_t>(length)), xmp_free);
    if (!xmp) {
      out->metadata = Metadata_State::Rejected;
    } else {
      out->metadata = Metadata_State::Read;
      Read_Xmp(xmp.get(), out);
    }
  }
  xmp_terminate();
}

// --- Embedded files -------------------------------------------------------------

// The names of the filters still on a stream, joined with "+".
std::string Filter_Names(PDF_Stream* stream) {
  PDF_Data_Object* filter = PDF_Data_Object_Resolve(PDF_Stream_Find_Value(stream, "Filter"));
  std::string names;
  auto add = [&names](PDF_Data_Object* value) {
    const char* text =
        PDF_Name_Get_Text(static_cast<PDF_Name*>(PDF_Data_Object_Get_Direct_Value(value, PDF_Data_Type_Name)));
    if (!names.empty()) names += "+";
    names += text != nullptr ? text : "?";
  };
  PDF_Array* array = static_cast<PDF_Array*>(PDF_Data_Object_Get_Direct_Value(filter, PDF_Data_Type_Array));
  if (array != nullptr) {
    for (uint32_t i = 0; i < PDF_Array_Get_Count(array); ++i) add(PDF_Array_Get_Value(array, i));
  } else {
    add(filter);
  }
  return names;
}

class Attachment_Walk {
 public:
  Attachment_Walk(PDF_Memory* memory, Inspection* out, const std::string& wanted, std::string* wanted_bytes)
      : memory_(memory), out_(out), wanted_(wanted), wanted_bytes_(wanted_bytes) {}

  // The same node order as the library's search: Kids make a node inner,
  // whatever else it holds; leaves in array order. Unlike that search this
  // walk visits each node once and stops at a depth no real file needs.
  void Node(PDF_Dictionary* node, unsigned depth) {
    if (node == nullptr) return;
    if (depth > kMaximum_Depth) {
      out_->attachments_note = "the embedded-file tree is nested more than " + std::to_string(kMaximum_Depth) +
                               " levels deep; the walk stopped there";
      return;
    }
    if (!visited_.insert(node).second) {
      out_->attachments_note = "the embedded-file tree leads back to a node already seen (a cycle in its Kids)";
      return;
    }
    PDF_Data_Object* kids_value = PDF_Dictionary_Find_Value(node, "Kids");
    if (kids_value != nullptr) {
      PDF_Array* kids = static_cast<PDF_Array*>(PDF_Data_Object_Get_Typed_Value(kids_value, PDF_Data_Type_Array));
      for (uint32_t i = 0; i < PDF_Array_Get_Count(kids); ++i) {
        Node(static_cast<PDF_Dictionary*>(
                 PDF_Data_Object_Get_Typed_Value(PDF_Array_Get_Value(kids, i), PDF_Data_Type_Dictionary)),
             depth + 1);
      }
      return;
    }
    PDF_Array* names = static_cast<PDF_Array*>(
        PDF_Data_Object_Get_Typed_Value(PDF_Dictionary_Find_Value(node, "Names"), PDF_Data_Type_Array));
    uint32_t count = PDF_Array_Get_Count(names);
    for (uint32_t i = 0; i + 1 < count; i += 2) {
      Leaf(PDF_Array_Get_Value(names, i), PDF_Array_Get_Value(names, i + 1));
    }
  }

 private:
  static const unsigned kMaximum_Depth = 64;

  void Leaf(PDF_Data_Object* key, PDF_Data_Object* value) {
    PDF_Data_Object* filespec = PDF_Data_Object_Resolve(value);
    PDF_Dictionary* dictionary =
        static_cast<PDF_Dictionary*>(PDF_Data_Object_Get_Direct_Value(filespec, PDF_Data_Type_Dictionary));
    Attachment attachment;
    for (const char* entry : {"F", "UF"}) {
      if (!attachment.name.empty()) break;
      attachment.name = Text_Of(PDF_Dictionary_Find_Value(dictionary, entry));
    }
    if (attachment.name.empty()) attachment.name = Text_Of(key);

    PDF_Object* stream_object = PDF_Filespec_Get_Stream(filespec);
    PDF_Stream* stream = static_cast<PDF_Stream*>(
        PDF_Data_Object_Get_Direct_Value(PDF_Object_Get_Value(stream_object), PDF_Data_Type_Stream));
    if (stream == nullptr) {
      attachment.note = "no embedded data";
    } else {
      PDF_Result decoded = PDF_Stream_Decode(stream, false);
      uint32_t filters_left = 0;
      PDF_Stream_Get_Filter_Count(stream, &filters_left);
      if (decoded != PDF_RESULT_OK) {
        attachment.note = "cannot be decoded (library code " + std::to_string(decoded) + ")";
      } else if (filters_left > 0) {
        attachment.note = "compressed with " + Filter_Names(stream) + ", which the library does not decode";
      } else {
        attachment.size = static_cast<int64_t>(PDF_Stream_Get_Length(stream));
        Keep_If_Wanted(&attachment, stream);
      }
    }
    out_->attachments.push_back(std::move(attachment));
  }

  // The bytes of the first attachment of the wanted name; one whose bytes
  // cannot be copied out counts as undecodable.
  void Keep_If_Wanted(Attachment* attachment, PDF_Stream* stream) {
    if (wanted_bytes_ == nullptr || taken_ || wanted_.empty() || attachment->name != wanted_) return;
    std::string bytes(static_cast<size_t>(attachment->size), '\0');
    PDF_Result copied = bytes.empty() ? PDF_RESULT_OK : PDF_Stream_Read_Raw(stream, &bytes[0]);
    if (copied != PDF_RESULT_OK) {
      attachment->size = -1;
      attachment->note = "cannot be read (library code " + std::to_string(copied) + ")";
      return;
    }
    *wanted_bytes_ = std::move(bytes);
    taken_ = true;
  }

  std::string Text_Of(PDF_Data_Object* value) {
    return Pdf_Text(memory_, static_cast<PDF_String*>(PDF_Data_Object_Get_Typed_Value(value, PDF_Data_Type_String)));
  }

  PDF_Memory* memory_;
  Inspection* out_;
  std::string wanted_;
  std::string* wanted_bytes_;
  bool taken_ = false;
  std::set<PDF_Dictionary*> visited_;
};

void Inspect_Attachments(PDF_Document* document, Inspection* out, std::string* invoice_bytes) {
  PDF_Dictionary* names = PDF_Catalog_Get_Names(PDF_File_Get_Catalog(document->file));
  PDF_Dictionary* root = static_cast<PDF_Dictionary*>(
      PDF_Data_Object_Get_Typed_Value(PDF_Dictionary_Find_Value(names, "EmbeddedFiles"), PDF_Data_Type_Dictionary));
  out->attachments_read = true;
  const std::string wanted = out->document_file_name.present ? out->document_file_name.value : "";
  Attachment_Walk walk(document->memory, out, wanted, invoice_bytes);
  walk.Node(root, 0);
}

}  // namespace

const Attachment* Named_Invoice_File(const Inspection& inspection) {
  if (!inspection.document_file_name.present || inspection.document_file_name.value.empty()) return nullptr;
  for (const Attachment& attachment : inspection.attachments) {
    if (attachment.name == inspection.document_file_name.value) return &attachment;
  }
  return nullptr;
}

void Inspect_File(const std::string& path, const Inspect_Request& request, Inspection* out,
                  std::string* invoice_bytes) {
  *out = Inspection();
  Open_Document open;
  open.descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat status;
  if (open.descriptor < 0 || fstat(open.descriptor, &status) != 0) {
    out->open_result = PDF_RESULT_UNREADABLE;
    out->open_error = strerror(errno);
    return;
  }
  if (S_ISDIR(status.st_mode)) {
    out->open_result = PDF_RESULT_UNREADABLE;
    out->open_error = strerror(EISDIR);
    return;
  }
  out->open_result = PDF_Document_Create(&open.document, Alloc_Block, nullptr, Free_Block, nullptr, Read_Block,
                                         &open.descriptor, nullptr, nullptr, PDF_TOLERANCE_SHORT_STREAMS);
  if (out->open_result != PDF_RESULT_OK) return;

  // No key is ever installed: an encrypted document shows nothing more.
  out->encrypted = open.document->file->encrypted != 0;
  if (out->encrypted) return;

  Inspect_Metadata(open.document->file, out);
  std::string bytes;
  Inspect_Attachments(open.document, out, &bytes);
  const Attachment* invoice = Named_Invoice_File(*out);
  if (invoice == nullptr || invoice->size < 0) return;
  if (request.read_invoice_xml && out->schema == Schema::Zugferd_1) {
    ZUGF_Invoice_Info info;
    out->invoice_xml.read = true;
    out->invoice_xml.code = ZUGF_Read_Invoice_Info(bytes.data(), bytes.size(), &info);
    out->invoice_xml.guideline_id = info.guideline_id;
    out->invoice_xml.document_id = info.document_id;
    out->invoice_xml.issue_date = info.issue_date;
    out->invoice_xml.issue_date_format = info.issue_date_format;
  }
  if (request.keep_invoice_bytes && invoice_bytes != nullptr) *invoice_bytes = std::move(bytes);
}

}  // namespace tool
