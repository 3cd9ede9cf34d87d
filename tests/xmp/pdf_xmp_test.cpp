#include "xmp/pdf_xmp.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "support/test_objects.h"
#include "xmp/pdf_xmp_lock.h"

namespace {

// A packet that identifies the part and, unless null, the conformance.
std::string Pdfaid(const char* part, const char* conformance) {
  std::string attributes = std::string(" pdfaid:part='") + part + "'";
  if (conformance != nullptr) attributes += std::string(" pdfaid:conformance='") + conformance + "'";
  return "<x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'>"
         "<rdf:Description rdf:about='' xmlns:pdfaid='http://www.aiim.org/pdfa/ns/id/'" +
         attributes + "/></rdf:RDF></x:xmpmeta>";
}

class XMP_Test : public Memory_Fixture {
 protected:
  void SetUp() override {
    ASSERT_EQ(PDF_XMP_Lock_Create(), PDF_RESULT_OK);
    Memory_Fixture::SetUp();
  }
  PDF_XMP* Create(const std::string& packet, PDF_Result expected = PDF_RESULT_OK) {
    PDF_XMP* xmp = reinterpret_cast<PDF_XMP*>(&allocator);  // cleared on failure
    EXPECT_EQ(PDF_XMP_Create(&xmp, memory, packet.data(), static_cast<uint32_t>(packet.size())), expected);
    return xmp;
  }
};

TEST_F(XMP_Test, PdfaLevelComparesPartAndConformanceExactly) {
  const struct {
    const char* part;
    const char* conformance;
    PDF_Pdfa_Flavour flavour;
    uint32_t stored_part;
  } cases[] = {
      {"1", "A", PDF_PDFA_1A, 1},       {"2", "U", PDF_PDFA_2U, 2},      {"3", "B", PDF_PDFA_3B, 3},
      {"1", "U", PDF_PDFA_UNKNOWN, 1},  {"3", "b", PDF_PDFA_UNKNOWN, 3}, {"03", "B", PDF_PDFA_UNKNOWN, 3},
      {"3", "BB", PDF_PDFA_UNKNOWN, 3}, {"x", "A", PDF_PDFA_UNKNOWN, 0}, {"3", nullptr, PDF_PDFA_NONE, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(Pdfaid(c.part, c.conformance));
    PDF_XMP* xmp = Create(Pdfaid(c.part, c.conformance));
    uint32_t part = 77;
    char conformance = 'z';
    EXPECT_EQ(PDF_XMP_Get_Pdfa_Level(xmp, &part, &conformance), c.flavour);
    EXPECT_EQ(part, c.stored_part);
    EXPECT_EQ(conformance, c.conformance != nullptr ? c.conformance[0] : 0);
    EXPECT_EQ(PDF_XMP_Delete(&xmp, memory), PDF_RESULT_OK);
  }
  // Present and empty: the first character is read with a bounds check that
  // nothing in the library catches; the part is stored before the throw.
  PDF_XMP* xmp = Create(Pdfaid("3", ""));
  uint32_t part = 0;
  char conformance = 'z';
  EXPECT_THROW(PDF_XMP_Get_Pdfa_Level(xmp, &part, &conformance), std::out_of_range);
  EXPECT_EQ(part, 3u);
  EXPECT_EQ(PDF_XMP_Get_Pdfa_Level(xmp, &part, nullptr), PDF_PDFA_UNKNOWN);
  EXPECT_EQ(PDF_XMP_Delete(&xmp, memory), PDF_RESULT_OK);
  EXPECT_EQ(PDF_XMP_Get_Pdfa_Level(nullptr, &part, &conformance), PDF_PDFA_NONE);
  // Only the given length is parsed; what follows would not parse.
  const std::string packet = Pdfaid("2", "U");
  xmp = Create(packet + "<<<" + packet.substr(3), PDF_RESULT_XMP_REJECTED);
  EXPECT_EQ(xmp, nullptr) << "rejected";
  ASSERT_EQ(PDF_XMP_Create(&xmp, memory, (packet + "<<<").data(), static_cast<uint32_t>(packet.size())), PDF_RESULT_OK);
  EXPECT_EQ(PDF_XMP_Get_Pdfa_Level(xmp, nullptr, nullptr), PDF_PDFA_2U);
  EXPECT_EQ(PDF_XMP_Delete(&xmp, memory), PDF_RESULT_OK);
}

}  // namespace
