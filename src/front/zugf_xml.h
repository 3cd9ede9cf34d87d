// Inspection of an invoice XML: three Expat handlers that walk the head of the
// document and pull out the guideline identifier, the document identifier and
// the issue date with its format code. The exported calls never install them;
// ZUGF_Read_Invoice_Info runs them over a buffer for tools that want to show
// what an extracted invoice says.
#ifndef INVOICE_EXTRACT_ZUGF_XML_H
#define INVOICE_EXTRACT_ZUGF_XML_H

#include <expat.h>

#include <cstddef>
#include <cstdint>

#include "runtime/pdf_result.h"

// The namespace of the invoice's own elements.
extern const char ZUGF_Invoice_Namespace[];

// The separator between namespace and local name in the element names that
// Expat hands to the handlers: the parser must be made with
// XML_ParserCreateNS(encoding, ZUGF_XML_NAMESPACE_SEPARATOR).
enum : char { ZUGF_XML_NAMESPACE_SEPARATOR = '\t' };

// Where the walk stands on the known path through the document.
enum ZUGF_Xml_Path_State : uint32_t {
  ZUGF_XML_UNKNOWN = 0,              // outside the known path, skipping
  ZUGF_XML_ROOT = 1,                 // in CrossIndustryDocument
  ZUGF_XML_CONTEXT = 100,            // in SpecifiedExchangedDocumentContext
  ZUGF_XML_GUIDELINE = 110,          // in GuidelineSpecifiedDocumentContextParameter
  ZUGF_XML_GUIDELINE_ID = 111,       // in its ID
  ZUGF_XML_HEADER = 200,             // in HeaderExchangedDocument
  ZUGF_XML_DOCUMENT_ID = 210,        // in its ID
  ZUGF_XML_ISSUE_DATE = 220,         // in IssueDateTime
  ZUGF_XML_ISSUE_DATE_STRING = 221,  // in its DateTimeString
};

// Size of each text of ZUGF_Invoice_Info, terminating zero included.
enum : uint32_t { ZUGF_INVOICE_TEXT_SIZE = 256 };

// What the handlers read. Texts are zero-terminated; a text that the document
// doesn't carry stays as it was.
struct ZUGF_Invoice_Info {
  char guideline_id[ZUGF_INVOICE_TEXT_SIZE];
  char document_id[ZUGF_INVOICE_TEXT_SIZE];
  char issue_date[ZUGF_INVOICE_TEXT_SIZE];
  int32_t issue_date_format;  // the DateTimeString's format attribute, through atol
};

// The handlers' user data. Start it all zero, with parser and result set;
// release it with ZUGF_Release_Xml_State.
struct ZUGF_Xml_State {
  XML_Parser parser;
  int32_t error;         // 0 until the first failure; then every handler returns at once
  uint32_t state;        // a ZUGF_Xml_Path_State
  uint32_t depth;        // open elements
  uint32_t saved_state;  // where the walk left the known path
  uint32_t saved_depth;
  char* name;            // scratch copy of the current element name, split at the separator
  size_t name_capacity;  // bytes at name; grows to fit every name, which is copied whole
  ZUGF_Invoice_Info* result;
};

// Expat handlers (XML_StartElementHandler, XML_EndElementHandler,
// XML_CharacterDataHandler) over a ZUGF_Xml_State as user data. A failure sets
// the state's error and stops the parser for good:
//   -252 (PDF_RESULT_BAD_INVOICE_XML): a root other than CrossIndustryDocument
//        in the invoice namespace, an end tag on the known path that isn't the
//        one that entered it, or a text of 256 bytes or more for one of the
//        three texts;
//   -7 (PDF_RESULT_OUT_OF_MEMORY): no room for the scratch copy of a name.
void ZUGF_Handle_Start_Element(void* user_data, const XML_Char* name, const XML_Char** attributes);
void ZUGF_Handle_End_Element(void* user_data, const XML_Char* name);
void ZUGF_Handle_Character_Data(void* user_data, const XML_Char* text, int length);

// Frees the scratch name of a state and clears it; the state can be used again.
void ZUGF_Release_Xml_State(ZUGF_Xml_State* state);

// Runs a namespace-aware Expat parser with the three handlers over a whole
// invoice XML held in memory and fills info, which is cleared first. The
// bytes go to the parser in one piece, so a text is split only where Expat
// itself splits it (line ends, references, CDATA boundaries), and, as in the
// handlers, only its last piece is kept. Results:
//   0    the document was read; texts it doesn't carry are empty and the
//        format is 0;
//   -252 (PDF_RESULT_BAD_INVOICE_XML) a handler failed as above, or the bytes
//        are not well-formed XML (an empty buffer included);
//   -7   (PDF_RESULT_OUT_OF_MEMORY) no parser or no room for a name;
//   -500 (PDF_RESULT_INVALID_ARGUMENT) null info, or null bytes with a
//        non-zero length.
// On a failure info keeps what was read before it.
PDF_Result ZUGF_Read_Invoice_Info(const void* bytes, size_t length, ZUGF_Invoice_Info* info);

#endif
