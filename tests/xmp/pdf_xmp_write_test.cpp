// The write side of the bridge. Values are written, the packet is serialised
// by the toolkit and parsed again, and then read back.
#include "xmp/pdf_xmp_write.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <regex>
#include <string>
#include <vector>

#include "runtime/pdf_memory.h"
#include "support/test_objects.h"
#include "xmp/pdf_xmp.h"
#include "xmp/pdf_xmp_lock.h"

namespace {

// A namespace that no packet and no write ever registers with the toolkit.
const char* const UNREGISTERED = "http://example.com/ns/write-test-never-registered/";

std::string Packet(const std::string& description_body) {
  return "<x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'>"
         "<rdf:Description rdf:about='' xmlns:pdf='http://ns.adobe.com/pdf/1.3/' "
         "xmlns:xmp='http://ns.adobe.com/xap/1.0/' xmlns:xmpMM='http://ns.adobe.com/xap/1.0/mm/'>" +
         description_body + "</rdf:Description></rdf:RDF></x:xmpmeta>";
}

typedef PDF_Result (*Getter)(PDF_XMP*, const char**, uint64_t*);
typedef PDF_Result (*Setter)(PDF_XMP*, const char*, uint64_t);

// How the toolkit holds a property: the composite bits of its options.
enum Shape : uint32_t { SIMPLE = 0, ORDERED_ARRAY = 0x600, ALT_TEXT = 0x1E00 };

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
  // A record over the packet (empty for no bytes); deleted at the end.
  PDF_XMP* Make(const std::string& packet = std::string()) {
    PDF_XMP* xmp = nullptr;
    EXPECT_EQ(PDF_XMP_Create(&xmp, memory, packet.data(), static_cast<uint32_t>(packet.size())), PDF_RESULT_OK);
    records.push_back(xmp);
    return xmp;
  }
  // The toolkit's serialisation of the record, parsed again by the bridge.
  PDF_XMP* Reparse(PDF_XMP* xmp) {
    XmpStringPtr buffer = xmp_string_new();
    EXPECT_TRUE(xmp_serialize(xmp->meta, buffer, XMP_SERIAL_OMITPACKETWRAPPER, 0));
    std::string packet(xmp_string_cstr(buffer), xmp_string_len(buffer));
    xmp_string_free(buffer);
    return Make(packet);
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

TEST_F(XMP_Write_Test, NamedPropertiesRoundTripAndANullTextRemovesThem) {
  const struct {
    const char* label;
    Getter get;
    Setter set;
    const char* name_space;
    const char* name;
    Shape shape;
  } named[] = {
      {"Producer", PDF_XMP_Get_Producer, PDF_XMP_Set_Producer, PDF_XMP_NS_PDF, "Producer", SIMPLE},
      {"CreatorTool", PDF_XMP_Get_Creator_Tool, PDF_XMP_Set_Creator_Tool, PDF_XMP_NS_XMP, "CreatorTool", SIMPLE},
      {"Keywords", PDF_XMP_Get_Keywords, PDF_XMP_Set_Keywords, PDF_XMP_NS_PDF, "Keywords", SIMPLE},
      {"description", PDF_XMP_Get_Description, PDF_XMP_Set_Description, PDF_XMP_NS_DC, "description", ALT_TEXT},
      {"creator", PDF_XMP_Get_Creator, PDF_XMP_Set_Creator, PDF_XMP_NS_DC, "creator", ORDERED_ARRAY},
      {"title", PDF_XMP_Get_Title, PDF_XMP_Set_Title, PDF_XMP_NS_DC, "title", ALT_TEXT},
  };
  // An array starts over from the delete: the old items go, the new one is alone.
  PDF_XMP* xmp =
      Make(Packet("<dc:creator xmlns:dc='http://purl.org/dc/elements/1.1/'><rdf:Seq><rdf:li>Alice</rdf:li>"
                  "<rdf:li>Bob</rdf:li></rdf:Seq></dc:creator>"));
  for (const auto& property : named) {
    const std::string value = std::string("value of ") + property.label;
    EXPECT_EQ(property.set(xmp, value.data(), value.size()), PDF_RESULT_OK) << property.label;
    EXPECT_EQ(property.set(nullptr, "x", 1), PDF_RESULT_INVALID_ARGUMENT) << property.label;
    EXPECT_EQ(property.get(xmp, nullptr, nullptr), PDF_RESULT_INVALID_ARGUMENT) << property.label;
  }
  PDF_XMP* again = Reparse(xmp);
  for (const auto& property : named) {
    SCOPED_TRACE(property.label);
    EXPECT_EQ(Read(again, property.get), std::string("value of ") + property.label);
    EXPECT_EQ(Shape_Of(again, property.name_space, property.name), property.shape);
    EXPECT_EQ(property.set(again, nullptr, 0), PDF_RESULT_OK);
    EXPECT_EQ(Read(again, property.get), "<absent>");
    EXPECT_EQ(property.set(again, nullptr, 0), PDF_RESULT_OK) << "absent already";
  }
}

TEST_F(XMP_Write_Test, TextThatIsNotUtf8IsReadAsLatin1) {
  const struct {
    std::string text, stored;
  } cases[] = {{"caf\xC3\xA9", "caf\xC3\xA9"}, {"caf\xE9", "caf\xC3\xA9"}, {"\x80", "\xC2\x80"}};
  PDF_XMP* xmp = Make();
  for (const auto& c : cases) {
    ASSERT_EQ(PDF_XMP_Set_Title(xmp, c.text.data(), c.text.size()), PDF_RESULT_OK);
    EXPECT_EQ(Read(Reparse(xmp), PDF_XMP_Get_Title), c.stored) << c.text;
  }
  // Only length bytes are taken; no memory for the copy leaves the property removed.
  ASSERT_EQ(PDF_XMP_Set_Producer(xmp, "abcdef", 3), PDF_RESULT_OK);
  EXPECT_EQ(Read(xmp, PDF_XMP_Get_Producer), "abc");
  Fail_Request(1);
  EXPECT_EQ(PDF_XMP_Set_Producer(xmp, "caf\xE9", 4), PDF_RESULT_OUT_OF_MEMORY);
  Stop_Failing();
  EXPECT_EQ(Read(xmp, PDF_XMP_Get_Producer), "<absent>");
}

TEST_F(XMP_Write_Test, KeywordsAreWrittenOnlyWhenTheyChange) {
  // Keywords held as a bag read as "tax, order". Setting that text again
  // writes nothing, so the bag stays; other text replaces it.
  PDF_XMP* xmp =
      Make(Packet("<pdf:Keywords><rdf:Bag><rdf:li>tax</rdf:li><rdf:li>order</rdf:li></rdf:Bag>"
                  "</pdf:Keywords>"));
  const struct {
    const char* text;
    uint64_t length;
    int64_t shape_after;
    const char* read_after;
  } steps[] = {
      {"tax, order", 10, 0x200, "tax, order"},
      {"tax, order", 3, SIMPLE, "tax"},
      {nullptr, 0, -1, "<absent>"},
      {nullptr, 0, -1, "<absent>"},
  };
  for (const auto& step : steps) {
    EXPECT_EQ(PDF_XMP_Set_Keywords(xmp, step.text, step.length), PDF_RESULT_OK);
    EXPECT_EQ(Shape_Of(xmp, PDF_XMP_NS_PDF, "Keywords"), step.shape_after);
    EXPECT_EQ(Read(xmp, PDF_XMP_Get_Keywords), step.read_after);
  }
}

TEST_F(XMP_Write_Test, SetTextByOptionsAndItsRefusals) {
  PDF_XMP* xmp = Make(Packet("<pdf:Producer>old</pdf:Producer>"));
  // A struct can't be written from a text; the old value is gone all the same.
  EXPECT_EQ(PDF_XMP_Set_Text(xmp, PDF_XMP_NS_PDF, "Producer", PDF_XMP_VALUE_IS_STRUCT, "x", 1),
            PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(Read(xmp, PDF_XMP_Get_Producer), "<absent>");
  EXPECT_EQ(PDF_XMP_Set_Text(xmp, PDF_XMP_NS_DC, "subject", PDF_XMP_VALUE_IS_ARRAY, "tag", 3), PDF_RESULT_OK);
  EXPECT_EQ(Shape_Of(xmp, PDF_XMP_NS_DC, "subject"), PDF_XMP_VALUE_IS_ARRAY);
  EXPECT_EQ(PDF_XMP_Set_Text(xmp, UNREGISTERED, "p", 0, "x", 1), PDF_RESULT_XMP_WRITE_FAILED);
  EXPECT_EQ(PDF_XMP_Set_Text(xmp, UNREGISTERED, "p", 0, nullptr, 0), PDF_RESULT_XMP_WRITE_FAILED);
}

TEST_F(XMP_Write_Test, DocumentIdIsMadeOnceInUuidFormFromTheTimeSeed) {
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
  PDF_XMP* xmp = Make();
  std::string id, again;
  ASSERT_EQ(PDF_XMP_Ensure_Document_Id(xmp), PDF_RESULT_OK);
  ASSERT_TRUE(PDF_XMP_Get_Text(xmp, PDF_XMP_NS_XMP_MM, "DocumentID", &id));
  EXPECT_TRUE(std::regex_match(id, std::regex("uuid:[0-9a-f]{8}-([0-9a-f]{4}-){3}[0-9a-f]{12}"))) << id;
  // A second call keeps the identifier, which survives serialisation.
  ASSERT_EQ(PDF_XMP_Ensure_Document_Id(xmp), PDF_RESULT_OK);
  ASSERT_TRUE(PDF_XMP_Get_Text(Reparse(xmp), PDF_XMP_NS_XMP_MM, "DocumentID", &again));
  EXPECT_EQ(again, id);
  EXPECT_EQ(PDF_XMP_Ensure_Document_Id(nullptr), PDF_RESULT_INVALID_ARGUMENT);
}

PDF_Pdf_Date Date(int32_t year, int32_t month, int32_t day, int32_t hour, int32_t minute, int32_t second,
                  int32_t zone_kind, int32_t zone_hour = 0, int32_t zone_minute = 0) {
  return PDF_Pdf_Date{year, month, day, hour, minute, second, zone_kind, zone_hour, zone_minute};
}

TEST(XMP_Date_Format, WritesEachFieldOnlyAfterTheOneBefore) {
  const struct {
    PDF_Pdf_Date date;
    const char* text;  // null: refused
  } cases[] = {
      {Date(2024, 12, 31, 23, 59, 59, 2, 5, 30), "2024-12-31T23:59:59+05:30"},
      {Date(1999, 1, 1, 0, 0, -1, 3, 3, 30), "1999-01-01T00:00-03:30"},
      {Date(2024, 0, 5, 14, 7, 9, 2, 1, 0), "2024"},
      {Date(2024, 3, 0, 14, 7, 9, 2, 1, 0), "2024-03"},
      {Date(2024, 3, 5, -1, -1, 9, 1), "2024-03-05"},
      {Date(2024, 3, 5, -1, 30, -1, 1, 99, -7), "2024-03-05T00:30Z"},  // one negative field of the two is 00
      {Date(2024, 3, 5, 1, 2, 3, 7, 99, 99), "2024-03-05T01:02:03"},
      {Date(-1, 1, 1, 0, 0, 0, 1), nullptr},
      {Date(2024, 1, 1, 24, 0, 0, 1), nullptr},
      {Date(2024, 1, 1, 0, 0, 0, 3, -1, 0), nullptr},
      {Date(2024, 1, 1, -1, 0, -1, 0), nullptr},  // no zone with a time
      {Date(2024, 0, 0, 5, -1, -1, 0), nullptr},  // checked before a month of 0 cuts the date short
  };
  for (const auto& c : cases) {
    std::string text = "stale";
    EXPECT_EQ(PDF_XMP_Format_Date(&text, &c.date), c.text ? PDF_RESULT_OK : PDF_RESULT_DATE_OUT_OF_RANGE);
    EXPECT_EQ(text, c.text ? c.text : "stale");
  }
  EXPECT_EQ(PDF_XMP_Format_Date(nullptr, &cases[0].date), PDF_RESULT_INVALID_ARGUMENT);
}

std::string Show(const PDF_Pdf_Date* d) {
  if (d == nullptr) return "none";
  char text[128];
  snprintf(text, sizeof(text), "%d-%d-%d %d:%d:%d kind %d %d:%d", d->year, d->month, d->day, d->hour, d->minute,
           d->second, d->zone_kind, d->zone_hour, d->zone_minute);
  return text;
}

TEST_F(XMP_Write_Test, DatesRoundTripAndTheirRefusals) {
  const struct {
    PDF_Pdf_Date written, read;
  } cases[] = {
      {Date(2024, 12, 31, 23, 59, 59, 2, 5, 30), Date(2024, 12, 31, 23, 59, 59, 2, 5, 30)},
      {Date(2024, 3, 5, 14, 7, -1, 3, 8, 0), Date(2024, 3, 5, 14, 7, 0, 3, 8, 0)},
      // Without a zone the toolkit's sign is 0, which reads as UTC.
      {Date(2024, 3, 5, -1, -1, -1, 0), Date(2024, 3, 5, 0, 0, 0, 1)},
  };
  for (const auto& c : cases) {
    PDF_XMP* xmp = Make();
    ASSERT_EQ(PDF_XMP_Set_Create_Date(xmp, &c.written), PDF_RESULT_OK);
    ASSERT_EQ(PDF_XMP_Set_Modify_Date(xmp, &c.written), PDF_RESULT_OK);
    PDF_XMP* again = Reparse(xmp);
    EXPECT_EQ(PDF_XMP_Get_Create_Date(again), again->date);  // the record's own block
    EXPECT_EQ(Show(again->date), Show(&c.read));
    EXPECT_EQ(Show(PDF_XMP_Get_Modify_Date(again)), Show(&c.read));
  }
  PDF_XMP* xmp =
      Make(Packet("<xmp:CreateDate>2020-02-02T02:02:02Z</xmp:CreateDate><xmp:ModifyDate><rdf:Seq>"
                  "<rdf:li>2024-01-01</rdf:li></rdf:Seq></xmp:ModifyDate><pdf:Producer>x</pdf:Producer>"));
  const PDF_Pdf_Date bad = Date(2024, 13, 1, 0, 0, 0, 1);
  EXPECT_EQ(PDF_XMP_Get_Modify_Date(xmp), nullptr) << "composite";
  EXPECT_FALSE(PDF_XMP_Get_Date(xmp, PDF_XMP_NS_PDF, "Producer", xmp->date)) << "not a date";
  EXPECT_EQ(PDF_XMP_Set_Create_Date(xmp, &bad), PDF_RESULT_DATE_OUT_OF_RANGE);
  EXPECT_EQ(Show(PDF_XMP_Get_Create_Date(xmp)), "2020-2-2 2:2:2 kind 1 0:0") << "unchanged";
  // A toolkit refusal is -500 for dates; a null date removes the property.
  EXPECT_EQ(PDF_XMP_Set_Date(xmp, UNREGISTERED, "Date", &cases[0].written), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_XMP_Set_Create_Date(xmp, nullptr), PDF_RESULT_OK);
  EXPECT_EQ(PDF_XMP_Get_Create_Date(xmp), nullptr);
}

}  // namespace
