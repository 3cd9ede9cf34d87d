// The write side of the bridge. Values are written, the packet is serialised
// by the toolkit and parsed again, and then read back.
#include "xmp/pdf_xmp_write.h"
#include "runtime/pdf_memory.h"
#include "xmp/pdf_xmp.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <regex>
#include <string>

#include "support/test_objects.h"
#include "xmp/pdf_xmp_lock.h"

namespace {

// A namespace that no packet and no write ever registers with the toolkit.
const char* const UNREGISTERED = "http://example.com/ns/write-test-never-registered/";

std::string Packet(const std::string& description_body) {
  return "<x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'>"
         "<rdf:Description rdf:about='' xmlns:dc='http://purl.org/dc/elements/1.1/' "
         "xmlns:pdf='http://ns.adobe.com/pdf/1.3/' xmlns:xmp='http://ns.adobe.com/xap/1.0/' "
         "xmlns:xmpMM='http://ns.adobe.com/xap/1.0/mm/'>" +
         description_body + "</rdf:Description></rdf:RDF></x:xmpmeta>";
}

typedef PDF_Result (*Getter)(PDF_XMP*, const char**, uint64_t*);
typedef PDF_Result (*Setter)(PDF_XMP*, const char*, uint64_t);

// How the toolkit holds a property: the composite bits of its options.
enum Shape : uint32_t { SIMPLE = 0, ORDERED_ARRAY = 0x600, ALT_TEXT = 0x1E00 };

struct Named {
  const char* label;
  Getter get;
  Setter set;
  const char* name_space;
  const char* name;
  Shape shape;
};

const Named named[] = {
    {"Producer", PDF_XMP_Get_Producer, PDF_XMP_Set_Producer, PDF_XMP_NS_PDF, "Producer", SIMPLE},
    {"CreatorTool", PDF_XMP_Get_Creator_Tool, PDF_XMP_Set_Creator_Tool, PDF_XMP_NS_XMP, "CreatorTool", SIMPLE},
    {"Keywords", PDF_XMP_Get_Keywords, PDF_XMP_Set_Keywords, PDF_XMP_NS_PDF, "Keywords", SIMPLE},
    {"description", PDF_XMP_Get_Description, PDF_XMP_Set_Description, PDF_XMP_NS_DC, "description", ALT_TEXT},
    {"creator", PDF_XMP_Get_Creator, PDF_XMP_Set_Creator, PDF_XMP_NS_DC, "creator", ORDERED_ARRAY},
    {"title", PDF_XMP_Get_Title, PDF_XMP_Set_Title, PDF_XMP_NS_DC, "title", ALT_TEXT},
};

class XMP_Write_Test : public Memory_Fixture {
 protected:
  void SetUp() override {
    ASSERT_EQ(PDF_XMP_Lock_Create(), PDF_RESULT_OK);
    Memory_Fixture::SetUp();
  }
  void TearDown() override {
    for (PDF_XMP*& xmp : records) {
      if (xmp != nullptr) {
        EXPECT_EQ(PDF_XMP_Delete(&xmp, memory), PDF_RESULT_OK);
      }
    }
    Memory_Fixture::TearDown();
  }

  // A record over the packet (empty for no bytes); deleted at the end.
  PDF_XMP* Make(const std::string& packet = std::string()) {
    PDF_XMP* xmp = nullptr;
    EXPECT_EQ(
        PDF_XMP_Create(&xmp, memory, packet.empty() ? nullptr : packet.data(), static_cast<uint32_t>(packet.size())),
        PDF_RESULT_OK);
    records.push_back(xmp);
    return xmp;
  }
  // The toolkit's serialisation of the record, parsed again by the bridge.
  PDF_XMP* Reparse(PDF_XMP* xmp) {
    std::string packet = Serialise(xmp);
    EXPECT_NE(packet.find("x:xmpmeta"), std::string::npos);
    return Make(packet);
  }
  static std::string Serialise(PDF_XMP* xmp) {
    XmpStringPtr buffer = xmp_string_new();
    EXPECT_TRUE(xmp_serialize(xmp->meta, buffer, XMP_SERIAL_OMITPACKETWRAPPER, 0));
    std::string packet(xmp_string_cstr(buffer), xmp_string_len(buffer));
    xmp_string_free(buffer);
    return packet;
  }
  // The value through a getter; "<absent>" when there is none.
  static std::string Read(PDF_XMP* xmp, Getter get) {
    const char* text = reinterpret_cast<const char*>(1);
    uint64_t length = 99;
    EXPECT_EQ(get(xmp, &text, &length), PDF_RESULT_OK);
    if (text == nullptr) {
      EXPECT_EQ(length, 0u);
      return "<absent>";
    }
    return std::string(text, length);
  }
  // The composite bits of a property as the toolkit holds it, or -1 when absent.
  static int64_t Shape_Of(XmpPtr meta, const char* name_space, const char* name) {
    XmpStringPtr value = xmp_string_new();
    uint32_t options = 0;
    bool found = xmp_get_property(meta, name_space, name, value, &options);
    xmp_string_free(value);
    return found ? static_cast<int64_t>(options & 0x1F00) : -1;
  }

  std::vector<PDF_XMP*> records;
};

// ------------------------------------------------------------ text setters

TEST_F(XMP_Write_Test, NamedPropertiesRoundTripThroughASerialisedPacket) {
  PDF_XMP* xmp = Make();
  for (const Named& property : named) {
    SCOPED_TRACE(property.label);
    const std::string value = std::string("value of ") + property.label + " \xC3\xA9t\xC3\xA9";
    EXPECT_EQ(property.set(xmp, value.data(), value.size()), PDF_RESULT_OK);
    EXPECT_EQ(Read(xmp, property.get), value);
  }
  PDF_XMP* again = Reparse(xmp);
  // Read back by the toolkit alone, parsed with its own call that requires
  // the x:xmpmeta element.
  XmpPtr own = xmp_new_empty();
  const std::string packet = Serialise(xmp);
  ASSERT_TRUE(xmp_parse(own, packet.data(), packet.size()));
  for (const Named& property : named) {
    SCOPED_TRACE(property.label);
    EXPECT_EQ(Read(again, property.get), std::string("value of ") + property.label + " \xC3\xA9t\xC3\xA9");
    EXPECT_EQ(Shape_Of(own, property.name_space, property.name), property.shape);
  }
  xmp_free(own);
}

TEST_F(XMP_Write_Test, ANullTextRemovesTheProperty) {
  PDF_XMP* xmp =
      Make(Packet("<pdf:Producer>P</pdf:Producer><xmp:CreatorTool>T</xmp:CreatorTool><pdf:Keywords>K</pdf:Keywords>"
                  "<dc:description><rdf:Alt><rdf:li xml:lang='x-default'>D</rdf:li></rdf:Alt></dc:description>"
                  "<dc:creator><rdf:Seq><rdf:li>C</rdf:li></rdf:Seq></dc:creator>"
                  "<dc:title><rdf:Alt><rdf:li xml:lang='x-default'>T</rdf:li></rdf:Alt></dc:title>"));
  for (const Named& property : named) {
    SCOPED_TRACE(property.label);
    EXPECT_NE(Read(xmp, property.get), "<absent>");
    EXPECT_EQ(property.set(xmp, nullptr, 0), PDF_RESULT_OK);
    EXPECT_EQ(Read(xmp, property.get), "<absent>");
    // Absent already: removing again is no failure.
    EXPECT_EQ(property.set(xmp, nullptr, 0), PDF_RESULT_OK);
  }
  PDF_XMP* again = Reparse(xmp);
  for (const Named& property : named) EXPECT_EQ(Read(again, property.get), "<absent>") << property.label;
}

TEST_F(XMP_Write_Test, TextThatIsNotUtf8IsReadAsLatin1) {
  const struct {
    const char* label;
    std::string text;
    std::string stored;
  } cases[] = {
      {"UTF-8 as it stands",
       "Stra\xC3\x9F"
       "e",
       "Stra\xC3\x9F"
       "e"},
      {"Latin-1 sharp s",
       "Stra\xDF"
       "e",
       "Stra\xC3\x9F"
       "e"},
      {"Latin-1 at the end", "caf\xE9", "caf\xC3\xA9"},
      {"a lone continuation byte", "\x80", "\xC2\x80"},
      {"empty", "", ""},
  };
  PDF_XMP* xmp = Make();
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    ASSERT_EQ(PDF_XMP_Set_Producer(xmp, c.text.data(), c.text.size()), PDF_RESULT_OK);
    ASSERT_EQ(PDF_XMP_Set_Title(xmp, c.text.data(), c.text.size()), PDF_RESULT_OK);
    PDF_XMP* again = Reparse(xmp);
    EXPECT_EQ(Read(again, PDF_XMP_Get_Producer), c.stored);
    EXPECT_EQ(Read(again, PDF_XMP_Get_Title), c.stored);
  }
  // Only length bytes are taken, even with more text behind them.
  const char* longer = "abcdef";
  ASSERT_EQ(PDF_XMP_Set_Producer(xmp, longer, 3), PDF_RESULT_OK);
  EXPECT_EQ(Read(xmp, PDF_XMP_Get_Producer), "abc");
}

TEST_F(XMP_Write_Test, ArraysStartOverFromTheDelete) {
  PDF_XMP* xmp = Make(
      Packet("<dc:creator><rdf:Seq><rdf:li>Alice</rdf:li><rdf:li>Bob</rdf:li></rdf:Seq></dc:creator>"
             "<dc:title><rdf:Alt><rdf:li xml:lang='x-default'>Old</rdf:li><rdf:li xml:lang='de'>Alt</rdf:li></rdf:Alt>"
             "</dc:title>"));
  ASSERT_EQ(Read(xmp, PDF_XMP_Get_Creator), "Alice, Bob");
  // The delete empties the array, so the appended item is the only one.
  ASSERT_EQ(PDF_XMP_Set_Creator(xmp, "Carol", 5), PDF_RESULT_OK);
  ASSERT_EQ(PDF_XMP_Set_Title(xmp, "New", 3), PDF_RESULT_OK);
  PDF_XMP* again = Reparse(xmp);
  EXPECT_EQ(Read(again, PDF_XMP_Get_Creator), "Carol");
  EXPECT_EQ(Read(again, PDF_XMP_Get_Title), "New");
  EXPECT_EQ(Shape_Of(again->meta, PDF_XMP_NS_DC, "creator"), ORDERED_ARRAY);
  // The German title went with the delete as well.
  EXPECT_EQ(Serialise(again).find(">Alt<"), std::string::npos);
}

TEST_F(XMP_Write_Test, KeywordsAreWrittenOnlyWhenTheyChange) {
  // Keywords held as a bag read as "tax, order". Setting that text again
  // writes nothing, so the bag stays; other text replaces it with a simple
  // value.
  PDF_XMP* xmp =
      Make(Packet("<pdf:Keywords><rdf:Bag><rdf:li>tax</rdf:li><rdf:li>order</rdf:li></rdf:Bag>"
                  "</pdf:Keywords>"));
  const struct {
    const char* label;
    const char* text;
    uint64_t length;
    int64_t shape_after;
    const char* read_after;
  } steps[] = {
      {"same bytes", "tax, order", 10, 0x200, "tax, order"},
      {"same prefix, shorter", "tax, order", 3, SIMPLE, "tax"},
      {"same again", "tax", 3, SIMPLE, "tax"},
      {"other bytes", "fee", 3, SIMPLE, "fee"},
      {"null removes", nullptr, 0, -1, "<absent>"},
      {"null while absent", nullptr, 0, -1, "<absent>"},
  };
  for (const auto& step : steps) {
    SCOPED_TRACE(step.label);
    EXPECT_EQ(PDF_XMP_Set_Keywords(xmp, step.text, step.length), PDF_RESULT_OK);
    EXPECT_EQ(Shape_Of(xmp->meta, PDF_XMP_NS_PDF, "Keywords"), step.shape_after);
    EXPECT_EQ(Read(xmp, PDF_XMP_Get_Keywords), step.read_after);
  }
}

TEST_F(XMP_Write_Test, SetTextByOptionsAndItsRefusals) {
  PDF_XMP* xmp = Make(Packet("<pdf:Producer>old</pdf:Producer>"));
  // A struct can't be written from a text; the old value is gone all the same.
  EXPECT_EQ(PDF_XMP_Set_Text(xmp, PDF_XMP_NS_PDF, "Producer", PDF_XMP_VALUE_IS_STRUCT, "x", 1),
            PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(Read(xmp, PDF_XMP_Get_Producer), "<absent>");
  // An unordered array gets the text as an item.
  EXPECT_EQ(PDF_XMP_Set_Text(xmp, PDF_XMP_NS_DC, "subject", PDF_XMP_VALUE_IS_ARRAY, "tag", 3), PDF_RESULT_OK);
  EXPECT_EQ(Shape_Of(xmp->meta, PDF_XMP_NS_DC, "subject"), PDF_XMP_VALUE_IS_ARRAY);
  // The toolkit refuses a namespace it doesn't know, and a null name.
  EXPECT_EQ(PDF_XMP_Set_Text(xmp, UNREGISTERED, "p", 0, "x", 1), PDF_RESULT_XMP_WRITE_FAILED);
  EXPECT_EQ(PDF_XMP_Set_Text(xmp, UNREGISTERED, "p", 0, nullptr, 0), PDF_RESULT_XMP_WRITE_FAILED);
  EXPECT_EQ(PDF_XMP_Set_Text(xmp, PDF_XMP_NS_PDF, nullptr, 0, "x", 1), PDF_RESULT_XMP_WRITE_FAILED);
  // A null bridge, through every entry.
  EXPECT_EQ(PDF_XMP_Set_Text(nullptr, PDF_XMP_NS_PDF, "Producer", 0, "x", 1), PDF_RESULT_INVALID_ARGUMENT);
  const char* text = nullptr;
  uint64_t length = 0;
  for (const Named& property : named) {
    EXPECT_EQ(property.set(nullptr, "x", 1), PDF_RESULT_INVALID_ARGUMENT) << property.label;
    EXPECT_EQ(property.set(nullptr, nullptr, 0), PDF_RESULT_INVALID_ARGUMENT) << property.label;
    EXPECT_EQ(property.get(nullptr, &text, &length), PDF_RESULT_INVALID_ARGUMENT) << property.label;
    EXPECT_EQ(property.get(xmp, nullptr, &length), PDF_RESULT_INVALID_ARGUMENT) << property.label;
    EXPECT_EQ(property.get(xmp, &text, nullptr), PDF_RESULT_INVALID_ARGUMENT) << property.label;
  }
}

TEST_F(XMP_Write_Test, NoMemoryForTheCopyLeavesThePropertyRemoved) {
  PDF_XMP* xmp = Make(Packet("<pdf:Producer>old</pdf:Producer>"));
  for (const std::string& text : {std::string("UTF-8 \xC3\xA9"), std::string("Latin-1 \xE9")}) {
    SCOPED_TRACE(text);
    ASSERT_EQ(PDF_XMP_Set_Producer(xmp, "old", 3), PDF_RESULT_OK);
    allocator.fail_at = allocator.requests + 1;
    EXPECT_EQ(PDF_XMP_Set_Producer(xmp, text.data(), text.size()), PDF_RESULT_OUT_OF_MEMORY);
    allocator.fail_at = 0;
    EXPECT_EQ(Read(xmp, PDF_XMP_Get_Producer), "<absent>");
  }
}

// ------------------------------------------------------------ document id

TEST_F(XMP_Write_Test, DocumentIdIsMadeOnceInUuidForm) {
  const std::regex uuid("uuid:[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}");
  PDF_XMP* first = Make();
  PDF_XMP* second = Make();
  std::string id_of_first, id_of_second;
  ASSERT_EQ(PDF_XMP_Ensure_Document_Id(first), PDF_RESULT_OK);
  ASSERT_TRUE(PDF_XMP_Get_Text(first, PDF_XMP_NS_XMP_MM, "DocumentID", &id_of_first));
  EXPECT_TRUE(std::regex_match(id_of_first, uuid)) << id_of_first;
  // A second call keeps the first identifier.
  ASSERT_EQ(PDF_XMP_Ensure_Document_Id(first), PDF_RESULT_OK);
  std::string again;
  ASSERT_TRUE(PDF_XMP_Get_Text(first, PDF_XMP_NS_XMP_MM, "DocumentID", &again));
  EXPECT_EQ(again, id_of_first);
  // Another record at another address gets another identifier.
  ASSERT_EQ(PDF_XMP_Ensure_Document_Id(second), PDF_RESULT_OK);
  ASSERT_TRUE(PDF_XMP_Get_Text(second, PDF_XMP_NS_XMP_MM, "DocumentID", &id_of_second));
  EXPECT_TRUE(std::regex_match(id_of_second, uuid)) << id_of_second;
  EXPECT_NE(id_of_second, id_of_first);
  // It is a simple value that survives serialisation.
  PDF_XMP* parsed = Reparse(first);
  std::string read_back;
  ASSERT_TRUE(PDF_XMP_Get_Text(parsed, PDF_XMP_NS_XMP_MM, "DocumentID", &read_back));
  EXPECT_EQ(read_back, id_of_first);
  EXPECT_EQ(Shape_Of(parsed->meta, PDF_XMP_NS_XMP_MM, "DocumentID"), SIMPLE);
  // An identifier that a packet brings is kept, whatever its form.
  PDF_XMP* brought = Make(Packet("<xmpMM:DocumentID>xmp.did:1234</xmpMM:DocumentID>"));
  ASSERT_EQ(PDF_XMP_Ensure_Document_Id(brought), PDF_RESULT_OK);
  ASSERT_TRUE(PDF_XMP_Get_Text(brought, PDF_XMP_NS_XMP_MM, "DocumentID", &read_back));
  EXPECT_EQ(read_back, "xmp.did:1234");
  EXPECT_EQ(PDF_XMP_Ensure_Document_Id(nullptr), PDF_RESULT_INVALID_ARGUMENT);
}

TEST_F(XMP_Write_Test, DocumentIdSeedsTheRandomNumbersWithTheTime) {
  // The call seeds with the current time and draws one number, so within one
  // second the process's next number is the second of that seed's sequence.
  for (int attempt = 0; attempt < 5; ++attempt) {
    PDF_XMP* xmp = Make();
    srand(12345);
    time_t before = time(nullptr);
    ASSERT_EQ(PDF_XMP_Ensure_Document_Id(xmp), PDF_RESULT_OK);
    int next = rand();
    if (time(nullptr) != before) continue;  // the second changed: try again
    srand(static_cast<unsigned>(before));
    rand();
    EXPECT_EQ(next, rand());
    return;
  }
  GTEST_SKIP() << "the clock kept moving to the next second";
}

// ------------------------------------------------------------ dates

PDF_Pdf_Date Date(int32_t year, int32_t month, int32_t day, int32_t hour, int32_t minute, int32_t second,
                  int32_t zone_kind, int32_t zone_hour = 0, int32_t zone_minute = 0) {
  return PDF_Pdf_Date{year, month, day, hour, minute, second, zone_kind, zone_hour, zone_minute};
}

TEST(XMP_Date_Format, WritesEachFieldOnlyAfterTheOneBefore) {
  const struct {
    const char* label;
    PDF_Pdf_Date date;
    const char* text;  // null: refused with -281
  } cases[] = {
      {"UTC", Date(2024, 3, 5, 14, 7, 9, 1), "2024-03-05T14:07:09Z"},
      {"ahead", Date(2024, 12, 31, 23, 59, 59, 2, 5, 30), "2024-12-31T23:59:59+05:30"},
      {"behind", Date(1999, 1, 1, 0, 0, 0, 3, 3, 30), "1999-01-01T00:00:00-03:30"},
      {"no second, then the zone", Date(2024, 3, 5, 14, 7, -1, 2, 1, 0), "2024-03-05T14:07+01:00"},
      {"month 0: the year alone", Date(2024, 0, 5, 14, 7, 9, 2, 1, 0), "2024"},
      {"day 0: no time, no zone", Date(2024, 3, 0, 14, 7, 9, 2, 1, 0), "2024-03"},
      {"no hour and no minute", Date(2024, 3, 5, -1, -1, 9, 1), "2024-03-05"},
      {"no time, no zone", Date(2024, 3, 5, -1, -1, -1, 0), "2024-03-05"},
      {"negative hour as 00", Date(2024, 3, 5, -1, 30, -1, 1), "2024-03-05T00:30Z"},
      {"no leading zeros in the year", Date(99, 0, 0, -1, -1, -1, 0), "99"},
      {"five digits", Date(12345, 6, 7, 8, 9, 10, 1), "12345-06-07T08:09:10Z"},
      {"UTC ignores the zone fields", Date(2024, 3, 5, 1, 2, 3, 1, 99, -7), "2024-03-05T01:02:03Z"},
      {"an unknown zone kind writes no zone", Date(2024, 3, 5, 1, 2, 3, 7, 99, 99), "2024-03-05T01:02:03"},
      // Refusals.
      {"negative year", Date(-1, 1, 1, 0, 0, 0, 1), nullptr},
      {"month 13", Date(2024, 13, 1, 0, 0, 0, 1), nullptr},
      {"day 32", Date(2024, 1, 32, 0, 0, 0, 1), nullptr},
      {"hour 24", Date(2024, 1, 1, 24, 0, 0, 1), nullptr},
      {"minute 60", Date(2024, 1, 1, 0, 60, 0, 1), nullptr},
      {"second 60", Date(2024, 1, 1, 0, 0, 60, 1), nullptr},
      {"zone hour 24 ahead", Date(2024, 1, 1, 0, 0, 0, 2, 24, 0), nullptr},
      {"zone hour -1 behind", Date(2024, 1, 1, 0, 0, 0, 3, -1, 0), nullptr},
      {"zone minute 60 ahead", Date(2024, 1, 1, 0, 0, 0, 2, 0, 60), nullptr},
      {"no zone with an hour", Date(2024, 1, 1, 0, -1, -1, 0), nullptr},
      {"no zone with a minute", Date(2024, 1, 1, -1, 0, -1, 0), nullptr},
      // The checks come before a month of 0 would cut the date short.
      {"no zone with an hour, month 0", Date(2024, 0, 0, 5, -1, -1, 0), nullptr},
      {"bad zone, day 0", Date(2024, 1, 0, -1, -1, -1, 2, 30, 0), nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    std::string text = "stale";
    EXPECT_EQ(PDF_XMP_Format_Date(&text, &c.date), c.text ? PDF_RESULT_OK : PDF_RESULT_DATE_OUT_OF_RANGE);
    EXPECT_EQ(text, c.text ? c.text : "stale");
  }
  std::string text;
  PDF_Pdf_Date date = Date(2024, 1, 1, 0, 0, 0, 1);
  EXPECT_EQ(PDF_XMP_Format_Date(nullptr, &date), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_XMP_Format_Date(&text, nullptr), PDF_RESULT_INVALID_ARGUMENT);
}

std::string Show(const PDF_Pdf_Date& d) {
  char text[128];
  snprintf(text, sizeof(text), "%d-%d-%d %d:%d:%d kind %d %d:%d", d.year, d.month, d.day, d.hour, d.minute, d.second,
           d.zone_kind, d.zone_hour, d.zone_minute);
  return text;
}

TEST_F(XMP_Write_Test, DatesRoundTripThroughASerialisedPacket) {
  const struct {
    const char* label;
    PDF_Pdf_Date written;
    PDF_Pdf_Date read;
  } cases[] = {
      {"UTC", Date(2024, 3, 5, 14, 7, 9, 1), Date(2024, 3, 5, 14, 7, 9, 1)},
      {"ahead", Date(2024, 12, 31, 23, 59, 59, 2, 5, 30), Date(2024, 12, 31, 23, 59, 59, 2, 5, 30)},
      {"behind", Date(1999, 1, 1, 0, 0, 0, 3, 3, 30), Date(1999, 1, 1, 0, 0, 0, 3, 3, 30)},
      {"no second", Date(2024, 3, 5, 14, 7, -1, 3, 8, 0), Date(2024, 3, 5, 14, 7, 0, 3, 8, 0)},
      // Without a zone the toolkit's sign is 0, which reads as UTC.
      {"date alone", Date(2024, 3, 5, -1, -1, -1, 0), Date(2024, 3, 5, 0, 0, 0, 1)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    PDF_XMP* xmp = Make();
    ASSERT_EQ(PDF_XMP_Set_Create_Date(xmp, &c.written), PDF_RESULT_OK);
    ASSERT_EQ(PDF_XMP_Set_Modify_Date(xmp, &c.written), PDF_RESULT_OK);
    PDF_XMP* again = Reparse(xmp);
    PDF_Pdf_Date* created = PDF_XMP_Get_Create_Date(again);
    ASSERT_EQ(created, again->date);  // the record's own block
    EXPECT_EQ(Show(*created), Show(c.read));
    PDF_Pdf_Date* modified = PDF_XMP_Get_Modify_Date(again);
    ASSERT_NE(modified, nullptr);
    EXPECT_EQ(Show(*modified), Show(c.read));
  }
}

TEST_F(XMP_Write_Test, DatesThatCannotBeRead) {
  PDF_XMP* xmp =
      Make(Packet("<xmp:CreateDate>not a date</xmp:CreateDate>"
                  "<xmp:ModifyDate><rdf:Seq><rdf:li>2024-01-01</rdf:li></rdf:Seq></xmp:ModifyDate>"
                  "<pdf:Producer>2024-01-02</pdf:Producer>"));
  PDF_Pdf_Date block = Date(1, 2, 3, 4, 5, 6, 7, 8, 9);
  const std::string untouched = Show(block);
  EXPECT_EQ(PDF_XMP_Get_Create_Date(xmp), nullptr);  // text that isn't a date
  EXPECT_EQ(PDF_XMP_Get_Modify_Date(xmp), nullptr);  // composite
  EXPECT_FALSE(PDF_XMP_Get_Date(xmp, PDF_XMP_NS_XMP, "CreateDate", &block));
  EXPECT_FALSE(PDF_XMP_Get_Date(xmp, PDF_XMP_NS_XMP, "ModifyDate", &block));
  EXPECT_FALSE(PDF_XMP_Get_Date(xmp, PDF_XMP_NS_XMP, "MetadataDate", &block));  // absent
  EXPECT_FALSE(PDF_XMP_Get_Date(xmp, UNREGISTERED, "Date", &block));
  EXPECT_FALSE(PDF_XMP_Get_Date(nullptr, PDF_XMP_NS_XMP, "CreateDate", &block));
  EXPECT_EQ(Show(block), untouched);
  // Any simple value in the date form is a date, whatever its property.
  EXPECT_TRUE(PDF_XMP_Get_Date(xmp, PDF_XMP_NS_PDF, "Producer", &block));
  EXPECT_EQ(Show(block), Show(Date(2024, 1, 2, 0, 0, 0, 1)));
  EXPECT_FALSE(PDF_XMP_Get_Date(xmp, PDF_XMP_NS_PDF, "Producer", nullptr));
  EXPECT_EQ(PDF_XMP_Get_Create_Date(nullptr), nullptr);
  EXPECT_EQ(PDF_XMP_Get_Modify_Date(nullptr), nullptr);
}

TEST_F(XMP_Write_Test, SetDateRefusalsAndRemoval) {
  PDF_XMP* xmp = Make(Packet("<xmp:CreateDate>2020-02-02T02:02:02Z</xmp:CreateDate>"));
  const PDF_Pdf_Date bad = Date(2024, 13, 1, 0, 0, 0, 1);
  const PDF_Pdf_Date good = Date(2024, 1, 1, 0, 0, 0, 1);
  // Out of range: nothing is changed.
  EXPECT_EQ(PDF_XMP_Set_Create_Date(xmp, &bad), PDF_RESULT_DATE_OUT_OF_RANGE);
  ASSERT_NE(PDF_XMP_Get_Create_Date(xmp), nullptr);
  EXPECT_EQ(xmp->date->year, 2020);
  // A toolkit refusal is -500 for dates.
  EXPECT_EQ(PDF_XMP_Set_Date(xmp, UNREGISTERED, "Date", &good), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_XMP_Set_Date(xmp, UNREGISTERED, "Date", nullptr), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_XMP_Set_Date(nullptr, PDF_XMP_NS_XMP, "CreateDate", &good), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_XMP_Set_Create_Date(nullptr, &good), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_XMP_Set_Modify_Date(nullptr, &good), PDF_RESULT_INVALID_ARGUMENT);
  // A null date removes the property.
  EXPECT_EQ(PDF_XMP_Set_Create_Date(xmp, nullptr), PDF_RESULT_OK);
  EXPECT_EQ(PDF_XMP_Get_Create_Date(xmp), nullptr);
  EXPECT_EQ(Shape_Of(xmp->meta, PDF_XMP_NS_XMP, "CreateDate"), -1);
  EXPECT_EQ(PDF_XMP_Set_Create_Date(xmp, nullptr), PDF_RESULT_OK);
}

}  // namespace
