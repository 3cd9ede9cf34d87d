#include "xmp/pdf_xmp.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <future>
#include <string>

#include "support/test_objects.h"
#include "xmp/pdf_xmp_lock.h"

namespace {

std::string Packet(const std::string& descriptions) {
  return "<x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'>" +
         descriptions + "</rdf:RDF></x:xmpmeta>";
}

// A packet that identifies the part and, unless null, the conformance.
std::string Pdfaid(const char* part, const char* conformance) {
  std::string attributes = std::string(" pdfaid:part='") + part + "'";
  if (conformance != nullptr) attributes += std::string(" pdfaid:conformance='") + conformance + "'";
  return Packet("<rdf:Description rdf:about='' xmlns:pdfaid='http://www.aiim.org/pdfa/ns/id/'" + attributes + "/>");
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
  // Present and empty: an unknown level, with the part stored and no letter.
  PDF_XMP* xmp = Create(Pdfaid("3", ""));
  uint32_t part = 0;
  char conformance = 'z';
  EXPECT_EQ(PDF_XMP_Get_Pdfa_Level(xmp, &part, &conformance), PDF_PDFA_UNKNOWN);
  EXPECT_EQ(part, 3u);
  EXPECT_EQ(conformance, 0);
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

// Runs in a fresh process; answers a bit mask of the checks that failed.
int Check_Toolkit_Held_For_The_Process() {
  if (PDF_XMP_Lock_Create() != PDF_RESULT_OK) return 128;
  Test_Allocator allocator{};
  PDF_Memory* memory = nullptr;
  if (PDF_Memory_Create(&memory, Test_Alloc, &allocator, Test_Free, &allocator) != PDF_RESULT_OK) return 128;
  const char* const one = "http://example.com/ns/pairing-one/";
  const char* const two = "http://example.com/ns/pairing-two/";
  const std::string uses_one =
      Packet(std::string("<rdf:Description rdf:about='' xmlns:pone='") + one + "' pone:a='1'/>");
  const std::string uses_two =
      Packet(std::string("<rdf:Description rdf:about='' xmlns:ptwo='") + two + "' ptwo:a='2'/>");
  // Whether the toolkit knows a namespace shows in the prefix that a query
  // for an absent property leaves behind.
  auto prefix_seen_by = [&](PDF_XMP* xmp, const char* name_space) {
    std::string text;
    PDF_XMP_Get_Text(xmp, name_space, "absent", &text);
    return text;
  };
  auto create = [&](const std::string& packet) {
    PDF_XMP* xmp = nullptr;
    PDF_XMP_Create(&xmp, memory, packet.data(), static_cast<uint32_t>(packet.size()));
    return xmp;
  };
  int failed = 0;
  // A record that fails before the toolkit is first used leaves nothing
  // behind that the next one depends on.
  allocator.fail_at = allocator.requests + 1;
  if (create(uses_two) != nullptr) failed |= 1;
  allocator.fail_at = 0;
  PDF_XMP* empty = create("");
  if (empty == nullptr || !prefix_seen_by(empty, one).empty()) failed |= 2;
  PDF_XMP_Delete(&empty, memory);
  // A namespace outlives the record that brought it: nothing is torn down
  // when the last record goes.
  PDF_XMP* first = create(uses_one);
  if (prefix_seen_by(first, one) != "pone:") failed |= 4;
  PDF_XMP_Delete(&first, memory);
  empty = create("");
  if (prefix_seen_by(empty, one) != "pone:") failed |= 8;
  // ... and yet a packet without it finds no property in it.
  std::string value;
  if (PDF_XMP_Get_Text(empty, one, "a", &value)) failed |= 16;
  first = create(uses_one);
  if (!PDF_XMP_Get_Text(first, one, "a", &value) || value != "1") failed |= 32;
  PDF_XMP_Delete(&first, memory);
  PDF_XMP_Delete(&empty, memory);
  PDF_Memory_Delete(&memory);
  return allocator.live != 0 ? failed | 128 : failed;
}

TEST(XMP_Toolkit_Test, InitialisedOnceAndHeldForTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // a fresh process, this test alone
  EXPECT_EXIT(_exit(Check_Toolkit_Held_For_The_Process()), ::testing::ExitedWithCode(0), "");
}

TEST_F(XMP_Test, TheMutexGuardsTheInitialisationOnly) {
  PDF_XMP* xmp = Create(Pdfaid("3", "B"));
  ASSERT_NE(xmp, nullptr);
  PDF_XMP* other = nullptr;
  PDF_XMP_Lock();
  // Queries don't take the lock, and neither does a deletion, which has
  // nothing of the toolkit's global state to touch.
  auto query = std::async(std::launch::async, [xmp] {
    std::string text;
    return PDF_XMP_Get_Pdfa_Level(xmp, nullptr, nullptr) == PDF_PDFA_3B &&
           !PDF_XMP_Get_Text(xmp, "http://purl.org/dc/elements/1.1/", "title", &text);
  });
  bool query_done = query.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
  // A creation waits for it: it makes sure that the toolkit is initialised.
  const std::string packet = Pdfaid("3", "B");
  auto creation = std::async(std::launch::async, [&] {
    return PDF_XMP_Create(&other, memory, packet.data(), static_cast<uint32_t>(packet.size()));
  });
  bool creation_waited = creation.wait_for(std::chrono::milliseconds(200)) == std::future_status::timeout;
  PDF_XMP_Unlock();
  EXPECT_TRUE(query_done && query.get());
  EXPECT_TRUE(creation_waited);
  EXPECT_EQ(creation.get(), PDF_RESULT_OK);
  PDF_XMP_Lock();
  auto deletion = std::async(std::launch::async, [&] { return PDF_XMP_Delete(&other, memory); });
  bool deletion_done = deletion.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
  PDF_XMP_Unlock();
  EXPECT_TRUE(deletion_done);
  EXPECT_EQ(deletion.get(), PDF_RESULT_OK);
  EXPECT_EQ(PDF_XMP_Delete(&xmp, memory), PDF_RESULT_OK);
}

}  // namespace
