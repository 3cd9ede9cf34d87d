#include "front/zugf_identify.h"

#include <cstring>

#include "document/pdf_document.h"
#include "document/pdf_embedded_file.h"
#include "front/zugf_process.h"

const char* const ZUGF_Namespace_Table[2] = {
    "urn:ferd:pdfa:CrossIndustryDocument:invoice:1p0#",
    "urn:ferd:pdfa:crossindustrydocument:invoice:1p0#",
};

int32_t ZUGF_Identify_Invoice(ZUGF_Context* context, const uint32_t* part) {
  // Any conformance letter passes: the level query has refused the others.
  if (*part != 3) return ZUGF_NOT_PDFA3;

  char buffer[256];
  uint64_t size = 0;
  const char* name_space = nullptr;
  for (const char* candidate : ZUGF_Namespace_Table) {
    size = sizeof(buffer);
    PDF_Result result = PDF_Document_Get_Metadata_Property(context->document, candidate, "DocumentType", buffer, &size);
    if (result == PDF_RESULT_OK && size == 7 && strncmp(buffer, "INVOICE", 7) == 0) {
      name_space = candidate;
      break;
    }
  }
  if (name_space == nullptr) return ZUGF_NOT_INVOICE;

  // The file name is read under the matching spelling only.
  size = sizeof(buffer);
  PDF_Result result =
      PDF_Document_Get_Metadata_Property(context->document, name_space, "DocumentFileName", buffer, &size);
  if (result != PDF_RESULT_OK || size != 19 || strncmp(buffer, "ZUGFeRD-invoice.xml", 19) != 0) {
    return ZUGF_NOT_INVOICE;
  }

  result = PDF_Document_Find_Embedded_File(context->document, buffer, 19, PDF_NAME_UTF8, &context->invoice_object_id);
  if (result != PDF_RESULT_OK) return ZUGF_NO_EMBEDDED_INVOICE;
  return context->invoice_object_id == 0 ? ZUGF_NO_EMBEDDED_INVOICE : ZUGF_OK;
}
