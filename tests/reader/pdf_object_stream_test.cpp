#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "objects/pdf_data_object.h"
#include "objects/pdf_number.h"
#include "objects/pdf_object.h"
#include "objects/pdf_object_reference.h"
#include "reader/pdf_object_stream.h"
#include "reader/pdf_trailer.h"
#include "reader/pdf_xref_table.h"
#include "support/opened_document.h"
#include "support/pdf_builder.h"
#include "support/pdf_xref_stream_builder.h"

namespace {

struct Integer_Case {
  std::string text;
  uint64_t length;  // bytes offered
  uint64_t used;
  int32_t value;
};

TEST(Text_Read_Integer, SignsSpacesDigitsAndLimits) {
  const Integer_Case cases[] = {
      {"42", 2, 2, 42},
      {"  17 ", 5, 4, 17},
      {"\t\r\n\f 9x", 7, 6, 9},
      {std::string("\0", 1) + "7", 2, 2, 7},
      {"-17", 3, 3, -17},
      {"+5", 2, 2, 5},
      {"  -0", 4, 4, 0},
      {"12a", 3, 2, 12},
      {"1234", 2, 2, 12},
      {"007", 3, 3, 7},
      {"2147483647", 10, 10, 2147483647},
      {"2147483648", 10, 10, INT32_MIN},
      {"4294967297", 10, 10, 1},
      {"-2147483648", 11, 11, INT32_MIN},
      {"", 0, 0, 0},
      {"5", 0, 0, 0},
      {"   ", 3, 0, 0},
      {"-", 1, 0, 0},
      {"+", 1, 0, 0},
      {"- 5", 3, 0, 0},
      {"--5", 3, 0, 0},
      {"x1", 2, 0, 0},
      {"%1\n2", 4, 0, 0},
      {".5", 2, 0, 0},
  };
  for (const Integer_Case& c : cases) {
    int32_t value = 12345;
    EXPECT_EQ(PDF_Text_Read_Integer(reinterpret_cast<const uint8_t*>(c.text.data()), c.length, &value), c.used)
        << '"' << c.text << '"';
    EXPECT_EQ(value, c.value) << '"' << c.text << '"';
  }
  EXPECT_EQ(PDF_Text_Read_Integer(reinterpret_cast<const uint8_t*>("1"), 1, nullptr), 0u);
}

// A catalog and, as object 10, an object stream with the given entries and
// stored bytes. The rows name the packed objects: number -> (container, index).
std::string File_With_Container(const std::string& container_entries, const std::string& data,
                                const Pdf_Packed_Objects& packed, const Pdf_Object_List& plain = {}) {
  Pdf_Builder b;
  Pdf_Builder_Header(&b);
  Pdf_Builder_Object(&b, 1, "<< /Type /Catalog >>");
  for (const auto& object : plain) Pdf_Builder_Object(&b, object.first, object.second);
  Pdf_Builder_Stream(&b, 10, container_entries, data);
  Pdf_Xref_Stream_Options options;
  options.extra_entries = "/Root 1 0 R";
  Pdf_Builder_Xref_Stream(&b, 20, Pdf_Xref_Stream_Rows(b, packed, 21), 21, options);
  return b.bytes;
}

struct Load_Case {
  std::string name;
  std::string entries;  // of object 10
  std::string data;     // stored bytes of object 10
  Pdf_Packed_Objects packed;
  Pdf_Object_List plain;
  int8_t lowest_level;  // from this level on the load gives 0
  PDF_Result below;     // the code below that level
  double value;         // object 7 after a load
};

const Pdf_Packed_Objects kSeventhFirst = {{7, {10, 0}}, {8, {10, 1}}};
const Pdf_Packed_Objects kSeventhSecond = {{8, {10, 0}}, {7, {10, 1}}};
const Pdf_Packed_Objects kSeventhAlone = {{7, {10, 0}}};

TEST(Object_Stream, CompressedEntryLoadsAtEveryLevel) {
  const std::string objstm = "/Type /ObjStm ";
  const Load_Case cases[] = {
      {"size from the next pair", objstm + "/N 2 /First 8", "7 0 8 2 12345678", kSeventhFirst, {}, 0, 0, 12},
      {"the last object runs to the end", objstm + "/N 2 /First 8", "8 0 7 3 111 222 333", kSeventhSecond, {}, 0,
       0, 222},
      {"negative offset made good by First", objstm + "/N 2 /First 13", "7 -4 8 3\n555 777 1", kSeventhFirst, {}, 0,
       0, 555},
      {"Flate data", objstm + "/N 2 /First 8 /Filter /FlateDecode", Pdf_Flate("7 0 8 2 12345678"), kSeventhFirst,
       {}, 0, 0, 12},
      {"N by reference", objstm + "/N 11 0 R /First 8", "7 0 8 2 12345678", kSeventhFirst, {{11, "2"}}, 0, 0, 12},
      {"object number differs from its pair", objstm + "/N 1 /First 4", "9 0 64", kSeventhAlone, {}, 1, -93, 64},
      {"container of another type", "/Type /XRef /N 1 /First 4", "7 0 64", kSeventhAlone, {}, 1, -96, 64},
      {"container without a type", "/N 1 /First 4", "7 0 64", kSeventhAlone, {}, 1, -96, 64},
      {"container of another type, number differs", "/Type /XObject /N 1 /First 4", "9 0 64", kSeventhAlone, {}, 1,
       -96, 64},
      {"negative start", objstm + "/N 2 /First 4", "7 -9 8 0 42", kSeventhFirst, {}, 99, -93, 0},
      {"start past the data", objstm + "/N 2 /First 2", "7 50 8 60 42", kSeventhFirst, {}, 99, -93, 0},
      {"start at the end: nothing to parse", objstm + "/N 1 /First 6", "7 0 1 ", kSeventhAlone, {}, 99, -93, 0},
      {"next offset below this one", objstm + "/N 2 /First 8", "7 5 8 2 1234567890", kSeventhFirst, {}, 99, -93, 0},
      {"next pair past the data", objstm + "/N 2 /First 8", "7 0 8 90 1234", kSeventhFirst, {}, 99, -93, 0},
      {"next pair unreadable", objstm + "/N 2 /First 8", "7 0 8 x 12345678", kSeventhFirst, {}, 99, -93, 0},
      {"own pair unreadable", objstm + "/N 2 /First 8", "8 0 7 /3 1234567", kSeventhSecond, {}, 99, -93, 0},
      {"pairs run out", objstm + "/N 2 /First 4", "8 0 ", kSeventhSecond, {}, 99, -93, 0},
      {"N missing", objstm + "/First 4", "7 0 64", kSeventhAlone, {}, 99, -93, 0},
      {"N not above the index", objstm + "/N 1 /First 8", "8 0 7 3 111 222", kSeventhSecond, {}, 99, -93, 0},
      {"N of 0", objstm + "/N 0 /First 4", "7 0 64", kSeventhAlone, {}, 99, -93, 0},
      {"First missing", objstm + "/N 1", "7 0 64", kSeventhAlone, {}, 99, -93, 0},
      {"body unparsable", objstm + "/N 1 /First 4", "7 0 )", kSeventhAlone, {}, 99, -93, 0},
      {"bad Flate data", objstm + "/N 1 /First 4 /Filter /FlateDecode", "not compressed", kSeventhAlone, {}, 99,
       -300, 0},
      {"filter without a decoder", objstm + "/N 1 /First 4 /Filter /DCTDecode", "7 0 64", kSeventhAlone, {}, 99,
       -107, 0},
      {"container missing", objstm + "/N 1 /First 4", "7 0 64", {{7, {12, 0}}}, {}, 99, -91, 0},
      {"container a dictionary", objstm, "", {{7, {11, 0}}}, {{11, "<< /Type /ObjStm /N 1 /First 4 >>"}}, 99, -96,
       0},
      {"container a number", objstm, "", {{7, {11, 0}}}, {{11, "7"}}, 99, -96, 0},
  };
  for (const Load_Case& c : cases) {
    const std::string bytes = File_With_Container(c.entries, c.data, c.packed, c.plain);
    for (int8_t level = 0; level <= 4; ++level) {
      Opened_Document opened(bytes, level);
      ASSERT_EQ(opened.result, 0) << c.name << " at level " << int(level);
      PDF_Xref_Entry* entry = opened.entry(7);
      ASSERT_NE(entry, nullptr);
      ASSERT_EQ(entry->type, 'c');
      const PDF_Result expected = level >= c.lowest_level ? 0 : c.below;
      EXPECT_EQ(PDF_Xref_Entry_Load_Compressed(entry), expected) << c.name << " at level " << int(level);
      if (expected == 0) {
        EXPECT_EQ(entry->type, 'n') << c.name;
        EXPECT_EQ(entry->offset, 0u);
        EXPECT_EQ(entry->container, 0u);
        EXPECT_EQ(PDF_Number_Get_Real(static_cast<PDF_Number*>(
                      PDF_Data_Object_Get_Direct_Value(entry->object->value, PDF_Data_Type_Number))),
                  c.value)
            << c.name;
        EXPECT_EQ(opened.object(7), entry->object);
      } else {
        // The entry waits as it was, and a lookup finds nothing.
        EXPECT_EQ(entry->type, 'c') << c.name;
        EXPECT_EQ(entry->object->value, nullptr) << c.name;
        EXPECT_EQ(opened.object(7), nullptr) << c.name;
        EXPECT_EQ(entry->type, 'c') << c.name;
      }
    }
  }
}

TEST(Object_Stream, EntriesThatAreNotCompressedAreLeftAlone) {
  Opened_Document opened(File_With_Container("/Type /ObjStm /N 1 /First 4", "7 0 64", kSeventhAlone), 0);
  ASSERT_EQ(opened.result, 0);
  EXPECT_EQ(PDF_Xref_Entry_Load_Compressed(nullptr), -500);
  PDF_Xref_Entry* catalog = opened.entry(1);
  ASSERT_NE(catalog, nullptr);
  EXPECT_EQ(catalog->type, 'n');
  uint64_t offset = catalog->offset;
  EXPECT_EQ(PDF_Xref_Entry_Load_Compressed(catalog), 0);
  EXPECT_EQ(catalog->offset, offset);
  PDF_Xref_Entry* free_entry = opened.entry(2);
  ASSERT_NE(free_entry, nullptr);
  EXPECT_EQ(free_entry->type, 'f');
  EXPECT_EQ(PDF_Xref_Entry_Load_Compressed(free_entry), 0);
  EXPECT_EQ(free_entry->type, 'f');
}

TEST(Object_Stream, EachObjectIsParsedOnceOnFirstLookup) {
  Pdf_Builder b;
  Pdf_Builder_Header(&b);
  Pdf_Packed_Objects packed;
  Pdf_Builder_Object_Stream(&b, &packed, 10,
                            {{1, "<< /Type /Catalog /Pages 2 0 R >>"}, {2, "<< /Type /Pages /Kids [] /Count 0 >>"},
                             {3, "(three)"}, {4, "[4 0 R]"}});
  Pdf_Xref_Stream_Options options;
  options.extra_entries = "/Root 1 0 R";
  Pdf_Builder_Xref_Stream(&b, 11, Pdf_Xref_Stream_Rows(b, packed, 12), 12, options);
  for (int8_t level = 0; level <= 4; ++level) {
    Opened_Document opened(b.bytes, level);
    ASSERT_EQ(opened.result, 0);
    for (uint32_t number = 1; number <= 4; ++number) {
      ASSERT_NE(opened.entry(number), nullptr);
      EXPECT_EQ(opened.entry(number)->type, 'c') << "nothing is loaded at open";
    }
    PDF_Object* root = PDF_Object_Reference_Get_Object(static_cast<PDF_Object_Reference*>(
        PDF_Data_Object_Get_Direct_Value(PDF_Trailer_Get_Root(opened.body()->trailer), PDF_Data_Type_Reference)));
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(PDF_Object_Get_Type(root), PDF_Object_Type_Catalog);
    EXPECT_EQ(opened.entry(1)->type, 'n');
    EXPECT_EQ(opened.entry(2)->type, 'c') << "only what was asked for";
    PDF_Data_Object* value = root->value;
    EXPECT_EQ(opened.object(1), root);
    EXPECT_EQ(root->value, value) << "not parsed again";
    PDF_Object* four = opened.object(4);
    ASSERT_NE(four, nullptr);
    EXPECT_EQ(PDF_Object_Get_Number(four), 4);
    EXPECT_EQ(PDF_Object_Get_Type(four), PDF_Object_Type_Array);
    EXPECT_EQ(PDF_Object_Get_Type(opened.object(2)), PDF_Object_Type_Pages);
    EXPECT_EQ(PDF_Object_Get_Type(opened.object(3)), PDF_Object_Type_String);
  }
}

TEST(Object_Stream, ContainersThatLeadBackToThemselvesFindNothing) {
  Pdf_Builder b;
  Pdf_Builder_Header(&b);
  Pdf_Builder_Object(&b, 1, "<< /Type /Catalog >>");
  // 7 lies in 10, 10 in 11 and 11 in 10; 8 lies in 8.
  Pdf_Packed_Objects packed = {{7, {10, 0}}, {10, {11, 0}}, {11, {10, 1}}, {8, {8, 0}}};
  Pdf_Xref_Stream_Options options;
  options.extra_entries = "/Root 1 0 R";
  Pdf_Builder_Xref_Stream(&b, 20, Pdf_Xref_Stream_Rows(b, packed, 21), 21, options);
  Opened_Document opened(b.bytes, 3);
  ASSERT_EQ(opened.result, 0);
  EXPECT_EQ(opened.object(7), nullptr);
  EXPECT_EQ(opened.object(8), nullptr);
  EXPECT_EQ(PDF_Xref_Entry_Load_Compressed(opened.entry(7)), -91);
  EXPECT_EQ(PDF_Xref_Entry_Load_Compressed(opened.entry(8)), -91);
  for (uint32_t number : {7u, 8u, 10u, 11u}) EXPECT_EQ(opened.entry(number)->type, 'c') << number;
}

TEST(Object_Stream, CatalogInAnObjectStreamIsNotFoundWithoutRoot) {
  Pdf_Builder b;
  Pdf_Builder_Header(&b);
  Pdf_Packed_Objects packed;
  Pdf_Builder_Object_Stream(&b, &packed, 10, {{1, "<< /Type /Catalog >>"}});
  Pdf_Builder_Xref_Stream(&b, 11, Pdf_Xref_Stream_Rows(b, packed, 12), 12, Pdf_Xref_Stream_Options());
  for (int8_t level = 0; level <= 4; ++level) {
    Opened_Document opened(b.bytes, level);
    if (level < 2) {
      EXPECT_EQ(opened.result, -70) << int(level);
      continue;
    }
    ASSERT_EQ(opened.result, 0) << int(level);
    EXPECT_EQ(PDF_Trailer_Get_Root(opened.body()->trailer), nullptr);
    EXPECT_EQ(opened.entry(1)->type, 'c');
    EXPECT_EQ(PDF_Object_Get_Type(opened.object(1)), PDF_Object_Type_Catalog);
  }
}

TEST(Object_Stream, ExhaustedMemoryLeavesTheEntryWaiting) {
  for (bool flate : {false, true}) {
    Pdf_Builder b;
    Pdf_Builder_Header(&b);
    Pdf_Builder_Object(&b, 1, "<< /Type /Catalog >>");
    Pdf_Packed_Objects packed;
    Pdf_Builder_Object_Stream(&b, &packed, 10,
                              {{6, "1"}, {7, "<< /Name /Seven /List [1 (two) 3.5] /Ref 1 0 R >>"}, {8, "(x)"}},
                              flate);
    Pdf_Xref_Stream_Options options;
    options.extra_entries = "/Root 1 0 R";
    Pdf_Builder_Xref_Stream(&b, 20, Pdf_Xref_Stream_Rows(b, packed, 21), 21, options);
    bool reached = true;
    for (uint64_t n = 1; reached && n < 500; ++n) {
      Opened_Document opened(b.bytes, 0);
      ASSERT_EQ(opened.result, 0);
      opened.allocator.fail_at = opened.allocator.requests + n;
      PDF_Object* seven = opened.object(7);
      reached = opened.allocator.requests >= opened.allocator.fail_at;
      opened.allocator.fail_at = 0;
      if (reached) {
        EXPECT_EQ(seven, nullptr) << "request " << n;
        EXPECT_EQ(opened.entry(7)->type, 'c') << "request " << n;
        EXPECT_EQ(opened.entry(7)->object->value, nullptr) << "request " << n;
      }
      seven = opened.object(7);
      if (!flate) {
        // The stored bytes are as they were, so a later lookup succeeds. (A
        // container that failed half-way through its decoding may not.)
        ASSERT_NE(seven, nullptr) << "request " << n;
      }
      if (seven != nullptr) {
        EXPECT_EQ(opened.entry(7)->type, 'n');
        EXPECT_EQ(PDF_Object_Get_Type(seven), PDF_Object_Type_Dictionary);
      } else {
        EXPECT_EQ(opened.entry(7)->type, 'c');
      }
    }
    EXPECT_FALSE(reached);
  }
}

}  // namespace
