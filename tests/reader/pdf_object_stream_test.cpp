#include <gtest/gtest.h>

#include <string>

#include "objects/pdf_data_object.h"
#include "objects/pdf_number.h"
#include "objects/pdf_object.h"
#include "reader/pdf_object_stream.h"
#include "reader/pdf_read_data.h"
#include "support/opened_document.h"
#include "support/pdf_builder.h"
#include "support/pdf_xref_stream_builder.h"
#include "support/test_objects.h"
#include "support/test_show.h"

namespace {

struct Integer_Case {
  std::string text;
  uint64_t length;  // bytes offered
  uint64_t used;
  int32_t value;
};

TEST(Text_Read_Integer, SignsSpacesDigitsAndLimits) {
  const Integer_Case cases[] = {
      {"7", 1, 1, 7},
      {"\t\r\n\f 9x", 7, 6, 9},
      {std::string("\0", 1) + "7", 2, 2, 7},
      {"-17", 3, 3, -17},
      {"+5", 2, 2, 5},
      {"12a", 3, 2, 12},
      {"1234", 2, 2, 12},
      {"-2147483648", 11, 11, INT32_MIN},
      // Values past 32 bits wrap around; a comment is not skipped.
      {"2147483648", 10, 10, INT32_MIN},
      {"%1\n2", 4, 0, 0},
      {"", 0, 0, 0},
      {"-", 1, 0, 0},
      {"- 5", 3, 0, 0},
      {"x1", 2, 0, 0},
  };
  for (const Integer_Case& c : cases) {
    int32_t value = 12345;
    EXPECT_EQ(PDF_Text_Read_Integer(reinterpret_cast<const uint8_t*>(c.text.data()), c.length, &value), c.used)
        << '"' << c.text << '"';
    EXPECT_EQ(value, c.value) << '"' << c.text << '"';
  }
  EXPECT_EQ(PDF_Text_Read_Integer(reinterpret_cast<const uint8_t*>("1"), 1, nullptr), 0u);
}

// A header, the catalog unless told otherwise, and the plain objects; Finish
// adds the cross-reference stream (number 20 unless told) with rows for the packed objects.
Pdf_Builder Start(const Pdf_Object_List& plain = {{1, "<< /Type /Catalog >>"}}) {
  Pdf_Builder b;
  Pdf_Builder_Header(&b);
  for (const auto& object : plain) Pdf_Builder_Object(&b, object.first, object.second);
  return b;
}

std::string Finish(Pdf_Builder* b, const Pdf_Packed_Objects& packed, const std::string& extra = "/Root 1 0 R",
                   uint32_t number = 20) {
  Pdf_Xref_Stream_Options options;
  options.extra_entries = extra;
  Pdf_Builder_Xref_Stream(b, number, Pdf_Xref_Stream_Rows(*b, packed, number + 1), number + 1, options);
  return b->bytes;
}

struct Load_Case {
  std::string entries;  // of object 10 besides Type
  std::string data;     // stored bytes of object 10
  Pdf_Packed_Objects packed;
  int8_t lowest_level;  // from this level on the load gives 0
  PDF_Result below;     // the code below that level
  double value;         // object 7 after a load
  Pdf_Object_List plain = {};
  std::string type = "/Type /ObjStm ";
};

const Pdf_Packed_Objects k78 = {{7, {10, 0}}, {8, {10, 1}}}, k87 = {{8, {10, 0}}, {7, {10, 1}}}, k7 = {{7, {10, 0}}};

TEST(Object_Stream, CompressedEntryLoadsAtEveryLevel) {
  const Load_Case cases[] = {
      {"/N 2 /First 8", "7 0 8 2 12345678", k78, 0, 0, 12},
      // A negative offset made good by First.
      {"/N 2 /First 13", "7 -4 8 3\n555 777 1", k78, 0, 0, 555},
      // A number that differs from its pair, or a container of another type,
      // is forgiven from level 1 on.
      {"/N 1 /First 4", "9 0 64", k7, 1, PDF_RESULT_OBJECT_UNREADABLE, 64},
      {"/N 1 /First 4", "7 0 64", k7, 1, PDF_RESULT_NOT_OBJECT_STREAM, 64, {}, "/Type /XRef "},
      {"/N 2 /First 8", "7 5 8 2 1234567890", k78, 99, PDF_RESULT_OBJECT_UNREADABLE, 0},
      {"/N 2 /First 8", "7 0 8 x 12345678", k78, 99, PDF_RESULT_OBJECT_UNREADABLE, 0},
      {"/N 2 /First 8", "8 0 7 x 12345678", k87, 99, PDF_RESULT_OBJECT_UNREADABLE, 0},
      {"/First 4", "7 0 64", k7, 99, PDF_RESULT_OBJECT_UNREADABLE, 0},
      {"/N 1 /First 8", "8 0 7 3 111 222", k87, 99, PDF_RESULT_OBJECT_UNREADABLE, 0},
      {"/N 1", "7 0 64", k7, 99, PDF_RESULT_OBJECT_UNREADABLE, 0},
      {"/N 1 /First 4 /Filter /DCTDecode", "7 0 64", k7, 99, PDF_RESULT_UNSUPPORTED_FILTER, 0},
      {"/N 1 /First 4", "7 0 64", {{7, {12, 0}}}, 99, PDF_RESULT_OBJECT_MISSING, 0},
      {"", "", {{7, {11, 0}}}, 99, PDF_RESULT_NOT_OBJECT_STREAM, 0, {{11, "<< /Type /ObjStm /N 1 /First 4 >>"}}},
  };
  for (const Load_Case& c : cases) {
    Pdf_Builder b = Start();
    for (const auto& object : c.plain) Pdf_Builder_Object(&b, object.first, object.second);
    Pdf_Builder_Stream(&b, 10, c.type + c.entries, c.data);
    const std::string bytes = Finish(&b, c.packed), name = c.type + c.entries + " over " + c.data;
    for (int8_t level = 0; level <= 4; ++level) {
      Opened_Document opened(bytes, level);
      ASSERT_EQ(opened.result, 0) << name << " at level " << int(level);
      PDF_Xref_Entry* entry = opened.entry(7);
      ASSERT_TRUE(entry != nullptr && entry->type == 'c') << name;
      const PDF_Result expected = level >= c.lowest_level ? 0 : c.below;
      EXPECT_EQ(PDF_Xref_Entry_Load_Compressed(entry), expected) << name << " at level " << int(level);
      // After a failure the entry waits as it was, and a lookup finds nothing.
      EXPECT_EQ(entry->type, expected == 0 ? 'n' : 'c') << name;
      EXPECT_EQ(opened.object(7), expected == 0 ? entry->object : nullptr) << name;
      if (expected != 0) {
        EXPECT_EQ(entry->object->value, nullptr) << name;
        continue;
      }
      EXPECT_TRUE(entry->offset == 0 && entry->container == 0) << name;
      EXPECT_EQ(PDF_Number_Get_Real(static_cast<PDF_Number*>(
                    PDF_Data_Object_Get_Direct_Value(entry->object->value, PDF_Data_Type_Number))),
                c.value)
          << name;
    }
  }
}

TEST(Object_Stream, ContainersThatLeadBackToThemselvesFindNothing) {
  Pdf_Builder b = Start();
  // 7 lies in 10, 10 in 11 and 11 in 10; 8 lies in 8.
  Opened_Document opened(Finish(&b, {{7, {10, 0}}, {10, {11, 0}}, {11, {10, 1}}, {8, {8, 0}}}), 3);
  ASSERT_EQ(opened.result, 0);
  for (uint32_t number : {7u, 8u}) {
    EXPECT_EQ(opened.object(number), nullptr);
    EXPECT_EQ(PDF_Xref_Entry_Load_Compressed(opened.entry(number)), PDF_RESULT_OBJECT_MISSING);
  }
  for (uint32_t number : {7u, 8u, 10u, 11u}) EXPECT_EQ(opened.entry(number)->type, 'c') << number;
  // Entries that are not compressed are left alone.
  EXPECT_EQ(PDF_Xref_Entry_Load_Compressed(nullptr), PDF_RESULT_INVALID_ARGUMENT);
  PDF_Xref_Entry* catalog = opened.entry(1);
  const uint64_t offset = catalog->offset;
  EXPECT_EQ(PDF_Xref_Entry_Load_Compressed(catalog), 0);
  EXPECT_TRUE(catalog->type == 'n' && catalog->offset == offset);
  EXPECT_EQ(PDF_Xref_Entry_Load_Compressed(opened.entry(2)), 0);
  EXPECT_EQ(opened.entry(2)->type, 'f');
}

typedef Objects_Fixture Object_Stream_Lookup;

TEST_F(Object_Stream_Lookup, FailedLoadEndsTheLookup) {
  // Number 60 in two sections of its own: compressed in a container that
  // doesn't exist in the first, in use in the second. The failed load ends
  // the lookup; the second section is never asked.
  Give_Empty_Table();
  PDF_Xref_Table* table = file->xref_table->table;
  for (uint8_t type : {'c', 'n'}) {
    PDF_Xref_Section* section = PDF_Memory_Alloc_Zeroed<PDF_Xref_Section>(file->memory);
    ASSERT_NE(section, nullptr);
    ASSERT_EQ(PDF_Number_Create(&section->first_number, file, 0, 60), 0);
    ASSERT_EQ(PDF_Number_Create(&section->count, file, 0, 1), 0);
    PDF_Object* object = nullptr;
    ASSERT_EQ(PDF_Object_Create(&object, file, nullptr, 60, 0, 0), 0);
    ASSERT_EQ(PDF_Xref_Entry_Create(&section->head, file, object, 0, 0, type), 0);
    section->head->container = 99;
    section->tail = section->head;
    PDF_Xref_Table_Insert_Section(table, section);
  }
  EXPECT_EQ(PDF_Xref_Table_Get_Object(table, 60, 0), nullptr);
  EXPECT_EQ(table->first_section->head->type, 'c');
}

// What loading one member of container 10 gives: the value, or the code.
std::string Member(Opened_Document* opened, uint32_t number) {
  PDF_Xref_Entry* entry = opened->entry(number);
  if (entry == nullptr) return "no entry";
  PDF_Result result = PDF_Xref_Entry_Load_Compressed(entry);
  if (result != 0) return "code " + std::to_string(result);
  return Show(entry->object->value);
}

struct Pairs_Case {
  std::string entries;                // N and First
  std::string data;                   // the stream's bytes
  uint32_t members;                   // objects 1 to members lie at indexes 0 to members - 1
  std::vector<std::string> expected;  // each member's load, as the per-member reading gives it
};

TEST(Object_Stream, PairsReadOnceGiveEachMemberWhatReadingThemPerMemberGives) {
  const std::string m93 = "code " + std::to_string(PDF_RESULT_OBJECT_UNREADABLE);
  const std::string m300 = "code " + std::to_string(PDF_RESULT_BAD_COMPRESSED_DATA);
  const std::string m54 = "code " + std::to_string(PDF_RESULT_MALFORMED_FILTER);
  const Pairs_Case cases[] = {
      {"/N 4 /First 16", "1 0 2 3 3 6 4 9 11 22 33 44", 4, {"11", "22", "33", "44"}},
      // The third pair can't be read: it fails its own member and the one
      // before, which needs it for its end; the first needs only the second.
      {"/N 4 /First 16", "1 0 2 3 3 x 4 9 11 22 33 44", 4, {"11", m93, m93, m93}},
      // Fewer pairs than N: the pairs run on into the bodies, and what they
      // read there points past the data or can't be read at all.
      {"/N 4 /First 8", "1 0 2 3 11 22", 4, {"11", m93, m93, m93}},
      // An offset below the one before fails the member before it; a
      // negative one is made good by First; the last runs to the end.
      {"/N 4 /First 17", "1 0 2 5 3 2 4 -1 11 22 33 44", 4, {"11", m93, m93, "11"}},
      // Pairs past N are never needed; a member at or past N fails.
      {"/N 2 /First 16", "1 0 2 3 3 x 4 y 11 22 33 44", 4, {"11", "22", m93, m93}},
      // Numbers that don't match their pair are taken from level 1 on.
      {"/N 3 /First 12", "9 0 9 3 9 6 11 22 33", 3, {"11", "22", "33"}},
      // The same offset twice: the empty body fails, the next one reads.
      {"/N 3 /First 12", "1 0 2 0 3 3 11 22 33", 3, {m93, "11", "22"}},
      // A container that can't be decoded fails every member with the code.
      {"/N 2 /First 8 /Filter /FlateDecode", "1 0 2 3 11 22", 2, {m300, m300}},
      {"/N 2 /First 8 /Filter /FlateDecode /DecodeParms << /Predictor 12 /Columns 3 >>",
       Pdf_Flate("\x09"
                 "1 0\x09"
                 "2 3"),
       2,
       {m54, m54}},
  };
  for (const Pairs_Case& c : cases) {
    Pdf_Builder b = Start({{20, "<< /Type /Catalog >>"}});
    Pdf_Builder_Stream(&b, 10, "/Type /ObjStm " + c.entries, c.data);
    Pdf_Packed_Objects packed;
    for (uint32_t index = 0; index < c.members; ++index) packed[index + 1] = {10, index};
    const std::string bytes = Finish(&b, packed, "/Root 20 0 R", 21);
    const std::string name = c.entries + " over " + c.data;
    // Each member in a document of its own, as the first load there.
    for (uint32_t number = 1; number <= c.members; ++number) {
      Opened_Document alone(bytes, 3);
      ASSERT_EQ(alone.result, 0) << name;
      EXPECT_EQ(Member(&alone, number), c.expected[number - 1]) << name << ", member " << number;
    }
    // All members in one document, in several orders, each twice: the pairs
    // read for one serve the others.
    const std::vector<std::vector<uint32_t>> orders = {{1, 2, 3, 4}, {4, 3, 2, 1}, {2, 4, 1, 3}, {3, 1}};
    for (const std::vector<uint32_t>& order : orders) {
      Opened_Document shared(bytes, 3);
      ASSERT_EQ(shared.result, 0) << name;
      for (int round = 0; round < 2; ++round) {
        for (uint32_t number : order) {
          if (number > c.members) continue;
          const uint64_t requests = shared.allocator.requests;
          EXPECT_EQ(Member(&shared, number), c.expected[number - 1])
              << name << ", member " << number << " in a shared document, round " << round;
          // The container is inflated once: once every member has its
          // object, a decode attempt is all that could ask for memory.
          if (round == 1 && (c.expected[0] == m300 || c.expected[0] == m54)) {
            EXPECT_EQ(shared.allocator.requests, requests) << name << ", member " << number << " decoded again";
          }
        }
      }
    }
  }
}

}  // namespace
