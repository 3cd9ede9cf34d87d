// The write side of the bridge. Values are written, the packet is serialised
// by the toolkit and parsed again, and then read back.
#include "xmp/pdf_xmp_write.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "support/test_objects.h"
#include "xmp/pdf_xmp.h"
#include "xmp/pdf_xmp_lock.h"

namespace {

// A namespace that no packet and no write ever registers with the toolkit.
const char* const UNREGISTERED = "http://example.com/ns/write-test-never-registered/";

std::string Packet(const std::string& description_body) {
  return "<x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'>"
         "<rdf:Description rdf:about='' xmlns:pdf='http://ns.adobe.com/pdf/1.3/' "
         "xmlns:xmp='http://ns.adobe.com/xap/1.0/'>" +
         description_body + "</rdf:Description></rdf:RDF></x:xmpmeta>";
}

typedef PDF_Result (*Getter)(PDF_XMP*, const char**, uint64_t*);

class XMP_Write_Test : public Memory_Fixture {
 protected:
  void SetUp() override {
    ASSERT_EQ(PDF_XMP_Lock_Create(), PDF_RESULT_OK);
    Memory_Fixture::SetUp();
  }
  void TearDown() override {
    for (PDF_XMP*& xmp : records) EXPECT_EQ(PDF_XMP_Delete(&xmp, memory), PDF_RESULT_OK);
    Memory_Fixture::TearDown();
  }
  // A record over the packet, or over the toolkit's serialisation of another
  // record; deleted at the end.
  PDF_XMP* Make(const std::string& packet = std::string(), PDF_XMP* serialised = nullptr) {
    std::string bytes = packet;
    if (serialised != nullptr) {
      XmpStringPtr buffer = xmp_string_new();
      EXPECT_TRUE(xmp_serialize(serialised->meta, buffer, XMP_SERIAL_OMITPACKETWRAPPER, 0));
      bytes = xmp_string_cstr(buffer);
      xmp_string_free(buffer);
    }
    records.push_back(nullptr);
    EXPECT_EQ(PDF_XMP_Create(&records.back(), memory, bytes.data(), static_cast<uint32_t>(bytes.size())),
              PDF_RESULT_OK);
    return records.back();
  }
  // The value through a getter; "<absent>" when there is none.
  static std::string Read(PDF_XMP* xmp, Getter get) {
    const char* text = nullptr;
    uint64_t length = 99;
    EXPECT_EQ(get(xmp, &text, &length), PDF_RESULT_OK);
    return text == nullptr ? "<absent>" : std::string(text, length);
  }
  // The composite bits of a property as the toolkit holds it, or -1 when absent.
  static int64_t Shape_Of(PDF_XMP* xmp, const char* name_space, const char* name) {
    XmpStringPtr value = xmp_string_new();
    uint32_t options = 0;
    bool found = xmp_get_property(xmp->meta, name_space, name, value, &options);
    xmp_string_free(value);
    return found ? static_cast<int64_t>(options & 0x1F00) : -1;
  }

  std::vector<PDF_XMP*> records;
};

TEST_F(XMP_Write_Test, TextRoundTripsByItsShapeAndANullTextRemovesIt) {
  const struct {
    Getter get;
    PDF_Result (*set)(PDF_XMP*, const char*, uint64_t);
    const char *name_space, *name;
    int64_t shape;  // simple, ordered array, alternative text
  } named[] = {
      {PDF_XMP_Get_Producer, PDF_XMP_Set_Producer, PDF_XMP_NS_PDF, "Producer", 0},
      {PDF_XMP_Get_Creator, PDF_XMP_Set_Creator, PDF_XMP_NS_DC, "creator", 0x600},
      {PDF_XMP_Get_Title, PDF_XMP_Set_Title, PDF_XMP_NS_DC, "title", 0x1E00},
  };
  // Text that isn't UTF-8 is read as Latin-1; only length bytes are taken.
  PDF_XMP* xmp = Make();
  for (const auto& property : named) EXPECT_EQ(property.set(xmp, "caf\xE9+", 4), PDF_RESULT_OK) << property.name;
  // UTF-8 stays as it is; an array starts over from the delete.
  ASSERT_EQ(PDF_XMP_Set_Creator(xmp, "B\xC3\xB6", 3), PDF_RESULT_OK);
  PDF_XMP* again = Make("", xmp);
  for (const auto& property : named) {
    SCOPED_TRACE(property.name);
    EXPECT_EQ(Read(again, property.get), property.set == PDF_XMP_Set_Creator ? "B\xC3\xB6" : "caf\xC3\xA9");
    EXPECT_EQ(Shape_Of(again, property.name_space, property.name), property.shape);
    EXPECT_EQ(property.set(again, nullptr, 0), PDF_RESULT_OK);
    EXPECT_EQ(Read(again, property.get), "<absent>");
  }
  // No memory for the copy leaves the property removed.
  Fail_Request(1);
  EXPECT_EQ(PDF_XMP_Set_Producer(xmp, "new", 3), PDF_RESULT_OUT_OF_MEMORY);
  Stop_Failing();
  EXPECT_EQ(Read(xmp, PDF_XMP_Get_Producer), "<absent>");
  // A struct can't be written from a text; the old value is gone all the same.
  EXPECT_EQ(PDF_XMP_Set_Text(xmp, PDF_XMP_NS_DC, "title", PDF_XMP_VALUE_IS_STRUCT, "x", 1),
            PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(Read(xmp, PDF_XMP_Get_Title), "<absent>");
  EXPECT_EQ(PDF_XMP_Set_Text(xmp, UNREGISTERED, "p", 0, "x", 1), PDF_RESULT_XMP_WRITE_FAILED);
}

TEST_F(XMP_Write_Test, KeywordsAreWrittenOnlyWhenTheyChange) {
  // Keywords held as a bag read as "tax, order". Setting that text again
  // writes nothing, so the bag stays; other text replaces it.
  PDF_XMP* xmp =
      Make(Packet("<pdf:Keywords><rdf:Bag><rdf:li>tax</rdf:li><rdf:li>order</rdf:li></rdf:Bag>"
                  "</pdf:Keywords>"));
  ASSERT_EQ(PDF_XMP_Set_Keywords(xmp, "tax, order", 10), PDF_RESULT_OK);
  EXPECT_EQ(Shape_Of(xmp, PDF_XMP_NS_PDF, "Keywords"), 0x200);
  ASSERT_EQ(PDF_XMP_Set_Keywords(xmp, "tax, order", 3), PDF_RESULT_OK);
  EXPECT_EQ(Shape_Of(xmp, PDF_XMP_NS_PDF, "Keywords"), 0);
  EXPECT_EQ(Read(xmp, PDF_XMP_Get_Keywords), "tax");
}

TEST_F(XMP_Write_Test, DocumentIdIsMadeOnceFromTheTimeSeed) {
  // The call seeds with the current time and draws one number, so within one
  // second the process's next number is the second of that seed's sequence.
  bool seeded = false;
  for (int attempt = 0; attempt < 5 && !seeded; ++attempt) {
    srand(12345);
    time_t before = time(nullptr);
    ASSERT_EQ(PDF_XMP_Ensure_Document_Id(Make()), PDF_RESULT_OK);
    int next = rand();
    if (time(nullptr) != before) continue;  // the second changed: try again
    srand(static_cast<unsigned>(before));
    rand();
    EXPECT_EQ(next, rand());
    seeded = true;
  }
  EXPECT_TRUE(seeded) << "the clock kept moving to the next second";
  // A second call keeps the identifier, "uuid:" and 36 characters.
  std::string id, again;
  EXPECT_TRUE(PDF_XMP_Get_Text(records.back(), PDF_XMP_NS_XMP_MM, "DocumentID", &id));
  EXPECT_EQ(PDF_XMP_Ensure_Document_Id(records.back()), PDF_RESULT_OK);
  EXPECT_TRUE(PDF_XMP_Get_Text(records.back(), PDF_XMP_NS_XMP_MM, "DocumentID", &again));
  EXPECT_EQ(again, id);
  EXPECT_EQ(id.size(), 41u) << id;
}

TEST(XMP_Date_Format, WritesEachFieldOnlyAfterTheOneBefore) {
  const struct {
    PDF_Pdf_Date date;
    const char* text;  // null: refused
  } cases[] = {
      {{2024, 12, 31, 23, 59, 59, 2, 5, 30}, "2024-12-31T23:59:59+05:30"},
      {{1999, 1, 1, 0, 0, -1, 3, 3, 30}, "1999-01-01T00:00-03:30"},
      {{2024, 0, 5, 14, 7, 9, 2, 1, 0}, "2024"},
      {{2024, 3, 5, -1, 30, -1, 1, 99, -7}, "2024-03-05T00:30Z"},  // one negative field of the two is 00
      {{2024, 1, 1, 0, 0, 0, 3, -1, 0}, nullptr},
      {{2024, 0, 0, 0, -1, -1, 0, 0, 0}, nullptr},  // no zone with an hour, checked before a month of 0
      {{2024, 1, 1, -1, 0, -1, 0, 0, 0}, nullptr},  // no zone with a minute
  };
  for (const auto& c : cases) {
    std::string text = "stale";
    EXPECT_EQ(PDF_XMP_Format_Date(&text, &c.date), c.text ? PDF_RESULT_OK : PDF_RESULT_DATE_OUT_OF_RANGE);
    EXPECT_EQ(text, c.text ? c.text : "stale");
  }
}

TEST_F(XMP_Write_Test, DatesRoundTripAndTheirRefusals) {
  PDF_XMP* xmp = Make();
  // Without a zone the toolkit's sign is 0, which reads as UTC.
  const PDF_Pdf_Date written = {2024, 3, 5, -1, -1, -1, 0, 0, 0}, read = {2024, 3, 5, 0, 0, 0, 1, 0, 0};
  ASSERT_EQ(PDF_XMP_Set_Create_Date(xmp, &written), PDF_RESULT_OK);
  PDF_Pdf_Date* created = PDF_XMP_Get_Create_Date(Make("", xmp));
  ASSERT_NE(created, nullptr);
  EXPECT_EQ(memcmp(created, &read, sizeof(read)), 0);
  // Out of range changes nothing; a toolkit refusal is -500; null removes.
  const PDF_Pdf_Date bad = {2024, 13, 1, 0, 0, 0, 1, 0, 0};
  EXPECT_EQ(PDF_XMP_Set_Create_Date(xmp, &bad), PDF_RESULT_DATE_OUT_OF_RANGE);
  EXPECT_NE(PDF_XMP_Get_Create_Date(xmp), nullptr);
  EXPECT_EQ(PDF_XMP_Set_Date(xmp, UNREGISTERED, "Date", &read), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_XMP_Set_Create_Date(xmp, nullptr), PDF_RESULT_OK);
  EXPECT_EQ(PDF_XMP_Get_Create_Date(xmp), nullptr);
}

}  // namespace
