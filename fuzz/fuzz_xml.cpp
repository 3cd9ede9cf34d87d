// The invoice XML handlers: the first byte chooses how the rest reaches
// Expat. Even: in one piece through ZUGF_Read_Invoice_Info. Odd: through a
// namespace-aware parser of our own with the three handlers installed, fed in
// pieces of (first byte / 2) + 1 bytes, so that texts arrive split.
#include <expat.h>

#include <cstdint>
#include <cstring>

#include "front/zugf_xml.h"

namespace {

void Check_Texts(const ZUGF_Invoice_Info& info) {
  // Every text stays terminated inside its field.
  if (memchr(info.guideline_id, 0, sizeof(info.guideline_id)) == nullptr ||
      memchr(info.document_id, 0, sizeof(info.document_id)) == nullptr ||
      memchr(info.issue_date, 0, sizeof(info.issue_date)) == nullptr) {
    __builtin_trap();
  }
}

void Parse_In_Pieces(const uint8_t* data, size_t size, size_t piece) {
  ZUGF_Invoice_Info info;
  memset(&info, 0, sizeof(info));
  ZUGF_Xml_State state;
  memset(&state, 0, sizeof(state));
  const XML_Char separator[2] = {ZUGF_XML_NAMESPACE_SEPARATOR, 0};
  state.parser = XML_ParserCreateNS(nullptr, separator[0]);
  if (state.parser == nullptr) return;
  state.result = &info;
  XML_SetUserData(state.parser, &state);
  XML_SetElementHandler(state.parser, ZUGF_Handle_Start_Element, ZUGF_Handle_End_Element);
  XML_SetCharacterDataHandler(state.parser, ZUGF_Handle_Character_Data);
  size_t offset = 0;
  while (offset < size) {
    size_t count = size - offset < piece ? size - offset : piece;
    if (XML_Parse(state.parser, reinterpret_cast<const char*>(data + offset), static_cast<int>(count), 0) !=
        XML_STATUS_OK) {
      break;
    }
    offset += count;
  }
  if (offset >= size) XML_Parse(state.parser, "", 0, 1);
  Check_Texts(info);
  ZUGF_Release_Xml_State(&state);
  XML_ParserFree(state.parser);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  if ((data[0] & 1) == 0) {
    ZUGF_Invoice_Info info;
    memset(&info, 0x55, sizeof(info));
    PDF_Result result = ZUGF_Read_Invoice_Info(data + 1, size - 1, &info);
    if (result == PDF_RESULT_OK) Check_Texts(info);
  } else {
    Parse_In_Pieces(data + 1, size - 1, static_cast<size_t>(data[0] >> 1) + 1);
  }
  return 0;
}
