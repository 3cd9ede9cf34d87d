#include "front/zugf_xml.h"

#include <climits>
#include <cstdlib>
#include <cstring>

const char ZUGF_Invoice_Namespace[] = "urn:ferd:CrossIndustryDocument:invoice:1p0";

namespace {

// One step along the known path: the element that leads from one state into
// the next. Its end tag leads back.
struct Path_Step {
  uint32_t from;
  uint32_t to;
  bool with_namespace;  // the element must be in the invoice namespace
  const char* local_name;
};

// Steps into the invoice's own aggregates want the invoice namespace; the
// inner steps are matched by local name alone, whatever their namespace.
const Path_Step kPath[] = {
    {ZUGF_XML_ROOT, ZUGF_XML_CONTEXT, true, "SpecifiedExchangedDocumentContext"},
    {ZUGF_XML_ROOT, ZUGF_XML_HEADER, true, "HeaderExchangedDocument"},
    {ZUGF_XML_CONTEXT, ZUGF_XML_GUIDELINE, false, "GuidelineSpecifiedDocumentContextParameter"},
    {ZUGF_XML_GUIDELINE, ZUGF_XML_GUIDELINE_ID, false, "ID"},
    {ZUGF_XML_HEADER, ZUGF_XML_DOCUMENT_ID, false, "ID"},
    {ZUGF_XML_HEADER, ZUGF_XML_ISSUE_DATE, false, "IssueDateTime"},
    {ZUGF_XML_ISSUE_DATE, ZUGF_XML_ISSUE_DATE_STRING, false, "DateTimeString"},
};

void Fail(ZUGF_Xml_State* state, PDF_Result code) {
  state->error = code;
  XML_StopParser(state->parser, XML_FALSE);
}

// Copies name into the state's scratch text and splits it at the first
// separator: name_space is null for a name without one.
bool Split_Name(ZUGF_Xml_State* state, const char* name, const char** name_space, const char** local_name) {
  size_t size = strlen(name) + 1;
  if (size > state->name_capacity) {
    size_t capacity = state->name_capacity * 2 > size ? state->name_capacity * 2 : size;
    if (capacity < 128) capacity = 128;
    char* grown = static_cast<char*>(realloc(state->name, capacity));
    if (grown == nullptr) {
      Fail(state, PDF_RESULT_OUT_OF_MEMORY);
      return false;
    }
    state->name = grown;
    state->name_capacity = capacity;
  }
  memcpy(state->name, name, size);
  char* separator = strchr(state->name, ZUGF_XML_NAMESPACE_SEPARATOR);
  if (separator == nullptr) {
    *name_space = nullptr;
    *local_name = state->name;
  } else {
    *separator = '\0';
    *name_space = state->name;
    *local_name = separator + 1;
  }
  return true;
}

bool Is_Invoice_Namespace(const char* name_space) {
  return name_space != nullptr && strcmp(name_space, ZUGF_Invoice_Namespace) == 0;
}

bool Step_Matches(const Path_Step& step, const char* name_space, const char* local_name) {
  return strcmp(step.local_name, local_name) == 0 && (!step.with_namespace || Is_Invoice_Namespace(name_space));
}

void Read_Format(ZUGF_Xml_State* state, const XML_Char** attributes) {
  for (const XML_Char** attribute = attributes; attribute != nullptr && attribute[0] != nullptr; attribute += 2) {
    if (strcmp(attribute[0], "format") == 0) {
      // Kept: the code goes through atol and is cut to 32 bits, so a value that
      // is not a number reads 0 and trailing characters are ignored ("102x" is
      // 102); callers compare the number, never the attribute's text.
      state->result->issue_date_format = static_cast<int32_t>(atol(attribute[1]));
    }
  }
}

}  // namespace

void ZUGF_Handle_Start_Element(void* user_data, const XML_Char* name, const XML_Char** attributes) {
  ZUGF_Xml_State* state = static_cast<ZUGF_Xml_State*>(user_data);
  if (state->error != 0) return;
  const char* name_space = nullptr;
  const char* local_name = nullptr;
  if (!Split_Name(state, name, &name_space, &local_name)) return;

  if (state->depth == 0) {
    if (!Is_Invoice_Namespace(name_space) || strcmp(local_name, "CrossIndustryDocument") != 0) {
      Fail(state, PDF_RESULT_BAD_INVOICE_XML);
      return;
    }
    state->state = ZUGF_XML_ROOT;
    state->depth++;
    return;
  }

  for (const Path_Step& step : kPath) {
    if (step.from == state->state && Step_Matches(step, name_space, local_name)) {
      state->state = step.to;
      if (step.to == ZUGF_XML_ISSUE_DATE_STRING) Read_Format(state, attributes);
      state->depth++;
      return;
    }
  }

  // An element off the path is skipped with everything inside it; only the
  // outermost one remembers where to come back to.
  if (state->state != ZUGF_XML_UNKNOWN) {
    state->saved_state = state->state;
    state->saved_depth = state->depth;
  }
  state->state = ZUGF_XML_UNKNOWN;
  state->depth++;
}

void ZUGF_Handle_End_Element(void* user_data, const XML_Char* name) {
  ZUGF_Xml_State* state = static_cast<ZUGF_Xml_State*>(user_data);
  if (state->error != 0) return;
  const char* name_space = nullptr;
  const char* local_name = nullptr;
  if (!Split_Name(state, name, &name_space, &local_name)) return;

  if (state->state == ZUGF_XML_UNKNOWN) {
    if (state->depth - 1 == state->saved_depth) state->state = state->saved_state;
  } else if (state->state != ZUGF_XML_ROOT) {
    const Path_Step* entry = nullptr;
    for (const Path_Step& step : kPath) {
      if (step.to == state->state) entry = &step;
    }
    if (entry == nullptr || !Step_Matches(*entry, name_space, local_name)) {
      Fail(state, PDF_RESULT_BAD_INVOICE_XML);
      return;
    }
    state->state = entry->from;
  }
  state->depth--;
}

void ZUGF_Handle_Character_Data(void* user_data, const XML_Char* text, int length) {
  ZUGF_Xml_State* state = static_cast<ZUGF_Xml_State*>(user_data);
  if (state->error != 0) return;
  char* target = nullptr;
  switch (state->state) {
    case ZUGF_XML_GUIDELINE_ID:
      target = state->result->guideline_id;
      break;
    case ZUGF_XML_DOCUMENT_ID:
      target = state->result->document_id;
      break;
    case ZUGF_XML_ISSUE_DATE_STRING:
      target = state->result->issue_date;
      break;
    default:
      return;
  }
  if (length < 0 || length >= static_cast<int>(ZUGF_INVOICE_TEXT_SIZE)) {
    Fail(state, PDF_RESULT_BAD_INVOICE_XML);
    return;
  }
  // Kept: each piece replaces the text before it, so a text that Expat delivers
  // in pieces (at a line end, a reference such as &amp;, a CDATA boundary or
  // the end of a fed buffer) keeps only its last piece, and the size limit
  // applies to each piece rather than to the whole text. The three values are
  // single tokens on one line in real invoices and come through whole; a value
  // written over several lines or with a reference comes back cut, silently.
  memcpy(target, text, static_cast<size_t>(length));
  target[length] = '\0';
}

void ZUGF_Release_Xml_State(ZUGF_Xml_State* state) {
  if (state == nullptr) return;
  free(state->name);
  state->name = nullptr;
  state->name_capacity = 0;
}

PDF_Result ZUGF_Read_Invoice_Info(const void* bytes, size_t length, ZUGF_Invoice_Info* info) {
  if (info == nullptr || (bytes == nullptr && length != 0)) return PDF_RESULT_INVALID_ARGUMENT;
  memset(info, 0, sizeof(*info));

  XML_Parser parser = XML_ParserCreateNS(nullptr, ZUGF_XML_NAMESPACE_SEPARATOR);
  if (parser == nullptr) return PDF_RESULT_OUT_OF_MEMORY;
  ZUGF_Xml_State state;
  memset(&state, 0, sizeof(state));
  state.parser = parser;
  state.result = info;
  XML_SetUserData(parser, &state);
  XML_SetElementHandler(parser, ZUGF_Handle_Start_Element, ZUGF_Handle_End_Element);
  XML_SetCharacterDataHandler(parser, ZUGF_Handle_Character_Data);

  // Expat takes an int length: a larger buffer goes in as several pieces.
  const char* next = static_cast<const char*>(bytes);
  size_t left = length;
  XML_Status status = XML_STATUS_OK;
  do {
    int piece = left > static_cast<size_t>(INT_MAX) ? INT_MAX : static_cast<int>(left);
    left -= static_cast<size_t>(piece);
    status = XML_Parse(parser, next, piece, left == 0 ? XML_TRUE : XML_FALSE);
    if (next != nullptr) next += piece;
  } while (status == XML_STATUS_OK && left != 0);

  PDF_Result result = PDF_RESULT_OK;
  if (state.error != 0) {
    result = state.error;
  } else if (status != XML_STATUS_OK) {
    result = XML_GetErrorCode(parser) == XML_ERROR_NO_MEMORY ? PDF_RESULT_OUT_OF_MEMORY : PDF_RESULT_BAD_INVOICE_XML;
  }
  ZUGF_Release_Xml_State(&state);
  XML_ParserFree(parser);
  return result;
}
