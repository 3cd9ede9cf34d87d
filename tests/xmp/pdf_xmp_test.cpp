#include "xmp/pdf_xmp.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <stdexcept>
#include <string>

#include "support/test_objects.h"
#include "xmp/pdf_xmp_lock.h"

namespace {

const char* const DC = "http://purl.org/dc/elements/1.1/";
const char* const EXAMPLE = "http://example.com/ns/invoice-test/";
// No packet anywhere uses this namespace, so the toolkit never knows it.
const char* const NEVER_USED = "http://example.com/ns/never-used-by-any-packet/";

std::string Packet(const std::string& descriptions) {
  return "<?xpacket begin='\xEF\xBB\xBF' id='W5M0MpCehiHzreSzNTczkc9d'?>"
         "<x:xmpmeta xmlns:x='adobe:ns:meta/'>"
         "<rdf:RDF xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'>" +
         descriptions + "</rdf:RDF></x:xmpmeta><?xpacket end='w'?>";
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

// One packet with a property of every shape.
const std::string shapes_packet = Packet(
    "<rdf:Description rdf:about='' xmlns:dc='http://purl.org/dc/elements/1.1/'>"
    "<dc:title><rdf:Alt><rdf:li xml:lang='de'>Rechnung</rdf:li>"
    "<rdf:li xml:lang='x-default'>Invoice 42</rdf:li></rdf:Alt></dc:title>"
    "<dc:creator><rdf:Seq><rdf:li>Alice</rdf:li><rdf:li>Bob</rdf:li></rdf:Seq></dc:creator>"
    "<dc:subject><rdf:Bag><rdf:li>tax</rdf:li><rdf:li>order</rdf:li></rdf:Bag></dc:subject>"
    "</rdf:Description>"
    "<rdf:Description rdf:about='' xmlns:inv='http://example.com/ns/invoice-test/' "
    "inv:DocumentType='INVOICE' inv:Unicode='Stra\xC3\x9F"
    "e'>"
    "<inv:Address rdf:parseType='Resource'><inv:Street>Main 1</inv:Street>"
    "<inv:City xml:lang='en'>Town</inv:City></inv:Address>"
    "<inv:Nested rdf:parseType='Resource'><inv:Name>N</inv:Name>"
    "<inv:Items><rdf:Seq><rdf:li>i1</rdf:li><rdf:li>i2</rdf:li></rdf:Seq></inv:Items></inv:Nested>"
    "<inv:Gaps><rdf:Seq><rdf:li></rdf:li><rdf:li>B</rdf:li><rdf:li></rdf:li><rdf:li>D</rdf:li></rdf:Seq>"
    "</inv:Gaps>"
    "<inv:Choice><rdf:Alt><rdf:li>first</rdf:li><rdf:li>second</rdf:li></rdf:Alt></inv:Choice>"
    "</rdf:Description>");

class XMP_Test : public Memory_Fixture {
 protected:
  void SetUp() override {
    ASSERT_EQ(PDF_XMP_Lock_Create(), PDF_RESULT_OK);
    Memory_Fixture::SetUp();
  }

  PDF_Result Create(PDF_XMP** xmp, const std::string& packet, uint32_t length = UINT32_MAX) {
    *xmp = reinterpret_cast<PDF_XMP*>(&allocator);  // cleared on failure
    return PDF_XMP_Create(xmp, memory, packet.data(), std::min(length, static_cast<uint32_t>(packet.size())));
  }
  PDF_XMP* Create(const std::string& packet) {
    PDF_XMP* xmp = nullptr;
    EXPECT_EQ(Create(&xmp, packet), PDF_RESULT_OK);
    return xmp;
  }
  void Delete(PDF_XMP** xmp) {
    EXPECT_EQ(PDF_XMP_Delete(xmp, memory), PDF_RESULT_OK);
    EXPECT_EQ(*xmp, nullptr);
  }
};

// ------------------------------------------------------------ PDF/A level

TEST_F(XMP_Test, PdfaLevelComparesPartAndConformanceExactly) {
  const struct {
    const char* part;
    const char* conformance;
    PDF_Pdfa_Flavour flavour;
    uint32_t stored_part;
    char stored_conformance;
  } cases[] = {
      {"1", "A", PDF_PDFA_1A, 1, 'A'},
      {"1", "B", PDF_PDFA_1B, 1, 'B'},
      {"2", "A", PDF_PDFA_2A, 2, 'A'},
      {"2", "U", PDF_PDFA_2U, 2, 'U'},
      {"2", "B", PDF_PDFA_2B, 2, 'B'},
      {"3", "A", PDF_PDFA_3A, 3, 'A'},
      {"3", "U", PDF_PDFA_3U, 3, 'U'},
      {"3", "B", PDF_PDFA_3B, 3, 'B'},
      // No 1U row; case counts; no numeric reading and no trimming of the part.
      {"1", "U", PDF_PDFA_UNKNOWN, 1, 'U'},
      {"3", "b", PDF_PDFA_UNKNOWN, 3, 'b'},
      {"4", "B", PDF_PDFA_UNKNOWN, 4, 'B'},
      {"03", "B", PDF_PDFA_UNKNOWN, 3, 'B'},
      {" 3", "B", PDF_PDFA_UNKNOWN, 3, 'B'},
      {"3", "BB", PDF_PDFA_UNKNOWN, 3, 'B'},
      {"x", "A", PDF_PDFA_UNKNOWN, 0, 'A'},
      {"", "A", PDF_PDFA_UNKNOWN, 0, 'A'},
      // Either half alone is no identification.
      {"3", nullptr, PDF_PDFA_NONE, 0, 0},
      {nullptr, "B", PDF_PDFA_NONE, 0, 0},
  };
  for (const auto& c : cases) {
    for (bool elements : {false, true}) {
      SCOPED_TRACE(Pdfaid(c.part, c.conformance, elements));
      PDF_XMP* xmp = Create(Pdfaid(c.part, c.conformance, elements));
      ASSERT_NE(xmp, nullptr);
      uint32_t part = 77;
      char conformance = 'z';
      EXPECT_EQ(PDF_XMP_Get_Pdfa_Level(xmp, &part, &conformance), c.flavour);
      EXPECT_EQ(part, c.stored_part);
      EXPECT_EQ(conformance, c.stored_conformance);
      // The outs are optional and don't change the answer.
      EXPECT_EQ(PDF_XMP_Get_Pdfa_Level(xmp, nullptr, nullptr), c.flavour);
      Delete(&xmp);
    }
  }
}

TEST_F(XMP_Test, RecordsWithoutIdentificationAreNone) {
  for (const std::string& packet : {shapes_packet, std::string(), std::string("no bytes")}) {
    SCOPED_TRACE(packet);
    PDF_XMP* xmp = nullptr;
    ASSERT_EQ(PDF_XMP_Create(&xmp, memory, packet == "no bytes" ? nullptr : packet.data(),
                             packet == "no bytes" ? 0 : static_cast<uint32_t>(packet.size())),
              PDF_RESULT_OK);
    uint32_t part = 77;
    char conformance = 'z';
    EXPECT_EQ(PDF_XMP_Get_Pdfa_Level(xmp, &part, &conformance), PDF_PDFA_NONE);
    EXPECT_EQ(part, 0u);
    EXPECT_EQ(conformance, 0);
    std::string text;
    const char* value = nullptr;
    uint64_t length = 5;
    EXPECT_FALSE(PDF_XMP_Get_Text(xmp, DC, "description", &text));
    EXPECT_EQ(PDF_XMP_Get_Property(xmp, DC, "description", &value, &length), PDF_RESULT_OK);
    EXPECT_EQ(length, 0u);
    Delete(&xmp);
  }
  // A null bridge answers 0 and leaves the outs alone.
  uint32_t part = 77;
  char conformance = 'z';
  EXPECT_EQ(PDF_XMP_Get_Pdfa_Level(nullptr, &part, &conformance), PDF_PDFA_NONE);
  EXPECT_EQ(part, 77u);
  EXPECT_EQ(conformance, 'z');
}

TEST_F(XMP_Test, EmptyConformanceThrowsOutOfRange) {
  // Present and empty: the first character is read with a bounds check that
  // nothing in the library catches.
  PDF_XMP* xmp = Create(Pdfaid("3", ""));
  ASSERT_NE(xmp, nullptr);
  uint32_t part = 0;
  char conformance = 'z';
  EXPECT_THROW(PDF_XMP_Get_Pdfa_Level(xmp, &part, &conformance), std::out_of_range);
  EXPECT_EQ(part, 3u);  // stored before the throw
  // Without an out conformance nothing is read, and the pair is unknown.
  EXPECT_EQ(PDF_XMP_Get_Pdfa_Level(xmp, &part, nullptr), PDF_PDFA_UNKNOWN);
  Delete(&xmp);
}

// ------------------------------------------------------------ text queries

TEST_F(XMP_Test, GetTextJoinsEveryPropertyShape) {
  PDF_XMP* xmp = Create(shapes_packet);
  ASSERT_NE(xmp, nullptr);
  const struct {
    const char *name_space, *name, *expected;
    bool found;
  } cases[] = {
      {EXAMPLE, "DocumentType", "INVOICE", true},
      {EXAMPLE, "Unicode",
       "Stra\xC3\x9F"
       "e",
       true},
      {DC, "title", "Invoice 42", true},    // the x-default item, not the first
      {DC, "creator", "Alice, Bob", true},  // ordered array
      {DC, "subject", "tax, order", true},  // unordered array
      // An absent property after a found one, so that the outs have something to clear.
      {DC, "description", "dc:", false},           // a known namespace leaves its prefix behind
      {EXAMPLE, "Address", "Main 1, Town", true},  // struct: leaf fields, no xml:lang qualifier
      {EXAMPLE, "Nested", "N, i1, i2", true},      // composite nodes inside are skipped
      {EXAMPLE, "Gaps", "B, , D", true},           // ", " goes only behind a text that isn't empty
      {EXAMPLE, "Choice", "first, second", true},  // an alternative array that isn't text
      {NEVER_USED, "Choice", "", false},           // one the toolkit doesn't know leaves nothing
  };
  const char* value = nullptr;
  uint64_t length = 0;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    std::string text = "stale";
    EXPECT_EQ(PDF_XMP_Get_Text(xmp, c.name_space, c.name, &text), c.found);
    EXPECT_EQ(text, c.expected);
    ASSERT_EQ(PDF_XMP_Get_Property(xmp, c.name_space, c.name, &value, &length), PDF_RESULT_OK);
    EXPECT_EQ(value != nullptr, c.found);
    EXPECT_EQ(length, c.found ? text.size() : 0u);
    if (c.found && value != nullptr) {
      EXPECT_EQ(std::string(value, length + 1), text + '\0');
    }
  }
  Delete(&xmp);
}

TEST_F(XMP_Test, ArgumentChecks) {
  PDF_XMP *none = nullptr, *xmp = Create(shapes_packet);
  std::string text = "stale";
  const char* value = nullptr;
  uint64_t length = 0;
  const PDF_Result refused[] = {PDF_XMP_Create(nullptr, memory, nullptr, 0),
                                PDF_XMP_Delete(nullptr, memory),
                                PDF_XMP_Delete(&none, memory),
                                PDF_XMP_Get_Property(nullptr, DC, "creator", &value, &length),
                                PDF_XMP_Get_Property(xmp, DC, "creator", nullptr, &length),
                                PDF_XMP_Get_Property(xmp, DC, "creator", &value, nullptr)};
  for (PDF_Result result : refused) EXPECT_EQ(result, PDF_RESULT_INVALID_ARGUMENT);
  for (bool found : {PDF_XMP_Get_Text(nullptr, DC, "creator", &text), PDF_XMP_Get_Text(xmp, DC, "creator", nullptr),
                     PDF_XMP_Get_Text(xmp, nullptr, "creator", &text), PDF_XMP_Get_Text(xmp, DC, nullptr, &text)}) {
    EXPECT_FALSE(found);
  }
  // A null namespace is an absent property, not a refusal.
  EXPECT_EQ(PDF_XMP_Get_Property(xmp, nullptr, "creator", &value, &length), PDF_RESULT_OK);
  EXPECT_EQ(length, 0u);
  Delete(&xmp);
}

TEST_F(XMP_Test, PacketsParseWithinTheirLengthAndOnlyIfWellFormed) {
  // Options 0: an rdf:RDF element alone is a packet. Only the given length is
  // parsed; what follows would not parse.
  const std::string bare =
      "<rdf:RDF xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'>"
      "<rdf:Description rdf:about='' xmlns:pdfaid='http://www.aiim.org/pdfa/ns/id/'>"
      "<pdfaid:part>2</pdfaid:part><pdfaid:conformance>U</pdfaid:conformance></rdf:Description></rdf:RDF>";
  PDF_XMP* xmp = nullptr;
  ASSERT_EQ(Create(&xmp, bare + "<<<not xml", static_cast<uint32_t>(bare.size())), PDF_RESULT_OK);
  EXPECT_EQ(PDF_XMP_Get_Pdfa_Level(xmp, nullptr, nullptr), PDF_PDFA_2U);
  Delete(&xmp);
  for (const std::string& packet :
       {std::string("hello"), std::string("<a><b></a>"), Packet("<rdf:Description rdf:about=''>").substr(0, 120),
        shapes_packet.substr(0, shapes_packet.size() - 60)}) {
    SCOPED_TRACE(packet);
    EXPECT_EQ(Create(&xmp, packet), PDF_RESULT_XMP_REJECTED);
    EXPECT_EQ(xmp, nullptr);
    EXPECT_EQ(allocator.live, 1);  // the PDF_Memory alone
  }
}

TEST_F(XMP_Test, DateBlockFailureReleasesTheRecord) {
  // The record is the first request and the date block the second.
  PDF_XMP* xmp = nullptr;
  allocator.fail_at = allocator.requests + 2;
  EXPECT_EQ(Create(&xmp, Pdfaid("3", "B")), PDF_RESULT_OUT_OF_MEMORY);
  allocator.fail_at = 0;
  EXPECT_EQ(xmp, nullptr);
  EXPECT_EQ(allocator.live, 1);
  // No third request: with two served the record is complete.
  uint64_t before = allocator.requests;
  xmp = Create(Pdfaid("3", "B"));
  EXPECT_EQ(allocator.requests, before + 2);
  Delete(&xmp);
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
    return PDF_XMP_Get_Pdfa_Level(xmp, nullptr, nullptr) == PDF_PDFA_3B && !PDF_XMP_Get_Text(xmp, DC, "title", &text);
  });
  bool query_done = query.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
  // A creation waits for it: it makes sure that the toolkit is initialised.
  auto creation = std::async(std::launch::async, [&] { return Create(&other, Pdfaid("3", "B")); });
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
  Delete(&xmp);
}

}  // namespace
