#include "xmp/pdf_xmp.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

#include "support/test_objects.h"
#include "xmp/pdf_xmp_lock.h"

namespace {

const char* const DC = "http://purl.org/dc/elements/1.1/";
const char* const EXAMPLE = "http://example.com/ns/invoice-test/";

std::string Packet(const std::string& descriptions) {
  return "<x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'>" +
         descriptions + "</rdf:RDF></x:xmpmeta>";
}

// The identification as attributes or as elements; a null value is left out.
std::string Pdfaid(const char* part, const char* conformance, bool elements = false) {
  std::string head, body;
  for (const auto& field : {std::make_pair("part", part), std::make_pair("conformance", conformance)}) {
    if (field.second == nullptr) continue;
    const std::string name = std::string("pdfaid:") + field.first;
    if (elements) body += "<" + name + ">" + field.second + "</" + name + ">";
    if (!elements) head += " " + name + "='" + field.second + "'";
  }
  return Packet("<rdf:Description rdf:about='' xmlns:pdfaid='http://www.aiim.org/pdfa/ns/id/'" + head + ">" + body +
                "</rdf:Description>");
}

class XMP_Test : public Memory_Fixture {
 protected:
  void SetUp() override {
    ASSERT_EQ(PDF_XMP_Lock_Create(), PDF_RESULT_OK);
    Memory_Fixture::SetUp();
  }
  PDF_Result Create(PDF_XMP** xmp, const std::string& packet) {
    *xmp = reinterpret_cast<PDF_XMP*>(&allocator);  // cleared on failure
    return PDF_XMP_Create(xmp, memory, packet.data(), static_cast<uint32_t>(packet.size()));
  }
  PDF_XMP* Create(const std::string& packet) {
    PDF_XMP* xmp = nullptr;
    EXPECT_EQ(Create(&xmp, packet), PDF_RESULT_OK);
    return xmp;
  }
  void Delete(PDF_XMP** xmp) { EXPECT_EQ(PDF_XMP_Delete(xmp, memory), PDF_RESULT_OK); }
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
      {nullptr, "B", PDF_PDFA_NONE, 0},
  };
  for (const auto& c : cases) {
    for (bool elements : {false, true}) {
      SCOPED_TRACE(Pdfaid(c.part, c.conformance, elements));
      PDF_XMP* xmp = Create(Pdfaid(c.part, c.conformance, elements));
      uint32_t part = 77;
      char conformance = 'z';
      EXPECT_EQ(PDF_XMP_Get_Pdfa_Level(xmp, &part, &conformance), c.flavour);
      EXPECT_EQ(part, c.stored_part);
      EXPECT_EQ(conformance, c.conformance != nullptr && c.part != nullptr ? c.conformance[0] : 0);
      EXPECT_EQ(PDF_XMP_Get_Pdfa_Level(xmp, nullptr, nullptr), c.flavour);
      Delete(&xmp);
    }
  }
  // Present and empty: the first character is read with a bounds check that
  // nothing in the library catches; the part is stored before the throw.
  PDF_XMP* xmp = Create(Pdfaid("3", ""));
  uint32_t part = 0;
  char conformance = 'z';
  EXPECT_THROW(PDF_XMP_Get_Pdfa_Level(xmp, &part, &conformance), std::out_of_range);
  EXPECT_EQ(part, 3u);
  EXPECT_EQ(PDF_XMP_Get_Pdfa_Level(xmp, &part, nullptr), PDF_PDFA_UNKNOWN);
  Delete(&xmp);
  EXPECT_EQ(PDF_XMP_Get_Pdfa_Level(nullptr, &part, &conformance), PDF_PDFA_NONE);
}

TEST_F(XMP_Test, GetTextJoinsEveryPropertyShape) {
  PDF_XMP* xmp = Create(Packet(
      "<rdf:Description rdf:about='' xmlns:dc='http://purl.org/dc/elements/1.1/'>"
      "<dc:title><rdf:Alt><rdf:li xml:lang='de'>Rechnung</rdf:li><rdf:li xml:lang='x-default'>Invoice 42</rdf:li>"
      "</rdf:Alt></dc:title><dc:creator><rdf:Seq><rdf:li>Alice</rdf:li><rdf:li>Bob</rdf:li></rdf:Seq></dc:creator>"
      "</rdf:Description><rdf:Description rdf:about='' xmlns:inv='http://example.com/ns/invoice-test/' "
      "inv:DocumentType='INVOICE'><inv:Address rdf:parseType='Resource'><inv:Street>Main 1</inv:Street>"
      "<inv:Items><rdf:Seq><rdf:li>i1</rdf:li><rdf:li>i2</rdf:li></rdf:Seq></inv:Items></inv:Address>"
      "<inv:Gaps><rdf:Seq><rdf:li></rdf:li><rdf:li>B</rdf:li><rdf:li></rdf:li><rdf:li>D</rdf:li></rdf:Seq>"
      "</inv:Gaps></rdf:Description>"));
  const struct {
    const char *name_space, *name, *expected;
    bool found;
  } cases[] = {
      {EXAMPLE, "DocumentType", "INVOICE", true},
      {DC, "title", "Invoice 42", true},             // the x-default item, not the first
      {DC, "creator", "Alice, Bob", true},           // array items
      {DC, "description", "dc:", false},             // a known namespace leaves its prefix behind
      {EXAMPLE, "Address", "Main 1, i1, i2", true},  // leaf fields; composite nodes inside are skipped
      {EXAMPLE, "Gaps", "B, , D", true},             // ", " goes only behind a text that isn't empty
      {"http://example.com/ns/never-used/", "Gaps", "", false},
      {nullptr, "Gaps", "", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    std::string text = "stale";
    EXPECT_EQ(PDF_XMP_Get_Text(xmp, c.name_space, c.name, &text), c.found);
    EXPECT_EQ(text, c.expected);
    const char* value = nullptr;
    uint64_t length = 99;
    ASSERT_EQ(PDF_XMP_Get_Property(xmp, c.name_space, c.name, &value, &length), PDF_RESULT_OK);
    EXPECT_EQ(std::string(value != nullptr ? value : "", length), c.found ? text : "");
  }
  const char* value = nullptr;
  uint64_t length = 0;
  EXPECT_EQ(PDF_XMP_Get_Property(xmp, DC, "creator", nullptr, &length), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_XMP_Get_Property(nullptr, DC, "creator", &value, &length), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_XMP_Create(nullptr, memory, nullptr, 0), PDF_RESULT_INVALID_ARGUMENT);
  Delete(&xmp);
}

TEST_F(XMP_Test, PacketsThatGiveNoRecord) {
  // Only the given length is parsed; what follows would not parse.
  const std::string packet = Pdfaid("2", "U", true);
  PDF_XMP* xmp = nullptr;
  ASSERT_EQ(PDF_XMP_Create(&xmp, memory, (packet + "<<<").data(), static_cast<uint32_t>(packet.size())), PDF_RESULT_OK);
  EXPECT_EQ(PDF_XMP_Get_Pdfa_Level(xmp, nullptr, nullptr), PDF_PDFA_2U);
  Delete(&xmp);
  for (const std::string& bad : {std::string("hello"), packet.substr(0, packet.size() - 20)}) {
    EXPECT_EQ(Create(&xmp, bad), PDF_RESULT_XMP_REJECTED);
    EXPECT_EQ(xmp, nullptr);
  }
  // The record is the first request and the date block the second.
  Fail_Request(2);
  EXPECT_EQ(Create(&xmp, packet), PDF_RESULT_OUT_OF_MEMORY);
  Stop_Failing();
  EXPECT_EQ(xmp, nullptr);
  EXPECT_EQ(allocator.live, 1);  // the PDF_Memory alone

  EXPECT_EQ(PDF_XMP_Create_From_Stream(&xmp, memory, nullptr), PDF_RESULT_OK);
  EXPECT_EQ(PDF_XMP_Get_Pdfa_Level(xmp, nullptr, nullptr), PDF_PDFA_NONE);
  Delete(&xmp);
}

// Runs in a fresh process: a namespace outlives the record that brought it,
// since nothing is torn down when the last record goes.
int Check_Toolkit_Held_For_The_Process() {
  Test_Allocator allocator{};
  PDF_Memory memory = Test_Memory(&allocator);
  const char* const one = "http://example.com/ns/pairing-one/";
  const std::string uses_one =
      Packet(std::string("<rdf:Description rdf:about='' xmlns:pone='") + one + "' pone:a='1'/>");
  PDF_XMP* xmp = nullptr;
  if (PDF_XMP_Lock_Create() != PDF_RESULT_OK ||
      PDF_XMP_Create(&xmp, &memory, uses_one.data(), static_cast<uint32_t>(uses_one.size())) != PDF_RESULT_OK) {
    return 1;
  }
  PDF_XMP_Delete(&xmp, &memory);
  if (PDF_XMP_Create(&xmp, &memory, nullptr, 0) != PDF_RESULT_OK) return 2;
  std::string text;
  PDF_XMP_Get_Text(xmp, one, "absent", &text);
  PDF_XMP_Delete(&xmp, &memory);
  return text == "pone:" ? 0 : 3;
}

TEST(XMP_Toolkit_Test, InitialisedOnceAndHeldForTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // a fresh process, this test alone
  EXPECT_EXIT(_exit(Check_Toolkit_Held_For_The_Process()), ::testing::ExitedWithCode(0), "");
}

}  // namespace
