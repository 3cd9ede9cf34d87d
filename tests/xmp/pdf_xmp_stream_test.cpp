// The bridge over metadata streams read from PDF syntax.
#include <gtest/gtest.h>

#include <string>

#include "objects/pdf_dictionary.h"
#include "objects/pdf_stream.h"
#include "support/pdf_xref_stream_builder.h"
#include "support/test_objects.h"
#include "xmp/pdf_xmp.h"
#include "xmp/pdf_xmp_lock.h"

namespace {

const std::string level_packet =
    "<x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'>"
    "<rdf:Description rdf:about='' xmlns:pdfaid='http://www.aiim.org/pdfa/ns/id/' pdfaid:part='3' "
    "pdfaid:conformance='B'/></rdf:RDF></x:xmpmeta>";

std::string Stream_Text(const std::string& entries, const std::string& data) {
  return "<< /Length " + std::to_string(data.size()) + entries + " >>\nstream\n" + data + "\nendstream";
}

using XMP_Stream_Test = Objects_Fixture;

TEST_F(XMP_Stream_Test, ReadsTheDecodedDataOfTheStream) {
  ASSERT_EQ(PDF_XMP_Lock_Create(), PDF_RESULT_OK);
  const struct {
    const char* label;
    std::string text;  // empty: no stream at all
    PDF_Result result;
    PDF_Pdfa_Flavour flavour;
  } cases[] = {
      {"plain", Stream_Text("", level_packet), PDF_RESULT_OK, PDF_PDFA_3B},
      // The length is taken after decoding: the compressed length would cut
      // the packet short.
      {"deflated", Stream_Text(" /Filter /FlateDecode", Pdf_Flate(level_packet)), PDF_RESULT_OK, PDF_PDFA_3B},
      // Streams without usable bytes give an empty record.
      {"no stream", "", PDF_RESULT_OK, PDF_PDFA_NONE},
      {"empty stream", Stream_Text("", ""), PDF_RESULT_OK, PDF_PDFA_NONE},
      {"filter without a decoder", Stream_Text(" /Filter /DCTDecode", level_packet), PDF_RESULT_OK, PDF_PDFA_NONE},
      {"data that doesn't inflate", Stream_Text(" /Filter /FlateDecode", level_packet), PDF_RESULT_OK, PDF_PDFA_NONE},
      {"bytes that don't parse", Stream_Text("", "<x:xmpmeta><unclosed>"), PDF_RESULT_XMP_REJECTED, PDF_PDFA_NONE},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    PDF_Stream* stream = nullptr;
    PDF_Dictionary* dictionary = nullptr;
    if (!c.text.empty()) {
      EXPECT_NE(PDF_Stream_Read(&stream, &dictionary, file, Input(c.text), 0), 0u);
    }
    PDF_XMP* xmp = nullptr;
    EXPECT_EQ(PDF_XMP_Create_From_Stream(&xmp, memory, stream), c.result);
    EXPECT_EQ(xmp != nullptr, c.result == PDF_RESULT_OK);
    EXPECT_EQ(PDF_XMP_Get_Pdfa_Level(xmp, nullptr, nullptr), c.flavour);
    if (xmp != nullptr) {
      EXPECT_EQ(PDF_XMP_Delete(&xmp, memory), PDF_RESULT_OK);
    }
    if (stream != nullptr) PDF_Stream_Delete(&stream, PDF_DELETE_MODE_RELEASE);
    if (dictionary != nullptr) PDF_Dictionary_Delete(&dictionary, file, PDF_DELETE_MODE_RELEASE);
  }
}

}  // namespace
